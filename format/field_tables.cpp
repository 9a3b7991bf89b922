// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Tables of the value editor, indexed by item type unless a comment says otherwise.
#include "format/for_fmt_val.h"

// clang-format off

constexpr u8 for__i_fmt_table[13] = {
    // 5 to 12
    7, 7, 7, 7, 12, 12, 23, 23,
    // 13 to 17
    12, 7, 7, 12, 23,
};

constexpr i8 for__oz_fmt_table[kItemTypes] = {
    // 0 to 4
    0, 0, 0, 0, 0,
    // 5 to 12
    7, 7, 7, 7, 12, 12, 23, 23,
    // 13 to 17
    12, 7, 7, 12, 23,
    // 18 to 24
    0, 0, 0, 0, 0, 0, 0,
    // 25 to 31
    12, 12, 12, 12, 12, 12, 12,
    // 32 to 39
    0, 0, 0, 0, 0, 0, 0, 0,
    // 40 to 44
    23, 44, 23, 23, 23,
    // 45 to 52
    23, 23, 44, 23, 44, 44, 44, 44,
    // 53 to 55
    0, 0, 0,
    // 56 to 57
    -1, -1,
    // 58 to 70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
};

constexpr i16 for__b_fmt_table[kItemTypes] = {
    // 0 to 4
    0, 0, 0, 0, 0,
    // 5 to 12
    17, 17, 17, 17, 33, 33, 65, 65,
    // 13 to 17
    33, 17, 17, 33, 65,
    // 18 to 24
    0, 0, 0, 0, 0, 0, 0,
    // 25 to 31
    33, 33, 33, 33, 33, 33, 33,
    // 32 to 39
    0, 0, 0, 0, 0, 0, 0, 0,
    // 40 to 44
    65, 129, 65, 65, 65,
    // 45 to 52
    65, 65, 129, 65, 129, 129, 129, 129,
    // 53 to 55
    0, 0, 0,
    // 56 to 57
    -1, -1,
    // 58 to 70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
};

constexpr For_Real_Field for__fedg_fmt_table[28] = {
    // 25 to 31
    {15, 41, 7, 2}, {15, 41, 7, 2}, {15, 41, 7, 2}, {15, 41, 7, 2}, {15, 41, 7, 2}, {15, 41, 7, 2}, {15, 41, 7, 2},
    // 32 to 39
    {}, {}, {}, {}, {}, {}, {}, {},
    // 40 to 44
    {25, 311, 16, 2}, {42, 311, 33, 3}, {25, 311, 16, 2}, {25, 311, 16, 2}, {25, 311, 16, 2},
    // 45 to 52
    {25, 311, 16, 2}, {25, 311, 16, 2}, {25, 311, 16, 2}, {25, 311, 16, 2}, {42, 311, 33, 3},
    {42, 4935, 33, 3}, {42, 4935, 33, 3}, {42, 4935, 33, 3},
};

constexpr For_Ldir_Field for__wfs_table[kItemTypes] = {
    // 0 to 4
    {}, {}, {}, {}, {},
    // 5 to 12
    {5, 0, 0, FMT_I_W}, {5, 0, 0, FMT_I_W}, {7, 0, 0, FMT_I_W}, {7, 0, 0, FMT_I_W}, {12, 0, 0, FMT_I_W},
    {12, 0, 0, FMT_I_W}, {22, 0, 0, FMT_I_W}, {22, 0, 0, FMT_I_W},
    // 13 to 17
    {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W},
    // 18 to 24
    {}, {}, {}, {}, {}, {}, {},
    // 25 to 31
    {15, 7, 2, FMT_G_WDE}, {15, 7, 2, FMT_G_WDE}, {15, 7, 2, FMT_G_WDE}, {14, 7, 2, FMT_G_WDE},
    {14, 7, 2, FMT_G_WDE}, {14, 7, 2, FMT_G_WDE}, {14, 7, 2, FMT_G_WDE},
    // 32 to 39
    {}, {}, {}, {}, {}, {}, {}, {},
    // 40 to 44
    {23, 15, 3, FMT_G_WDE}, {42, 33, 4, FMT_G_WDE}, {23, 16, 2, FMT_G_WDE}, {23, 15, 3, FMT_G_WDE},
    {23, 16, 3, FMT_G_WDE},
    // 45 to 52
    {24, 16, 2, FMT_G_WDE}, {24, 15, 3, FMT_G_WDE}, {43, 33, 4, FMT_G_WDE}, {24, 15, 3, FMT_G_WDE},
    {43, 33, 4, FMT_G_WDE}, {43, 33, 4, FMT_G_WDE}, {43, 33, 4, FMT_G_WDE}, {42, 33, 4, FMT_G_WDE},
    // 53 to 55
    {}, {}, {},
    // 56 to 57
    {255, 0, 0, FMT_A_W}, {255, 0, 0, 0},
    // 58 to 70
    {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {},
};

constexpr For_Ldir_Field for__wfs_msf_table[kItemTypes] = {
    // 0 to 4
    {}, {}, {}, {}, {},
    // 5 to 12
    {12, 0, 0, FMT_I_W}, {12, 0, 0, FMT_I_W}, {12, 0, 0, FMT_I_W}, {12, 0, 0, FMT_I_W}, {12, 0, 0, FMT_I_W},
    {12, 0, 0, FMT_I_W}, {22, 0, 0, FMT_I_W}, {22, 0, 0, FMT_I_W},
    // 13 to 17
    {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W}, {2, 0, 0, FMT_L_W},
    // 18 to 24
    {}, {}, {}, {}, {}, {}, {},
    // 25 to 31
    {15, 7, 2, FMT_G_WDE}, {16, 6, 2, FMT_G_WDE}, {15, 7, 2, FMT_G_WDE}, {14, 7, 2, FMT_G_WDE},
    {16, 6, 2, FMT_G_WDE}, {14, 7, 2, FMT_G_WDE}, {14, 7, 2, FMT_G_WDE},
    // 32 to 39
    {}, {}, {}, {}, {}, {}, {}, {},
    // 40 to 44
    {25, 15, 3, FMT_G_WDE}, {42, 33, 4, FMT_G_WDE}, {23, 16, 2, FMT_G_WDE}, {23, 15, 3, FMT_G_WDE},
    {23, 16, 3, FMT_G_WDE},
    // 45 to 52
    {24, 16, 2, FMT_G_WDE}, {24, 15, 3, FMT_G_WDE}, {43, 33, 4, FMT_G_WDE}, {25, 15, 3, FMT_G_WDE},
    {43, 33, 4, FMT_G_WDE}, {43, 33, 4, FMT_G_WDE}, {43, 33, 4, FMT_G_WDE}, {42, 33, 4, FMT_G_WDE},
    // 53 to 55
    {}, {}, {},
    // 56 to 57
    {255, 0, 0, FMT_A_W}, {255, 0, 0, 0},
    // 58 to 70
    {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {}, {},
};

constexpr For_Value_Group for__value_groups[kItemTypes] = {
    // 0 to 4
    VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE,
    // 5 to 12
    VG_I1, VG_U1, VG_I2, VG_U2, VG_I4, VG_U4, VG_I8, VG_U8,
    // 13 to 17
    VG_L4, VG_L1, VG_L2, VG_L4, VG_L8,
    // 18 to 24
    VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE,
    // 25 to 31
    VG_NONE, VG_REAL4, VG_REAL4, VG_REAL4, VG_REAL4, VG_REAL4, VG_NONE,
    // 32 to 39
    VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE,
    // 40 to 44
    VG_REAL8, VG_REAL8, VG_NONE, VG_NONE, VG_REAL8,
    // 45 to 52
    VG_NONE, VG_NONE, VG_NONE, VG_REAL8, VG_REAL8, VG_REAL16, VG_NONE, VG_REAL16,
    // 53 to 55
    VG_NONE, VG_NONE, VG_NONE,
    // 56 to 57
    VG_CHARACTER, VG_CHARACTER,
    // 58 to 70
    VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE, VG_NONE,
    VG_NONE,
};

static constexpr u8 coerce_integer_to_float[kItemTypes] = {
    // 0 to 4
    0, 0, 0, 0, 0,
    // 5 to 12
    0, 0, 0, 0, ITM_REAL4, ITM_REAL4, ITM_REAL8, ITM_REAL8,
    // 13 to 17
    0, 0, 0, ITM_REAL4, ITM_REAL8,
    // 18 to 24
    0, 0, 0, 0, 0, 0, 0,
    // 25 to 31
    0, 0, 0, 0, 0, 0, 0,
    // 32 to 39
    0, 0, 0, 0, 0, 0, 0, 0,
    // 40 to 44
    0, 0, 0, 0, 0,
    // 45 to 52
    0, 0, 0, 0, 0, 0, 0, 0,
    // 53 to 55
    0, 0, 0,
    // 56 to 57
    0, 0,
    // 58 to 70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
};

static constexpr u8 coerce_floating_to_integer[kItemTypes] = {
    // 0 to 4
    0, 0, 0, 0, 0,
    // 5 to 12
    0, 0, 0, 0, 0, 0, 0, 0,
    // 13 to 17
    0, 0, 0, 0, 0,
    // 18 to 24
    0, 0, 0, 0, 0, 0, 0,
    // 25 to 31
    ITM_INTEGER4, ITM_INTEGER4, 0, 0, 0, 0, 0,
    // 32 to 39
    0, 0, 0, 0, 0, 0, 0, 0,
    // 40 to 44
    0, 0, 0, 0, 0,
    // 45 to 52
    ITM_INTEGER8, ITM_INTEGER8, 0, ITM_INTEGER8, 0, 0, 0, 0,
    // 53 to 55
    0, 0, 0,
    // 56 to 57
    0, 0,
    // 58 to 70
    0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
};

/// By operation.
constexpr const u8* for__coerce_data_types[60] = {
    // 0 to 18
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
    // 19 to 29
    nullptr, coerce_integer_to_float, coerce_integer_to_float, coerce_integer_to_float, nullptr,
    coerce_floating_to_integer, coerce_floating_to_integer, nullptr, nullptr, nullptr, nullptr,
    // 30 to 35
    coerce_integer_to_float, coerce_integer_to_float, coerce_integer_to_float, coerce_integer_to_float,
    nullptr, nullptr,
    // 36 to 45
    coerce_floating_to_integer, coerce_floating_to_integer, coerce_floating_to_integer, nullptr, nullptr,
    nullptr, nullptr, nullptr, nullptr, nullptr,
    // 46 to 51
    coerce_integer_to_float, coerce_integer_to_float, coerce_integer_to_float, coerce_integer_to_float,
    coerce_integer_to_float, coerce_integer_to_float,
    // 52 to 59
    nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
};
