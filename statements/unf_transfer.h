// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The values of unformatted statements between variables and records, for sequential, stream and direct access. The
// record's bytes go between lub_a_cursor and lub_a_rec_end; what a record does when that is used up is its connection's.
#ifndef TAMRUN_STATEMENTS_UNF_TRANSFER_H
#define TAMRUN_STATEMENTS_UNF_TRANSFER_H

#include <string.h>

#include "statements/statement.h"
#include "tamrun/item_list.h"
#include "tamrun/lub.h"

/// How one call of an unformatted statement came to its end.
enum class Unf_End : u8 {
  statement,  ///< the end mark of the statement
  call,       ///< the end mark of the call
  failed,     ///< `code` is to be reported
  child,      ///< a child statement has failed and reported `code`
};
struct Unf_Result {
  Unf_End end;
  int code;
};

/// write_unformatted_items and read_unformatted_items of a list that may have items.
[[nodiscard]] Unf_Result write_listed_items(For_Lub& lub, const u8* list, void* args);
[[nodiscard]] Unf_Result read_listed_items(For_Lub& lub, const u8* list, void* args);

/// Moves the items of a list into the record, or out of it, up to the end mark. Lists without an item stand around values
/// that the caller moves itself.
[[nodiscard]] inline Unf_Result write_unformatted_items(For_Lub& lub, const u8* list, void* args) {
  if (list != nullptr && *list == ITM_END_STATEMENT) return {Unf_End::statement, 0};
  if (list != nullptr && *list == ITM_END_CALL) return {Unf_End::call, 0};
  return write_listed_items(lub, list, args);
}
[[nodiscard]] inline Unf_Result read_unformatted_items(For_Lub& lub, const u8* list, void* args) {
  if (list != nullptr && *list == ITM_END_STATEMENT) return {Unf_End::statement, 0};
  if (list != nullptr && *list == ITM_END_CALL) return {Unf_End::call, 0};
  return read_listed_items(lub, list, args);
}

/// What the entry point gives behind the items of one call, after which the statement is over, goes on or has failed.
template <int (*End)(For_Lub&), int (*Fail)(For_Lub&, int) = fail_statement>
inline int conclude_call(For_Lub& lub, const Unf_Result& result) {
  switch (result.end) {
    case Unf_End::statement:
      return End(lub);
    case Unf_End::call:
      return 0;
    case Unf_End::failed:
      return Fail(lub, result.code);
    case Unf_End::child:
      break;
  }
  return result.code;
}

/// put_unformatted and take_unformatted where the record in the buffer is used up.
[[nodiscard]] int put_beyond_record(For_Lub& lub, const u8* data, i64 length);
[[nodiscard]] int take_beyond_record(For_Lub& lub, u8* to, i64 length);

/// memcpy, without a call for the sizes of most numbers.
inline void copy_value(u8* to, const u8* from, i64 length) {
  if (length == sizeof(u32))
    memcpy(to, from, sizeof(u32));
  else if (length == sizeof(u64))
    memcpy(to, from, sizeof(u64));
  else
    memcpy(to, from, length);
}

/// Puts bytes into the record: 0 or a message.
[[nodiscard]] inline int put_unformatted(For_Lub& lub, const u8* data, i64 length) {
  if (length > lub.lub_a_rec_end - lub.lub_a_cursor) return put_beyond_record(lub, data, length);
  copy_value(lub.lub_a_cursor, data, length);
  lub.lub_a_cursor += length;
  return 0;
}

/// Takes bytes out of the record: 0 or a message. What was there before the record ended is taken.
[[nodiscard]] inline int take_unformatted(For_Lub& lub, u8* to, i64 length) {
  if (length > lub.lub_a_rec_end - lub.lub_a_cursor) return take_beyond_record(lub, to, length);
  copy_value(to, lub.lub_a_cursor, length);
  lub.lub_a_cursor += length;
  return 0;
}

/// Passes over the control word of a SEGMENTED record's segment that for__get_s has brought: false when it is not
/// `first_control`, with or without SEGMENT_LAST.
[[nodiscard]] bool begin_segment(For_Lub& lub, u8 first_control);

/// Goes on to the next segment: 0, MSG_INPUT_TOO_MUCH_DATA behind the last one, MSG_SEGMENTED_FORMAT, or what for__get_s
/// gives.
[[nodiscard]] int next_segment(For_Lub& lub);

/// Bytes that lie side by side.
struct Unf_Block {
  u8* data;
  i64 bytes;
};

/// True when the statement's list is one item and that lies side by side and moves as it is: then `block` is where.
[[nodiscard]] bool is_one_block(const For_Lub& lub, const u8* list, void* args, Unf_Block& block);

#endif
