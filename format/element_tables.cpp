// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Tables by element code: layout and operation, operands and upgrade.
#include "format/format_compiler.h"

// clang-format off

/// The long layouts, 1 to 5, are one layout; the number tells how many of its operands the code uses.
constexpr For_Fmt_Cat fmt_cat[kFmtCodes] = {
    // 0 to 18: control
    {1, FMT_INVALID}, {1, FMT_START}, {1, FMT_END}, {2, FMT_GROUP}, {1, FMT_GROUP_END}, {1, FMT_BN},
    {1, FMT_BZ}, {1, FMT_SP}, {1, FMT_SS}, {1, FMT_S}, {3, FMT_P}, {2, FMT_X}, {3, FMT_T}, {3, FMT_TL},
    {3, FMT_TR}, {1, FMT_Q}, {1, FMT_DOLLAR}, {1, FMT_COLON}, {2, FMT_SLASH},
    // 19 to 28: descriptors without a width, literal
    {2, FMT_A}, {2, FMT_D}, {2, FMT_E}, {2, FMT_F}, {2, FMT_G}, {2, FMT_I}, {2, FMT_L}, {2, FMT_O}, {2, FMT_Z},
    {FMTC_WIDTH, FMT_LITERAL},
    // 29 to 51: descriptors with a width
    {3, FMT_A_W}, {4, FMT_D_WD}, {4, FMT_E_WD}, {5, FMT_E_WDE}, {4, FMT_F_WD}, {4, FMT_G_WD}, {5, FMT_G_WDE},
    {3, FMT_I_W}, {4, FMT_I_WM}, {3, FMT_L_W}, {3, FMT_O_W}, {4, FMT_O_WM}, {3, FMT_Z_W}, {4, FMT_Z_WM},
    {2, FMT_B}, {3, FMT_B_W}, {4, FMT_B_WM}, {2, FMT_EN}, {4, FMT_EN_WD}, {5, FMT_EN_WDE}, {2, FMT_ES},
    {4, FMT_ES_WD}, {5, FMT_ES_WDE},
    // 52 to 71: short control
    {FMTC_INVALID, FMT_INVALID}, {FMTC_BARE, FMT_INVALID}, {FMTC_BARE, FMT_START}, {FMTC_BARE, FMT_END},
    {FMTC_REPEAT, FMT_GROUP}, {FMTC_BARE, FMT_GROUP_END}, {FMTC_BARE, FMT_BN}, {FMTC_BARE, FMT_BZ},
    {FMTC_BARE, FMT_SP}, {FMTC_BARE, FMT_SS}, {FMTC_BARE, FMT_S}, {FMTC_WIDTH, FMT_P}, {FMTC_REPEAT, FMT_X},
    {FMTC_WIDTH, FMT_T}, {FMTC_WIDTH, FMT_TL}, {FMTC_WIDTH, FMT_TR}, {FMTC_BARE, FMT_Q},
    {FMTC_BARE, FMT_DOLLAR}, {FMTC_BARE, FMT_COLON}, {FMTC_REPEAT, FMT_SLASH},
    // 72 to 80: short descriptors without a width
    {FMTC_REPEAT, FMT_A}, {FMTC_REPEAT, FMT_D}, {FMTC_REPEAT, FMT_E}, {FMTC_REPEAT, FMT_F},
    {FMTC_REPEAT, FMT_G}, {FMTC_REPEAT, FMT_I}, {FMTC_REPEAT, FMT_L}, {FMTC_REPEAT, FMT_O},
    {FMTC_REPEAT, FMT_Z},
    // 81 to 99: short descriptors with a width
    {FMTC_REPEAT_WIDTH, FMT_A_W}, {FMTC_REPEAT_WD, FMT_D_WD}, {FMTC_REPEAT_WD, FMT_E_WD},
    {FMTC_REPEAT_WD, FMT_F_WD}, {FMTC_REPEAT_WD, FMT_G_WD}, {FMTC_REPEAT_WIDTH, FMT_I_W},
    {FMTC_REPEAT_WD, FMT_I_WM}, {FMTC_REPEAT_WIDTH, FMT_L_W}, {FMTC_REPEAT_WIDTH, FMT_O_W},
    {FMTC_REPEAT_WD, FMT_O_WM}, {FMTC_REPEAT_WIDTH, FMT_Z_W}, {FMTC_REPEAT_WD, FMT_Z_WM}, {FMTC_REPEAT, FMT_B},
    {FMTC_REPEAT_WIDTH, FMT_B_W}, {FMTC_REPEAT_WD, FMT_B_WM}, {FMTC_REPEAT, FMT_EN},
    {FMTC_REPEAT_WD, FMT_EN_WD}, {FMTC_REPEAT, FMT_ES}, {FMTC_REPEAT_WD, FMT_ES_WD},
    // 100 to 115: rounding and decimal modes, short and long
    {FMTC_BARE, FMT_RU}, {FMTC_BARE, FMT_RD}, {FMTC_BARE, FMT_RZ}, {FMTC_BARE, FMT_RN}, {FMTC_BARE, FMT_RC},
    {FMTC_BARE, FMT_RP}, {FMTC_BARE, FMT_DC}, {FMTC_BARE, FMT_DP}, {1, FMT_RU}, {1, FMT_RD}, {1, FMT_RZ},
    {1, FMT_RN}, {1, FMT_RC}, {1, FMT_RP}, {1, FMT_DC}, {1, FMT_DP},
    // 116 to 127
    {FMTC_DT, FMT_DT}, {FMTC_INVALID, FMT_INVALID}, {FMTC_INVALID, FMT_INVALID}, {FMTC_DT_RUNTIME, FMT_DT},
    {5, FMT_EX}, {FMTC_INVALID, FMT_INVALID}, {FMTC_INVALID, FMT_INVALID}, {FMTC_INVALID, FMT_INVALID},
    {FMTC_INVALID, FMT_INVALID}, {FMTC_INVALID, FMT_INVALID}, {FMTC_INVALID, FMT_INVALID},
    {FMTC_INVALID, FMT_INVALID},
};

constexpr For_Fmt_Check fmt_check[kFmtCodes] = {
    // 0 to 9
    {}, {}, {}, {1, 0}, {}, {}, {}, {}, {}, {},
    // 10 to 18
    {2, 0}, {1, 0}, {2, 0}, {2, 0}, {2, 0}, {}, {}, {}, {},
    // 19 to 28
    {1, FMT_A_W}, {1, FMT_D_WD}, {1, FMT_E_WD}, {1, FMT_F_WD}, {1, FMT_G_WD}, {1, FMT_I_WM}, {1, FMT_L_W},
    {1, FMT_O_WM}, {1, FMT_Z_WM}, {2, 0},
    // 29 to 35
    {2, 0}, {3, 0}, {3, FMT_E_WDE}, {4, 0}, {3, 0}, {3, FMT_G_WDE}, {4, 0},
    // 36 to 42
    {}, {3, 0}, {2, 0}, {}, {3, 0}, {}, {3, 0},
    // 43 to 51
    {1, FMT_B_WM}, {}, {3, 0}, {1, FMT_EN_WD}, {3, FMT_EN_WDE}, {4, 0}, {1, FMT_ES_WD}, {3, FMT_ES_WDE}, {4, 0},
    // 52 to 107: short forms, not compiled
    {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {},
    {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {},
    {}, {},
    // 108 to 119
    {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {},
    // 120, and its form with e
    {4, 0},
};
