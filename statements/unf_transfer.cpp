// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The values of unformatted statements between variables and records.

#include "statements/unf_transfer.h"

#include <algorithm>
#include <type_traits>

#include "core/failure.h"
#include "records/buffer.h"
#include "records/for_get.h"
#include "records/for_get_unf.h"
#include "records/for_put_unf.h"
#include "records/length_byte_form.h"
#include "statements/direct_record.h"
#include "statements/for_desc_item.h"
#include "statements/unf_convert.h"

namespace {

/// Bytes of one step of a strided copy, with the sizes of numbers known to the compiler.
template <class Step>
void by_size(i64 elem, Step step) {
  switch (elem) {
    case 4:
      return step(std::integral_constant<i64, 4>());
    case 8:
      return step(std::integral_constant<i64, 8>());
    default:
      return step(elem);
  }
}

void gather(u8* to, const u8* from, i64 elem, i64 stride, i64 count) {
  by_size(elem, [&](auto bytes) {
    for (i64 i = 0; i < count; ++i) memcpy(to + i * bytes, from + i * stride, bytes);
  });
}

void scatter(u8* to, i64 stride, const u8* from, i64 elem, i64 count) {
  by_size(elem, [&](auto bytes) {
    for (i64 i = 0; i < count; ++i) memcpy(to + i * stride, from + i * bytes, bytes);
  });
}

inline int put_block(For_Lub& lub, u8* data, i64 length) { return put_unformatted(lub, data, length); }

/// Bytes on the stack for values that the record has no room for: so many that a large array leaves in few pieces.
constexpr i64 kStaging = 64 << 10;
/// The same for converted values that go to places apart.
constexpr i64 kScattered = 2 << 10;

/// Brings the first `count` values of a run side by side, as they stand in the file.
void form(For_Lub& lub, u32 type, bool converts, const Item_Run& run, i64 count, u8* to) {
  const bool side_by_side = run.stride == run.elem;
  if (!side_by_side) gather(to, run.data, run.elem, run.stride, count);
  if (converts) convert_for_write(lub, type, run.elem, count, side_by_side ? run.data : to, to);
}

/// A run that outgrows the record in the buffer.
[[gnu::noinline]] int put_staged(For_Lub& lub, u32 type, bool converts, Item_Run run) {
  u8 staging[kStaging];
  while (run.count > 0) {
    const i64 some = std::clamp(kStaging / run.elem, i64{1}, run.count);
    const u8* data = run.data;
    if (run.elem <= kStaging) {
      form(lub, type, converts, run, some, staging);
      data = staging;
    }
    if (int code = put_unformatted(lub, data, some * run.elem)) return code;
    run.count -= some;
    run.data += some * run.stride;
  }
  return 0;
}

/// One run of values into the record. `converts`: in the file's form.
int put_run(For_Lub& lub, u32 type, bool converts, const Item_Run& run) {
  if ((run.stride == run.elem || run.count == 1) && !converts) {
    return put_unformatted(lub, run.data, run.elem * run.count);
  }
  if (run.elem == 0) return 0;
  if ((lub.lub_a_rec_end - lub.lub_a_cursor) / run.elem < run.count) return put_staged(lub, type, converts, run);
  form(lub, type, converts, run, run.count, lub.lub_a_cursor);
  lub.lub_a_cursor += run.count * run.elem;
  return 0;
}

/// Bytes that the record is known to have more, in the buffer and behind it.
i64 known_bytes(const For_Lub& lub) {
  const i64 behind = is_variable(lub) && !lub.lub_f_direct ? lub.lub_rec_left : 0;
  return lub.lub_a_rec_end - lub.lub_a_cursor + behind;
}

/// Converted values side by side, each as soon as it is there: a record found too short behind them leaves them so.
int take_converted(For_Lub& lub, u32 type, Item_Run run) {
  while (run.count > 0) {
    const i64 some = std::clamp(known_bytes(lub) / run.elem, i64{1}, run.count), bytes = some * run.elem;
    const u8* from = run.data;
    if (bytes <= lub.lub_a_rec_end - lub.lub_a_cursor) {
      from = lub.lub_a_cursor;
      lub.lub_a_cursor += bytes;
    } else if (int code = take_unformatted(lub, run.data, bytes)) {
      return code;
    }
    convert_after_read(lub, type, run.elem, some, from, run.data);
    run.count -= some;
    run.data += bytes;
  }
  return 0;
}

/// One run of values out of the record. What the record still holds is taken before it is found too short.
int take_run(For_Lub& lub, u32 type, bool converts, Item_Run run) {
  const bool side_by_side = run.stride == run.elem || run.count == 1;
  if (side_by_side && !converts) return take_unformatted(lub, run.data, run.elem * run.count);
  if (run.elem == 0) return 0;
  if (side_by_side) return take_converted(lub, type, run);
  u8 converted[kScattered];
  while (run.count > 0) {
    i64 some = std::min(run.count, (lub.lub_a_rec_end - lub.lub_a_cursor) / run.elem);
    if (some <= 0) {
      some = 1;
      if (int code = take_unformatted(lub, run.data, run.elem)) return code;
      if (converts) convert_after_read(lub, type, run.elem, 1, run.data, run.data);
    } else {
      const u8* from = lub.lub_a_cursor;
      if (converts) {
        some = std::min(some, kScattered / run.elem);
        convert_after_read(lub, type, run.elem, some, from, converted);
        from = converted;
      }
      scatter(run.data, run.stride, from, run.elem, some);
      lub.lub_a_cursor += some * run.elem;
    }
    run.count -= some;
    run.data += some * run.stride;
  }
  return 0;
}

/// Bytes of an item that lies side by side.
i64 item_bytes(const For_Value_Info& val, const For_Item_Shape& shape) {
  if (!item_is_array(shape.shp_access)) return val.val_total;
  return val.val_elem == 0 ? 0 : val.val_total - val.val_total % val.val_elem;
}

template <auto Move_Block, auto Move_Run>
int move_item(For_Lub& lub, const For_Value_Info& val, const For_Item_Shape& shape) {
  const bool converts = needs_conversion(lub, val);
  if (!converts && !item_is_section(shape.shp_access)) {
    const i64 bytes = item_bytes(val, shape);
    return bytes > 0 ? Move_Block(lub, val.val_data, bytes) : 0;
  }
  ItemWalker walker;
  walker.start(val, shape, false);
  Item_Run run;
  while (walker.next(run)) {
    if (int code = Move_Run(lub, val.val_type, converts, run)) return code;
  }
  return 0;
}

/// The most frequent items, which need no full decoding: a number or logical in the argument words or behind an address,
/// text of a length. False: not one of them, and nothing is taken.
inline bool take_plain_item(const u8*& list, void*& args, Unf_Block& block) {
  const u8 type = list[0];
  if (type >= kItemTypes || type == ITM_DERIVED) return false;
  const For_Item_Row row = for__dsc_itm_table[type];
  u64* const words = static_cast<u64*>(args);
  int used = 1;
  if (list[1] == ACC_POINTER && row.size > 0) {
    block = {reinterpret_cast<u8*>(words[0]), row.size};
  } else if (list[1] == ACC_INLINE && row.size > 0) {
    block = {reinterpret_cast<u8*>(words), row.size};
    used = row.words;
  } else if (list[1] == ACC_SCALAR && type == ITM_CHARACTER) {
    block = {reinterpret_cast<u8*>(words[1]), std::max<i64>(static_cast<i64>(words[0]), 0)};
    used = 2;
  } else {
    return false;
  }
  list += 2;
  args = words + used;
  return true;
}

/// Decodes and moves one item that is no plain one. `end` is Unf_End::call while the list goes on.
template <auto Move_Block, auto Move_Run>
[[gnu::noinline]] Unf_Result move_next_item(For_Lub& lub, const u8** list, void** args) {
  For_Value_Info val;
  For_Item_Shape shape;
  if (int code = for__desc_ret_item(list, args, &val, &shape)) return {Unf_End::failed, code};
  if (val.val_type == ITM_DERIVED) {
    const int code = for__udio_uf(&lub, &val, !lub.lub_f_direct);
    return {code == 0 ? Unf_End::call : Unf_End::child, code};
  }
  if (for__dsc_itm_table[val.val_type].size == ITEM_SIZE_NON_DATA) return {Unf_End::call, 0};
  lub.lub_zero_item = item_is_array(shape.shp_access) && val.val_total == 0;
  const int code = move_item<Move_Block, Move_Run>(lub, val, shape);
  return {code == 0 ? Unf_End::call : Unf_End::failed, code};
}

/// Walks the items of one call.
template <auto Move_Block, auto Move_Run>
Unf_Result move_items(For_Lub& lub, const u8* list, void* args) {
  if (list == nullptr) return {Unf_End::failed, MSG_INVALID_ARGUMENT};
  const bool as_they_are = !lub.lub_f_convert && !lub.lub_f_big_endian_words && args != nullptr;
  for (;;) {
    if (*list == ITM_END_STATEMENT) return {Unf_End::statement, 0};
    if (*list == ITM_END_CALL) return {Unf_End::call, 0};
    Unf_Block block;
    if (as_they_are && take_plain_item(list, args, block)) {
      if (block.bytes == 0) {
        lub.lub_zero_item = 0;
        continue;
      }
      if (int code = Move_Block(lub, block.data, block.bytes)) return {Unf_End::failed, code};
      continue;
    }
    const u8* next = list;  // copies, so that the list itself may stay in registers
    void* next_args = args;
    const Unf_Result moved = move_next_item<Move_Block, Move_Run>(lub, &next, &next_args);
    if (moved.code != 0) return moved;
    list = next;
    args = next_args;
  }
}

/// Puts a value piece by piece. `more` makes room each time the record is full.
template <class More>
int put_pieces(For_Lub& lub, const u8* data, i64 length, More more) {
  for (;;) {
    const i64 piece = std::min(length, lub.lub_a_rec_end - lub.lub_a_cursor);
    memcpy(lub.lub_a_cursor, data, piece);
    lub.lub_a_cursor += piece;
    data += piece;
    length -= piece;
    if (length == 0) return 0;
    if (int code = more()) return code;
  }
}

/// Takes a value piece by piece. `more` brings bytes each time the buffer has no more, or stores some itself.
template <class More>
int take_pieces(For_Lub& lub, u8* to, i64 length, More more) {
  for (;;) {
    const i64 piece = std::min(length, lub.lub_a_rec_end - lub.lub_a_cursor);
    memcpy(to, lub.lub_a_cursor, piece);
    lub.lub_a_cursor += piece;
    to += piece;
    length -= piece;
    if (length == 0) return 0;
    if (int code = more(to, length)) return code;
  }
}

/// Enlarges the record for a value: 0 or MSG_RECORD_OVERFLOW.
int grow_record(For_Lub& lub, i64 length) {
  constexpr i64 kShare = 4, kLeastGrowth = 512;
  const i64 needed = length - (lub.lub_a_rec_end - lub.lub_a_cursor);
  const i64 wanted = std::max({needed, lub.lub_buffer_size / kShare, kLeastGrowth});
  return for__adjust_buffer(&lub, needed, wanted) == 0 ? 0 : MSG_RECORD_OVERFLOW;
}

int put_in_grown_record(For_Lub& lub, const u8* data, i64 length) {
  if (int code = grow_record(lub, length)) return code;
  return put_unformatted(lub, data, length);
}

/// A record flows to the file: what stands in the buffer, and the value behind it unless that fits the buffer.
template <class Write>
int put_through(For_Lub& lub, const u8* data, i64 length, i64 trailer, Write write) {
  if (int code = write(lub.lub_a_buffer, lub.lub_a_cursor - lub.lub_a_buffer)) return code;
  lub.lub_a_rec_start = nullptr;
  lub.lub_a_cursor = lub.lub_a_buffer;
  if (length > lub.lub_buffer_size - trailer) {
    if (int code = write(data, length)) return code;
    length = 0;
  }
  memcpy(lub.lub_a_buffer, data, length);
  lub.lub_a_cursor = lub.lub_a_buffer + length;
  lub.lub_a_rec_end = lub.lub_a_buffer + lub.lub_buffer_size - trailer;
  return 0;
}

bool stands_behind_others(const For_Lub& lub) { return record_base(lub) != lub.lub_a_buffer; }

int put_variable(For_Lub& lub, const u8* data, i64 length) {
  if (!lub.lub_f_write_through && !may_write_through(lub)) return put_in_grown_record(lub, data, length);
  return put_through(lub, data, length, kLengthWord,
                     [&](const u8* from, i64 bytes) { return write_UFSEQD_record_to_file(&lub, from, bytes); });
}

int put_stream(For_Lub& lub, const u8* data, i64 length) {
  lub.lub_f_write_through = 1;
  return put_through(lub, data, length, 0, [&](const u8* from, i64 bytes) { return write_bytes(lub, from, bytes); });
}

int turn_to_next_segment(For_Lub& lub) {
  if (int code = for__put_su(&lub)) return code;
  if (int code = for__flush_readahead(&lub, 0)) return code;
  return layout_unformatted_record(lub, SEGMENT_MIDDLE);
}

/// A value of a binary connection may run on into the next record.
int turn_to_next_direct_output(For_Lub& lub) {
  if (lub.lub_f_binary) {
    if (int code = put_direct_record(lub)) return code;
    frame_direct_output(lub);
    return 0;
  }
  if (int code = for__put_d(&lub)) return code;
  // The statement's number stays, so that nothing may be held that counts as the record before it.
  if (lub.lub_f_buffer_held) {
    if (int code = for__flush_file_buffer(&lub)) return code;
  }
  return MSG_RECORD_OVERFLOW;
}

int turn_to_next_direct_input(For_Lub& lub) {
  return lub.lub_f_binary ? next_direct_input(lub) : int{MSG_INPUT_TOO_MUCH_DATA};
}

int put_direct(For_Lub& lub, const u8* data, i64 length) {
  if (lub.lub_f_virtual_recl && grow_record(lub, length) == 0) return put_unformatted(lub, data, length);
  return put_pieces(lub, data, length, [&] { return turn_to_next_direct_output(lub); });
}

/// What is as long as the buffer does not pass it.
int bring_stream(For_Lub& lub, u8*& to, i64& length) {
  if (length < lub.lub_buffer_size) return for__get_s(&lub, nullptr, nullptr);
  lub.lub_a_user_target = to;
  lub.lub_user_target_len = length;
  const int code = for__get_s(&lub, nullptr, nullptr);
  lub.lub_a_user_target = nullptr;
  if (code != 0) return code;
  to += lub.lub_rec_buffered;
  length -= lub.lub_rec_buffered;
  return 0;
}

int take_variable(For_Lub& lub, u8* to, i64 length) {
  const i64 threshold = lub.lub_f_threshold_set ? lub.lub_buffer_threshold : lub.lub_buffer_size;
  if (length >= threshold) return for__get_su_fields(&lub, to, length);
  return take_pieces(lub, to, length, [&](u8*, i64) { return for__get_more_fields(&lub); });
}

}  // namespace

bool begin_segment(For_Lub& lub, u8 first_control) {
  if (lub.lub_a_rec_end - lub.lub_a_cursor < kSegmentControl) return false;
  const u8* const control = lub.lub_a_cursor;
  if ((control[0] & ~SEGMENT_LAST) != first_control || control[1] != 0) return false;
  lub.lub_a_data_start = lub.lub_a_cursor;
  lub.lub_a_cursor += kSegmentControl;
  return true;
}

int next_segment(For_Lub& lub) {
  if (*lub.lub_a_data_start & SEGMENT_LAST) return MSG_INPUT_TOO_MUCH_DATA;
  if (int code = for__get_s(&lub, nullptr, nullptr)) return code;
  return begin_segment(lub, SEGMENT_MIDDLE) ? 0 : MSG_SEGMENTED_FORMAT;
}

int put_beyond_record(For_Lub& lub, const u8* data, i64 length) {
  if (lub.lub_f_direct || lub.lub_statement == STMT_REWRITE) return put_direct(lub, data, length);
  if (lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL) return put_length_byte_data(lub, data, length);
  if (lub.lub_rectype == RECTYPE_SEGMENTED)
    return put_pieces(lub, data, length, [&] { return turn_to_next_segment(lub); });
  const bool variable = is_variable(lub);
  if (!variable && lub.lub_rectype != RECTYPE_STREAM) return put_in_grown_record(lub, data, length);
  if (stands_behind_others(lub)) {
    if (int code = move_record_to_front(lub)) return code;
    return put_unformatted(lub, data, length);
  }
  return variable ? put_variable(lub, data, length) : put_stream(lub, data, length);
}

int take_beyond_record(For_Lub& lub, u8* to, i64 length) {
  if (lub.lub_f_direct) return take_pieces(lub, to, length, [&](u8*, i64) { return turn_to_next_direct_input(lub); });
  if (lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL) return for__read_ufseq(&lub, to, length);
  if (lub.lub_rectype == RECTYPE_SEGMENTED)
    return take_pieces(lub, to, length, [&](u8*, i64) { return next_segment(lub); });
  if (lub.lub_rectype == RECTYPE_STREAM)
    return take_pieces(lub, to, length, [&](u8*& rest, i64& left) { return bring_stream(lub, rest, left); });
  if (is_variable(lub)) return take_variable(lub, to, length);
  return take_pieces(lub, to, length, [](u8*, i64) { return int{MSG_INPUT_TOO_MUCH_DATA}; });
}

Unf_Result write_listed_items(For_Lub& lub, const u8* list, void* args) {
  return move_items<put_block, put_run>(lub, list, args);
}

Unf_Result read_listed_items(For_Lub& lub, const u8* list, void* args) {
  return move_items<take_unformatted, take_run>(lub, list, args);
}

bool is_one_block(const For_Lub& lub, const u8* list, void* args, Unf_Block& block) {
  constexpr int kPair = 2;
  if (list == nullptr || *list == ITM_END_STATEMENT || *list == ITM_END_CALL || list[kPair] != ITM_END_STATEMENT)
    return false;
  For_Value_Info val;
  For_Item_Shape shape;
  if (*list == ITM_DERIVED || for__desc_ret_item(&list, &args, &val, &shape) != 0) return false;
  if (item_is_section(shape.shp_access) || needs_conversion(lub, val)) return false;
  block = {val.val_data, item_bytes(val, shape)};
  return true;
}
