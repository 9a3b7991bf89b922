// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The loop of every formatted statement: the format interpreter says what comes next, the item list holds the values.
// A transfer says what happens to them. It is a class with these members, all bound at compile time:
//
//   static constexpr bool kWriting, kInternal
//   Fmt_End begin_pass()                          the format starts over with items left: another record
//   Fmt_End slash()
//   void dollar()                                 $ or backslash
//   int  literal(const char*, i64)                0 or a message
//   Fmt_End values(u32 type, const Item_Run&, i64 count)   the first `count` values of the run, with isb_code
//   int  chars_left(u32 type, const Item_Run&)    Q
//   int  error                                    message of a member that answers Fmt_End::failed
#ifndef TAMRUN_STATEMENTS_FMT_LOOP_H
#define TAMRUN_STATEMENTS_FMT_LOOP_H

#include <limits>

#include "format/for_fmt_val.h"
#include "format/for_intrp_fmt.h"
#include "statements/for_desc_item.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

/// How a call of the statement came to its end.
enum class Fmt_End : u8 {
  none,       ///< it has not
  statement,  ///< the list or the format ends the statement
  call,       ///< the end mark of the call
  failed,     ///< a message is to be reported
  reported,   ///< a failure has been reported and the unit released
};
struct Fmt_Result {
  Fmt_End end;
  int code;
};

/// What stands next in an item list.
enum class List_Ahead : u8 { item, statement_end, call_end, malformed };

/// Looks ahead on copies of the cursors, past the ends of derived types, and past empty arrays if asked to.
List_Ahead look_far_ahead(const u8* list, void* args, bool past_empty_arrays);

inline List_Ahead look_ahead(const u8* list, void* args, bool past_empty_arrays) {
  if (list != nullptr) {
    if (*list == ITM_END_STATEMENT) return List_Ahead::statement_end;
    if (*list == ITM_END_CALL) return List_Ahead::call_end;
    if (!past_empty_arrays && *list != ITM_DERIVED_CLOSE) return List_Ahead::item;
  }
  return look_far_ahead(list, args, past_empty_arrays);
}

/// True when the data of an item that takes no part in formatted transfer, or has no value of its own, would be edited.
constexpr bool item_has_no_value(u32 type) { return type > ITM_CHARACTER_ALT; }

template <class Transfer>
class Format_Loop {
 public:
  Format_Loop(For_Lub& lub, Transfer& transfer) : lub_(lub), isb_(*lub.lub_a_fmt_isb), transfer_(transfer) {}

  /// Transfers the items up to the next end mark.
  Fmt_Result transfer_items(const u8* list, void* args) {
    list_ = list;
    args_ = args;
    Fmt_End end = Fmt_End::none;
    if (lub_.lub_f_skip_to_marker) end = skip_components(1);
    while (end == Fmt_End::none) {
      end = plain_values();
      if (end == Fmt_End::none) end = next_descriptor();
      if (end == Fmt_End::none) end = act();
    }
    return {end, code_};
  }

 private:
  Fmt_End fail(int message) {
    code_ = message;
    return Fmt_End::failed;
  }
  Fmt_End pass_on(Fmt_End end) {
    if (end == Fmt_End::failed) code_ = transfer_.error;
    return end;
  }
  Fmt_End checked(int message) { return message == 0 ? Fmt_End::none : fail(message); }

  /// Takes a scalar of the list whose value stands in the argument words or behind one address: false, with nothing
  /// taken, for all other items.
  bool take_plain_scalar(Item_Run& run) {
    const u8 type = list_[0], access = list_[1];
    u64* const words = static_cast<u64*>(args_);
    if (type == ITM_CHARACTER) {
      if (access != ACC_SCALAR || static_cast<i64>(words[0]) < 0) return false;
      run = {reinterpret_cast<u8*>(words[1]), static_cast<i64>(words[0]), 1, static_cast<i64>(words[0])};
      args_ = words + 2;
    } else {
      if (type < ITM_INTEGER1 || type >= ITM_CHARACTER || item_is_complex(type)) return false;
      const For_Item_Row row = for__dsc_itm_table[type];
      if (row.size <= 0 || (access != ACC_INLINE && access != ACC_POINTER)) return false;
      const bool stands_here = access == ACC_INLINE;
      run = {stands_here ? reinterpret_cast<u8*>(words) : reinterpret_cast<u8*>(words[0]), row.size, 1, row.size};
      args_ = words + (stands_here ? row.words : 1);
    }
    val_.val_type = type;
    list_ += 2;
    return true;
  }

  /// Scalars with plain descriptors, as long as one follows the other: what small records are made of. Stops wherever
  /// there is more to do, which is left to the others.
  Fmt_End plain_values() {
    if (has_value() || list_ == nullptr || args_ == nullptr || isb_.isb_fmt_pc == nullptr) return Fmt_End::none;
    for (;;) {
      const bool repeats = isb_.isb_repeat >= 2;
      if (repeats ? !stops_plainly(isb_.isb_code) : !stands_at_plain_data(isb_)) {
        if (repeats) break;
        if (*isb_.isb_fmt_pc == FMT_END && *list_ == ITM_END_STATEMENT) return Fmt_End::statement;
        if (pass_plain_columns(lub_, isb_) || pass_plain_start(isb_)) continue;
        break;
      }
      if (*list_ == ITM_END_STATEMENT) return Fmt_End::statement;
      Item_Run run;
      if (!take_plain_scalar(run)) break;
      if (repeats) {
        --isb_.isb_repeat;
        isb_.isb_width = isb_.isb_width_saved;
      } else {
        isb_.isb_flags &= ~u32{ISB_VFE_REACHED | ISB_STATEMENT_ENDS};
        stop_at_plain_data(isb_);
      }
      idle_level_ = -1;
      lub_.lub_f_item_seen = 1;
      lub_.lub_zero_item = 0;
      const Fmt_End end = edit(run, 1);
      if (end != Fmt_End::none) return end;
    }
    return Fmt_End::none;
  }

  /// The call is over and the current descriptor has not been used: the next call begins with it.
  Fmt_End keep_for_next_call() {
    if (isb_.isb_repeat < 1) isb_.isb_repeat = 1;
    if (isb_.isb_repeat < std::numeric_limits<i64>::max()) ++isb_.isb_repeat;
    return Fmt_End::call;
  }

  Fmt_End next_descriptor() {
    if (isb_.isb_repeat >= 2) {
      --isb_.isb_repeat;
      isb_.isb_width = isb_.isb_width_saved;
      return Fmt_End::none;
    }
    isb_.isb_flags &= ~u32{ISB_VFE_REACHED | ISB_CALL_ENDS | ISB_STATEMENT_ENDS};
    if (!has_value()) {
      const List_Ahead ahead = look_ahead(list_, args_, false);
      if (ahead == List_Ahead::call_end) isb_.isb_flags |= ISB_CALL_ENDS;
      if (ahead == List_Ahead::statement_end) isb_.isb_flags |= ISB_STATEMENT_ENDS;
    }
    if (const int code = for__interp_fmt(&lub_)) {
      code_ = code;
      return code == MSG_RECURSIVE_IO || code == MSG_RECORD_OVERFLOW ? Fmt_End::reported : Fmt_End::failed;
    }
    constexpr u32 kWaits = ISB_VFE_REACHED | ISB_CALL_ENDS;
    if ((isb_.isb_flags & kWaits) == kWaits) return isb_.isb_repeat != 0 ? keep_for_next_call() : Fmt_End::call;
    return Fmt_End::none;
  }

  /// True when an unlimited group has been passed through without a value: it will go on so for ever.
  bool idles_for_ever() {
    for (int level = isb_.isb_depth - 1; level >= 0; --level) {
      const i64 count = isb_.isb_group_count[level];
      if (count >= 0 && count <= kFmtUnlimited / 2) continue;
      if (level == idle_level_) return count < idle_count_ - 1;
      idle_level_ = level;
      idle_count_ = count;
      break;
    }
    return false;
  }

  Fmt_End act() {
    const u8 code = isb_.isb_code;
    const bool idle = code == FMT_LITERAL || code == FMT_SLASH || code == FMT_COLON || code == FMT_DOLLAR;
    if (idle && idles_for_ever()) return fail(MSG_INFINITE_FORMAT_LOOP);
    switch (code) {
      case FMT_END:
        return end_of_format();
      case FMT_DOLLAR:
        transfer_.dollar();
        return Fmt_End::none;
      case FMT_COLON:
        return colon();
      case FMT_SLASH:
        lub_.lub_zero_item = 0;
        return pass_on(transfer_.slash());
      case FMT_LITERAL:
        lub_.lub_zero_item = 0;
        lub_.lub_f_item_seen = 1;
        return checked(transfer_.literal(isb_.isb_literal, isb_.isb_width));
      default:
        return data_edit();
    }
  }

  /// What a list that is over means at the end of the format or at a colon.
  Fmt_End end_as(List_Ahead ahead) {
    switch (ahead) {
      case List_Ahead::item:
        return Fmt_End::none;
      case List_Ahead::statement_end:
        return Fmt_End::statement;
      case List_Ahead::call_end:
        return keep_for_next_call();
      case List_Ahead::malformed:
        break;
    }
    return fail(MSG_INVALID_ARGUMENT);
  }

  Fmt_End end_of_format() {
    if (!has_value()) {
      const Fmt_End end = end_as(look_ahead(list_, args_, false));
      if (end != Fmt_End::none) return end;
    }
    if (!(isb_.isb_flags & ISB_DATA_EDIT_SEEN)) {
      const bool may_pass = lub_.lub_f_f90_rtl && (isb_.isb_flags & ISB_EMPTY_FORMAT) && !has_value();
      const Fmt_End end = may_pass ? end_as(look_ahead(list_, args_, true)) : Fmt_End::none;
      return end != Fmt_End::none ? end : fail(MSG_NO_DATA_EDIT);
    }
    // Empty arrays alone do not ask for another record to be read; one that is written has been begun by then.
    const List_Ahead ahead = has_value() ? List_Ahead::item : look_ahead(list_, args_, true);
    if (Transfer::kWriting) {
      const Fmt_End end = pass_on(transfer_.begin_pass());
      if (end != Fmt_End::none || ahead == List_Ahead::item || ahead == List_Ahead::call_end) return end;
      lub_.lub_fmt_no_final_record = 1;
      return end_as(ahead);
    }
    const Fmt_End end = end_as(ahead);
    return end != Fmt_End::none ? end : pass_on(transfer_.begin_pass());
  }

  Fmt_End colon() { return has_value() ? Fmt_End::none : end_as(look_ahead(list_, args_, true)); }

  bool has_value() const { return run_.count > 0; }

  /// Fetches the next value into run_ if none is at hand. Fmt_End::none without one: a derived type has been done.
  Fmt_End fetch_value(bool* done) {
    while (run_.count == 0) {
      if (const int code = next_item(list_, args_, val_, shape_)) return fail(code);
      switch (val_.val_type) {
        case ITM_END_STATEMENT:
          return Fmt_End::statement;
        case ITM_END_CALL:
          return keep_for_next_call();
        case ITM_DERIVED_CLOSE:
          continue;
        case ITM_DERIVED:
        case ITM_DERIVED_OPEN:
        case ITM_DERIVED_OPEN_DT:
          if (isb_.isb_code == FMT_DT) {
            *done = true;
            return defined_transfer();
          }
          if (val_.val_type == ITM_DERIVED_OPEN) continue;  // its components come one by one
          return fail(val_.val_type == ITM_DERIVED_OPEN_DT ? MSG_NEEDS_DT_EDIT : MSG_FORMAT_TYPE_MISMATCH);
        default:
          break;
      }
      if (isb_.isb_code == FMT_DT || item_has_no_value(val_.val_type)) return fail(MSG_FORMAT_TYPE_MISMATCH);
      start_item();
    }
    return Fmt_End::none;
  }

  void start_item() {
    if (!item_is_array(shape_.shp_access)) {
      run_ = {val_.val_data, val_.val_elem, item_is_complex(val_.val_type) ? 2 : 1, val_.val_elem};
      lub_.lub_f_item_seen = 1;
      lub_.lub_zero_item = 0;
      return;
    }
    walker_.start(val_, shape_, lub_.lub_f_f90_rtl);
    if (walker_.count() == 0) {
      lub_.lub_zero_item = 1;
      return;
    }
    if (lub_.lub_f_f90_rtl || item_is_section(shape_.shp_access)) {
      lub_.lub_f_item_seen = 1;
      lub_.lub_zero_item = 0;
    }
    more_runs_ = walker_.next(run_);
  }

  Fmt_End data_edit() {
    bool done = false;
    idle_level_ = -1;
    const Fmt_End end = fetch_value(&done);
    if (end != Fmt_End::none || done) return end;
    const i64 uses = isb_.isb_repeat > 1 ? isb_.isb_repeat : 1;
    const i64 count = run_.count < uses ? run_.count : uses;
    const Item_Run run = run_;
    run_.count -= count;
    run_.data = reinterpret_cast<u8*>(reinterpret_cast<u64>(run.data) + static_cast<u64>(run.stride) * count);
    if (run_.count == 0 && more_runs_) more_runs_ = walker_.next(run_);
    isb_.isb_repeat = uses - count + 1;
    return edit(run, count);
  }

  Fmt_End edit(const Item_Run& run, i64 count) {
    u32 type = val_.val_type;
    if (isb_.isb_code == FMT_Q && !Transfer::kWriting) {
      for (i64 i = 0; i < count; ++i) {
        if (const int code = transfer_.chars_left(type, {run.data + i * run.stride, run.elem, 1, run.stride})) {
          return fail(code);
        }
      }
      return Fmt_End::none;
    }
    if (lub_.lub_f_coerce_types && isb_.isb_code < kCoercedCodes) {
      const u8* table = for__coerce_data_types[isb_.isb_code];
      if (table != nullptr && table[type] != 0) type = table[type];
    }
    return pass_on(transfer_.values(type, run, count));
  }

  /// A derived type whose own routine transfers it. Its components stand behind it and are passed over.
  Fmt_End defined_transfer() {
    lub_.lub_zero_item = 0;
    const bool has_components = val_.val_type != ITM_DERIVED;
    // A failure below releases the unit, and with it the state block: the format is held here meanwhile.
    const u32 owned = isb_.isb_flags & ISB_RUNTIME_FORMAT;
    const u8* const format = isb_.isb_fmt_base;
    isb_.isb_flags &= ~owned;
    const bool size_given = lub_.lub_f_size_given;
    const i64 record_done = lub_.lub_fmt_record_done;
    if (const int code = for__udio_fmt(&lub_, &val_, Transfer::kWriting, Transfer::kInternal)) {
      if (owned) for__free_vm(const_cast<u8*>(format));
      code_ = code;
      return Fmt_End::reported;
    }
    // A child statement begins these anew.
    isb_.isb_flags |= owned | ISB_DATA_EDIT_SEEN;
    lub_.lub_f_size_given = size_given;
    lub_.lub_fmt_record_done = record_done;
    lub_.lub_f_item_seen = 1;
    return has_components ? skip_components(1) : Fmt_End::none;
  }

  /// Passes over the items up to the end of the derived type that has been entered `depth` times.
  Fmt_End skip_components(int depth) {
    lub_.lub_f_skip_to_marker = 0;
    while (depth > 0) {
      if (const int code = for__desc_ret_item(&list_, &args_, &val_, &shape_)) return fail(code);
      switch (val_.val_type) {
        case ITM_DERIVED:
        case ITM_DERIVED_OPEN:
        case ITM_DERIVED_OPEN_DT:
          ++depth;
          break;
        case ITM_DERIVED_CLOSE:
          --depth;
          break;
        case ITM_END_CALL:
          lub_.lub_f_skip_to_marker = 1;
          return Fmt_End::call;
        case ITM_END_STATEMENT:
          return Fmt_End::statement;
        default:
          break;
      }
    }
    return Fmt_End::none;
  }

  static constexpr int kCoercedCodes = sizeof for__coerce_data_types / sizeof for__coerce_data_types[0];

  For_Lub& lub_;
  For_Fmt_Isb& isb_;
  Transfer& transfer_;
  const u8* list_ = nullptr;
  void* args_ = nullptr;
  For_Value_Info val_;
  For_Item_Shape shape_;
  ItemWalker walker_;
  Item_Run run_ = {nullptr, 0, 0, 0};
  bool more_runs_ = false;
  int idle_level_ = -1;  ///< level of an unlimited group that has stopped since the last value
  i64 idle_count_ = 0;   ///< its count then
  int code_ = 0;
};

/// One call of a formatted statement: transfers the items with a `Transfer` on a `Target`. `end_of_list` ends the
/// statement and `fail` ends it with a message; both give what compiled code gets.
template <template <class> class Transfer, class Target>
int transfer_call(For_Context* ctx, const u8* item_list, void* item_args, int (*end_of_list)(For_Lub&),
                  int (*fail)(For_Lub&, int)) {
  if (ctx->ctx_lub == nullptr) return 0;
  For_Lub& lub = *ctx->ctx_lub;
  Target target(lub);
  Transfer<Target> transfer(lub, target);
  const Fmt_Result result = Format_Loop<Transfer<Target>>(lub, transfer).transfer_items(item_list, item_args);
  switch (result.end) {
    case Fmt_End::statement:
      return end_of_list(lub);
    case Fmt_End::failed:
      return fail(lub, result.code);
    case Fmt_End::reported:
      ctx->ctx_lub = nullptr;
      return result.code;
    case Fmt_End::call:
    case Fmt_End::none:
      break;
  }
  return 0;
}

#endif
