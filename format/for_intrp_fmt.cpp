// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The format interpreter: carries out groups, positions and modes, and stops where the statement has work to do.
#include "format/for_intrp_fmt.h"

#include "core/failure.h"
#include "format/fmt_element.h"
#include "format/format_compiler.h"
#include "format/position.h"

namespace {

constexpr char kSource[] = "for_intrp_fmt";

/// Passes of groups in which nothing stops: more than any record has columns to move over.
constexpr u32 kMostIdlePasses = 1u << 22;

/// What an element leaves to the main loop.
enum class Next {
  kGoOn,   ///< to the element behind it
  kJump,   ///< isb_fmt_pc has been set
  kStop,   ///< behind the element, and return
  kAtEnd,  ///< isb_fmt_pc has been set, and return
  kFail,   ///< return the failure
  kDone,   ///< return the failure, which has been reported
};

/// One call of the interpreter.
struct Walk {
  Walk(For_Lub& unit, For_Fmt_Isb& block) : lub(unit), isb(block) {}

  For_Lub& lub;
  For_Fmt_Isb& isb;
  For_Fmt_Element element;
  int failure = 0;
  bool unlimited_pass = false;  ///< this call went back to the start of an unlimited group
  u32 passes = 0;               ///< this call went back to the start of a group so often

  Next fail(int message) {
    failure = message;
    return Next::kFail;
  }
};

/// Range of an expression for the operand `flag`, with the exceptions that some operations make.
bool in_range(u8 operation, u8 flag, i64 value) {
  constexpr i64 kMaxD = 32767, kMaxE = 255;
  switch (flag) {
    case FMTL_VFE_REPEAT:
      return value >= (operation == FMT_X || operation == FMT_TL || operation == FMT_TR ? 0 : 1);
    case FMTL_VFE_WIDTH:
      return operation == FMT_P ? value == static_cast<i8>(value) : value >= 0;
    case FMTL_VFE_D:
      return value >= 0 && value <= kMaxD;
    default:
      return value >= 0 && value <= kMaxE;
  }
}

/// Replaces the marked operands by their values: 0 or MSG_VFE_VALUE.
int evaluate_operands(Walk& walk) {
  const u8 flags = walk.element.vfe_flags;
  const u64* slots = walk.lub.lub_a_context->ctx_vfe_slots;
  const bool checked = !(walk.isb.isb_flags & ISB_STATEMENT_ENDS);
  constexpr u8 kOrder[] = {FMTL_VFE_REPEAT, FMTL_VFE_WIDTH, FMTL_VFE_D, FMTL_VFE_E};
  for (int i = 0; i < 4; ++i) {
    if (!(flags & kOrder[i])) continue;
    const i64 value = get_vfe_value(slots, &walk.element.vfe[i]);
    if (checked && !in_range(walk.element.operation, kOrder[i], value)) return MSG_VFE_VALUE;
    switch (kOrder[i]) {
      case FMTL_VFE_REPEAT:
        walk.isb.isb_repeat = value;
        break;
      case FMTL_VFE_WIDTH:
        walk.isb.isb_width = value;
        break;
      case FMTL_VFE_D:
        walk.isb.isb_d = static_cast<u16>(value);
        break;
      default:
        walk.isb.isb_e = static_cast<u16>(value);
        break;
    }
  }
  return 0;
}

Next end_format(Walk& walk) {
  walk.isb.isb_fmt_pc = walk.isb.isb_fmt_base + walk.isb.isb_reversion;
  walk.isb.isb_depth = 0;
  return Next::kAtEnd;
}

Next start_group(Walk& walk) {
  For_Fmt_Isb& isb = walk.isb;
  if (isb.isb_depth >= kFmtLevels) return walk.fail(MSG_FORMAT_SYNTAX);
  const i64 offset = isb.isb_fmt_pc - isb.isb_fmt_base;
  isb.isb_flags &= ~u32{ISB_DATA_EDIT_SEEN};
  if (isb.isb_depth == 0) isb.isb_reversion = static_cast<u32>(offset);
  isb.isb_group_start[isb.isb_depth] = static_cast<u32>(offset + walk.element.size);
  isb.isb_group_count[isb.isb_depth] = isb.isb_repeat;
  ++isb.isb_depth;
  return Next::kGoOn;
}

Next end_group(Walk& walk) {
  For_Fmt_Isb& isb = walk.isb;
  if (isb.isb_depth <= 0) return walk.fail(MSG_FORMAT_SYNTAX);
  const int row = isb.isb_depth - 1;
  i64& count = isb.isb_group_count[row];
  if (count == 1) {
    --isb.isb_depth;
    return Next::kGoOn;
  }
  // A whole pass of an unlimited group in one call has met nothing to stop at, and no later pass will. A negative count
  // is one that no program means; a finite one may still take years.
  const bool unlimited = count > kFmtUnlimited / 2 || count < 0;
  if ((unlimited && walk.unlimited_pass) || ++walk.passes > kMostIdlePasses) {
    return walk.fail(MSG_INFINITE_FORMAT_LOOP);
  }
  walk.unlimited_pass |= unlimited;
  count = static_cast<i64>(static_cast<u64>(count) - 1);
  isb.isb_fmt_pc = isb.isb_fmt_base + isb.isb_group_start[row];
  return Next::kJump;
}

Next move_right(Walk& walk, i64 columns) {
  if (position_right(walk.lub, columns) == 0) return Next::kGoOn;
  for__format_free(&walk.isb);
  report_failure(FOR_IOR_RELEASE, MSG_RECORD_OVERFLOW, MSG_RECORD_OVERFLOW, &walk.lub);
  walk.failure = MSG_RECORD_OVERFLOW;
  return Next::kDone;
}

Next stop_at_data(Walk& walk) {
  walk.isb.isb_flags |= ISB_DATA_EDIT_SEEN;
  return Next::kStop;
}

/// Replaces the bits of `mask` in the flags.
template <class Flags>
Next set_mode(Flags& flags, u32 mask, u32 bit) {
  flags = static_cast<Flags>((flags & ~mask) | bit);
  return Next::kGoOn;
}

Next act(Walk& walk) {
  For_Fmt_Isb& isb = walk.isb;
  switch (isb.isb_code) {
    case FMT_START:
      start_format(isb, walk.element.size);
      return Next::kGoOn;
    case FMT_END:
      return end_format(walk);
    case FMT_GROUP:
      return start_group(walk);
    case FMT_GROUP_END:
      return end_group(walk);
    case FMT_BN:
      return set_mode(isb.isb_flags, ISB_BN | ISB_BZ, ISB_BN);
    case FMT_BZ:
      return set_mode(isb.isb_flags, ISB_BN | ISB_BZ, ISB_BZ);
    case FMT_SP:
      return set_mode(isb.isb_flags, ISB_SIGN_BITS, ISB_SP);
    case FMT_SS:
      return set_mode(isb.isb_flags, ISB_SIGN_BITS, ISB_SS);
    case FMT_S:
      return set_mode(isb.isb_flags, ISB_SIGN_BITS, ISB_S);
    case FMT_P:
      isb.isb_scale = static_cast<i8>(isb.isb_width);
      return Next::kGoOn;
    case FMT_X:
      return move_right(walk, isb.isb_repeat);
    case FMT_TR:
      return move_right(walk, isb.isb_width);
    case FMT_T:
      position_to(walk.lub, isb.isb_width);
      return Next::kGoOn;
    case FMT_TL:
      position_left(walk.lub, isb.isb_width);
      return Next::kGoOn;
    case FMT_LITERAL:
      isb.isb_literal = walk.element.text;
      return Next::kStop;
    case FMT_DT:
      isb.isb_dt_iotype = walk.element.text;
      isb.isb_dt_vlist = walk.element.vlist;
      return Next::kStop;
    case FMT_Q:
    case FMT_DOLLAR:
    case FMT_COLON:
    case FMT_SLASH:
      return Next::kStop;
    case FMT_I:
    case FMT_L:
    case FMT_O:
    case FMT_Z:
    case FMT_I_W:
    case FMT_O_W:
    case FMT_Z_W:
    case FMT_B:
    case FMT_B_W:
      isb.isb_d = 1;  // the default m
      return stop_at_data(walk);
    case FMT_G_WDE:
      if (isb.isb_width == 0 && isb.isb_e != 0) return walk.fail(MSG_FORMAT_SYNTAX);
      return stop_at_data(walk);
    case FMT_RU:
    case FMT_RD:
    case FMT_RZ:
    case FMT_RN:
    case FMT_RC:
    case FMT_RP:
      isb.isb_round = static_cast<u8>(isb.isb_code - FMT_RU + ROUND_UP);
      return Next::kGoOn;
    case FMT_DC:
      return set_mode(isb.isb_flags2, ISB2_DC | ISB2_DP, ISB2_DC);
    case FMT_DP:
      return set_mode(isb.isb_flags2, ISB2_DC | ISB2_DP, ISB2_DP);
    default:
      return is_data_edit(isb.isb_code) ? stop_at_data(walk) : walk.fail(MSG_FORMAT_SYNTAX);
  }
}

/// True when the expressions of this element must wait for an item of a later call.
bool must_wait(For_Fmt_Isb& isb) {
  const bool first = !(isb.isb_flags & ISB_VFE_REACHED);
  isb.isb_flags |= ISB_VFE_REACHED;
  return (isb.isb_flags & ISB_CALL_ENDS) && (first || is_data_edit(isb.isb_code));
}

int report_recursion(For_Lub* lub) {
  for__format_free(lub->lub_a_fmt_isb);
  report_failure(FOR_IOR_CLOSE, MSG_RECURSIVE_IO, MSG_RECURSIVE_IO, lub);
  return MSG_RECURSIVE_IO;
}

}  // namespace

i64 get_vfe_value(const u64* slots, const For_Fmt_Vfe* reference) {
  const u64* slot = slots + reference->slot;
  const bool narrow = reference->type == VFE_INT32;
  if (narrow || reference->type == VFE_INT64) {
    if (reference->kind == VFE_POINTER) {
      const auto address = static_cast<uintptr_t>(*slot);
      return narrow ? i64{*reinterpret_cast<const i32*>(address)} : *reinterpret_cast<const i64*>(address);
    }
    if (reference->kind == VFE_ROUTINE && slot[0] == 0) {
      const auto routine = reinterpret_cast<i64 (*)(const u64*)>(static_cast<uintptr_t>(slot[1]));
      const i64 value = routine(slots);
      return narrow ? i64{static_cast<i32>(value)} : value;
    }
  }
  TAMRUN_INTERNAL_ERROR(kSource);
  return 0;
}

int for__interp_fmt(For_Lub* lub) {
  For_Fmt_Isb& isb = *lub->lub_a_fmt_isb;
  if (isb.isb_fmt_pc == nullptr) return report_recursion(lub);
  Walk walk(*lub, isb);
  for (;;) {
    if (stands_at_plain_data(isb)) {
      stop_at_plain_data(isb);
      return 0;
    }
    if (!decode_fmt_element(isb.isb_fmt_pc, walk.element)) {
      TAMRUN_INTERNAL_ERROR(kSource);
      return MSG_INTERNAL_CONSISTENCY;
    }
    const For_Fmt_Element& element = walk.element;
    isb.isb_code = element.operation;
    isb.isb_repeat = element.repeat;
    isb.isb_width = element.width;
    isb.isb_d = element.d;
    isb.isb_e = element.e;
    if (element.vfe_flags) {
      if (must_wait(isb)) {
        isb.isb_repeat = 0;
        return 0;
      }
      if (const int failure = evaluate_operands(walk)) return failure;
      // A routine that ran I/O on this unit has taken the format away.
      if (isb.isb_fmt_pc == nullptr) return report_recursion(lub);
    }
    isb.isb_width_saved = isb.isb_width;
    isb.isb_minimal_saved = 0;
    switch (act(walk)) {
      case Next::kGoOn:
        isb.isb_fmt_pc += element.size;
        continue;
      case Next::kJump:
        continue;
      case Next::kStop:
        isb.isb_fmt_pc += element.size;
        break;
      case Next::kAtEnd:
        break;
      case Next::kFail:
      case Next::kDone:
        return walk.failure;
    }
    if (!element.vfe_flags) isb.isb_flags &= ~u32{ISB_CALL_ENDS};
    return 0;
  }
}
