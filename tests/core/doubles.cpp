// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Stand-ins for what core/ calls upwards.

#include "doubles.h"

#include <string.h>

#include "tamrun/messages.h"

namespace tamrun_test {

Doubles& doubles() {
  static Doubles instance;
  return instance;
}

}  // namespace tamrun_test

namespace {

using tamrun_test::doubles;

template <class... Args>
void note(const std::string& name, Args... args) {
  std::string call = name;
  ((call += " " + std::to_string(args)), ...);
  doubles().calls.push_back(call);
}

}  // namespace

extern "C" {

int __wrap_for__acquire_lun(int unit, For_Lub** out, For_Context*, int statement) {
  note("acquire", unit, statement);
  const auto found = doubles().units.find(unit);
  if (found == doubles().units.end()) return MSG_RECURSIVE_IO;
  *out = found->second;
  return 0;
}
int __wrap_for__release_lun(int unit) {
  note("release", unit);
  return 0;
}
int __wrap_for__close_default(For_Lub* lub, int deallocate) {
  note("close_default", lub->lub_unit, deallocate);
  return 0;
}
void __wrap_for__abandon_connection(For_Lub* lub) { note("abandon", lub->lub_unit); }
int __wrap_for__close_proc(const For_Close_Args* args, For_Lub* lub) {
  note("close", lub->lub_unit, lub->lub_f_closing + 0, args != nullptr);
  return doubles().close_result[lub->lub_unit];
}
int __wrap_for__deallocate_lub(int unit) {
  note("deallocate", unit);
  return 0;
}
int __wrap_for__get_next_lub(For_Lub** lub, int* index, int statement) {
  note("next", statement);
  for (const auto& [unit, block] : doubles().units) {
    if (unit <= *index) continue;
    *index = unit;
    *lub = block;
    return doubles().held.count(unit) != 0 ? MSG_RECURSIVE_IO : 0;
  }
  *index = -1;
  return 0;
}
void __wrap_for__preconnected_units_create(void) { note("preconnected"); }
void __wrap_for__init_table_locks(void) { note("init_locks"); }
void __wrap_for__forget_row_owners(void) { note("forget_owners"); }
int __wrap_for__write_output(For_Lub* lub, const u8* data, i64 length) {
  note("write", lub->lub_unit);
  if (doubles().write_fails) return -1;
  doubles().written.append(reinterpret_cast<const char*>(data), static_cast<size_t>(length));
  return 0;
}
/// A keyword list of this file: each key is one byte with its value in one word; character keys have their length in
/// a second word.
int __wrap_for__key_desc_ret_item(const u8** keys, void** values, For_Value_Info* value, For_Item_Shape*, int* key) {
  const u8* pair = *keys;
  u64* words = static_cast<u64*>(*values);
  *key = pair[2];
  value->val_type = pair[0];
  if (pair[0] == ITM_CHARACTER) {
    value->val_total = value->val_elem = static_cast<i64>(*words++);
    value->val_data = reinterpret_cast<u8*>(*words++);
  } else {
    value->val_data = reinterpret_cast<u8*>(words++);
  }
  *keys = pair + 4;
  *values = words;
  return 0;
}
void __wrap_for__aio_init(void) { note("aio_init"); }
void __wrap_for__aio_release(void) { note("aio_release"); }
int __wrap_for__aio_park_failure(For_Lub* lub, int message, int user_code) {
  note("aio_park", lub->lub_unit, message, user_code);
  return doubles().aio_parks;
}
int __wrap_for__aio_error_handling(For_Lub* lub, int id, u32 given, int message, int user_code) {
  note("aio_error", lub->lub_unit, id, given, message, user_code);
  return user_code;
}
void __wrap_for__default_io_sizes_env_init(void) { note("io_sizes"); }
void __wrap_for__install_signal_handlers(void) { note("handlers"); }
void __wrap_for__disable_signal_stack(void) { note("no_signal_stack"); }
void __wrap_for__hbw_set_policy(u64 policy) { note("hbw_policy", policy); }
i32 __wrap_for_set_fastmem_policy(i32 policy) {
  note("fastmem_policy", policy);
  return 0;
}
i32 __wrap_for_get_hbw_availability(void) {
  note("hbw_availability");
  return 0;
}
void __wrap_tbk_stack_trace(const For_Excpt_Info*, char* buffer, size_t capacity) {
  if (doubles().trace) strncat(buffer, "TRACE\n", capacity - strlen(buffer) - 1);
}

void for_rtl_PGAS_INIT(int argc, char***, void (*)(int, int, ...)) { note("pgas_init", argc); }
void for_rtl_PGAS_FINALIZE(int has_value, int value) { note("pgas_finalize", has_value, value); }
void for_rtl_PGAS_ABORT(const char* text) { doubles().aborts.push_back(text == nullptr ? "(null)" : text); }
int for_rtl_PGAS_PROBABLY_ABORT(void) { return doubles().probably_abort; }
int for_rtl_PGAS_THIS_IMAGE(void) { return doubles().image; }
int for_rtl_PGAS_THIS_ORIGINAL_IMAGE(void) { return doubles().original_image; }
int for_rtl_PGAS_THIS_TEAM_ID(void) { return doubles().team; }

}  // extern "C"
