// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Back over one record, for each layout.

#include "records/step_back.h"

#include <errno.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>

#include "records/buffer.h"
#include "records/for_get.h"
#include "records/record_frame.h"
#include "tamrun/messages.h"

namespace {

constexpr u8 kLf = '\n', kCr = '\r';

/// What the file holds is no record of the unit's layout.
int bad_structure(For_Lub& lub) {
  lub.lub_errno = 0;
  return MSG_BACKSPACE_ERROR;
}

int call_failed(For_Lub& lub) {
  lub.lub_errno = errno;
  return MSG_BACKSPACE_ERROR;
}

bool is_stream(const For_Lub& lub) { return lub.lub_rectype == RECTYPE_STREAM; }

/// The next byte to be read, while the buffer is a window on the file.
u8* position_in_buffer(const For_Lub& lub) { return is_stream(lub) ? lub.lub_a_cursor : lub.lub_a_read_next; }

/// Bytes of the file that the buffer still holds in front of the position.
i64 bytes_before(const For_Lub& lub) {
  const u8* next = lub.lub_f_read_ahead ? position_in_buffer(lub) : nullptr;
  return next != nullptr ? next - lub.lub_a_buffer : 0;
}

/// Makes `next` the next byte to be read.
void stand_at(For_Lub& lub, u8* next) {
  lub.lub_a_cursor = next;
  lub.lub_a_read_next = is_stream(lub) ? nullptr : next;
  lub.lub_a_rec_end = is_stream(lub) ? lub.lub_a_read_end : next;
  lub.lub_read_ahead = lub.lub_a_read_end - next;
  lub.lub_f_read_ahead = 1;
  lub.lub_file_pos = lub.lub_disk_pos - lub.lub_span_left + (next - lub.lub_a_buffer);
}

/// Reads what the buffer takes from `start` on, at most `length` bytes: 0 or MSG_BACKSPACE_ERROR. The unit stands behind
/// what came.
int load(For_Lub& lub, i64 start, i64 length, i64* got) {
  if (lseek(lub.lub_fd, start, SEEK_SET) < 0) return call_failed(lub);
  if (!for__read_input(lub.lub_fd, lub.lub_a_buffer, std::min(length, lub.lub_buffer_size), got, &lub))
    return call_failed(lub);
  lub.lub_disk_pos = start;
  lub.lub_rec_buffered = lub.lub_span_bytes = *got;
  lub.lub_span_left = 0;
  lub.lub_a_read_end = lub.lub_a_buffer + *got;
  stand_at(lub, lub.lub_a_read_end);
  return 0;
}

/// Fills the buffer with the bytes in front of `end`: 0 or MSG_BACKSPACE_ERROR.
int load_before(For_Lub& lub, i64 end) {
  const i64 start = std::max<i64>(end - lub.lub_buffer_size, 0);
  i64 got = 0;
  if (const int code = load(lub, start, end - start, &got)) return code;
  return got == end - start ? 0 : bad_structure(lub);
}

int move_to(For_Lub& lub, i64 offset) { return move_file(lub, offset) == 0 ? 0 : MSG_BACKSPACE_ERROR; }

/// Where the unit stood when the steps began, found when the first of them leaves the buffer.
class Origin {
 public:
  explicit Origin(For_Lub& lub) : lub_(lub) {}

  /// The position now, `passed` bytes in front of where the steps began: 0 or MSG_BACKSPACE_ERROR.
  int find(i64 passed, i64* now) {
    if (!known_) {
      i64 position = 0;
      if (find_position(lub_, &position) != 0) return MSG_BACKSPACE_ERROR;
      start_ = position + passed;
      known_ = true;
    }
    *now = start_ - passed;
    return 0;
  }
  /// Goes back there after a failure, whose errno stays.
  int restore(int code) {
    const i64 error = lub_.lub_errno;
    if (code != 0 && known_) (void)move_file(lub_, start_);
    lub_.lub_errno = error;
    return code;
  }

 private:
  For_Lub& lub_;
  i64 start_ = 0;
  bool known_ = false;
};

int step_fixed(For_Lub& lub, Origin& origin) {
  const i64 length = lub.lub_rec_bytes;
  // Direct access reads records by their number and leaves the file anywhere.
  if (lub.lub_f_direct && lub.lub_next_rec > 0) return move_to(lub, (lub.lub_next_rec - 2) * length);
  i64 position = 0;
  if (bytes_before(lub) < length) {
    if (const int code = origin.find(0, &position)) return code;
    if (position < length || length > lub.lub_buffer_size) return move_to(lub, std::max<i64>(position - length, 0));
    if (const int code = load_before(lub, position)) return code;
  }
  stand_at(lub, position_in_buffer(lub) - length);
  return 0;
}

/// The length word in front of the position, whose sign tells of a subrecord before this one.
i64 trailing_word(const For_Lub& lub) {
  u32 word;
  memcpy(&word, lub.lub_a_read_next - kLengthWord, sizeof word);
  if (lub.lub_f_big_endian_words) word = __builtin_bswap32(word);
  return static_cast<i32>(word);
}

int step_variable(For_Lub& lub, Origin& origin) {
  i64 passed = 0;
  for (bool continued = true; continued;) {
    i64 position = 0;
    if (bytes_before(lub) < kLengthWord) {
      if (const int code = origin.find(passed, &position)) return code;
      if (position < kLengthWord) return bad_structure(lub);
      if (const int code = load_before(lub, position)) return code;
    }
    const i64 word = trailing_word(lub);
    const i64 whole = (word < 0 ? -word : word) + 2 * kLengthWord;
    continued = word < 0;
    if (bytes_before(lub) >= whole) {
      stand_at(lub, lub.lub_a_read_next - whole);
    } else {
      if (const int code = origin.find(passed, &position)) return code;
      if (position < whole) return bad_structure(lub);
      if (const int code = move_to(lub, position - whole)) return code;
    }
    passed += whole;
  }
  lub.lub_f_rec_continued = 0;
  return 0;
}

/// There are no links backwards: the file is walked from its start up to the position.
int step_segmented(For_Lub& lub, Origin& origin) {
  constexpr i64 kCount = 2, kHead = 4;                // the count of bytes, and with the control word
  constexpr u16 kLast = 2, kOnly = 3, kEndMark = 26;  // control words behind which a record ends
  i64 position = 0, window = 0, held = 0, record = 0;
  if (const int code = origin.find(0, &position)) return code;
  bool begins = true;
  for (i64 at = 0; at < position;) {
    if (at < window || at + kHead > window + held) {
      window = at;
      if (const int code = load(lub, window, lub.lub_buffer_size, &held)) return code;
    }
    if (begins) record = at;
    if (held < kHead) break;  // the file is cut short
    const u8* segment = lub.lub_a_buffer + (at - window);
    const i64 count = segment[0] | segment[1] << 8;
    const int control = segment[2] | segment[3] << 8;
    begins = control == kLast || control == kOnly || control == kEndMark;
    at += kCount + count + count % 2;
  }
  return move_to(lub, record);
}

/// Binary files go back a byte, others the length of a record; without a length there are no records.
int step_stream(For_Lub& lub, Origin& origin) {
  const bool bytewise = lub.lub_stream_kind == STREAM_BIN_SEQUENTIAL;
  if (!bytewise && lub.lub_f_recl_defaulted) return bad_structure(lub);
  const i64 length = bytewise ? 1 : lub.lub_rec_bytes;
  const i64 before = bytes_before(lub);
  const i64 step = before % length != 0 ? before % length : length;
  if (step <= before) {
    stand_at(lub, lub.lub_a_cursor - step);
    return 0;
  }
  i64 position = 0;
  if (const int code = origin.find(0, &position)) return code;
  return move_to(lub, std::max<i64>(position - step, 0));
}

/// One byte of the file, through the buffer: 0 or MSG_BACKSPACE_ERROR. `window` is the offset of the buffer's start.
int byte_at(For_Lub& lub, i64 offset, i64* window, u8* byte) {
  if (offset < *window || offset >= *window + (lub.lub_a_read_end - lub.lub_a_buffer)) {
    if (const int code = load_before(lub, offset + 1)) return code;
    *window = lub.lub_disk_pos;
  }
  *byte = lub.lub_a_buffer[offset - *window];
  return 0;
}

/// Length-byte files: from chunk to chunk by the length bytes behind them, to behind the record before.
int step_chain(For_Lub& lub, Origin& origin) {
  constexpr u8 kFullChunk = 128, kContinued = 129, kEndMark = 130;
  constexpr i64 kBehindFileMark = 1;
  i64 position = 0;
  if (const int code = origin.find(0, &position)) return code;
  if (position <= kBehindFileMark) return 0;
  i64 window = position - bytes_before(lub);
  if (!lub.lub_f_read_ahead) lub.lub_a_read_end = lub.lub_a_buffer;
  i64 index = position - 1;
  for (bool first = true; index > 0;) {
    u8 byte = 0;
    if (const int code = byte_at(lub, index, &window, &byte)) return code;
    if (byte == kEndMark) {
      --index;
      if (!lub.lub_f_at_eof) continue;
      lub.lub_f_at_eof = 0;
      break;
    }
    if (lub.lub_f_at_eof) {  // the READ that met the end mark has left it in front
      lub.lub_f_at_eof = 0;
      break;
    }
    if (!first && byte != kContinued) break;
    first = false;
    index -= std::min(byte, kFullChunk) + 2;
  }
  const i64 next = std::max<i64>(index, 0) + 1;
  const i64 held = lub.lub_a_read_end - lub.lub_a_buffer;
  if (next < window || next > window + held) return move_to(lub, next);
  stand_at(lub, lub.lub_a_buffer + (next - window));
  return 0;
}

int step_line(For_Lub& lub, Origin& origin) {
  const u8 terminator = lub.lub_rectype == RECTYPE_STREAM_CR ? kCr : kLf;
  // The last byte is the terminator of the record that is left, if it has one.
  const i64 before = bytes_before(lub);
  void* found = before > 1 ? memrchr(lub.lub_a_buffer, terminator, before - 1) : nullptr;
  if (found == nullptr) {
    i64 position = 0;
    if (const int code = origin.find(0, &position)) return code;
    const i64 searched = std::max<i64>(position - 1, 0);
    if (const int code = load_before(lub, searched)) return code;
    const i64 held = lub.lub_a_read_end - lub.lub_a_buffer;
    found = memrchr(lub.lub_a_buffer, terminator, held);
    if (found == nullptr && lub.lub_f_compat_io && held == searched) return move_to(lub, 0);
    if (found == nullptr) return bad_structure(lub);
  }
  stand_at(lub, static_cast<u8*>(found) + 1);
  return 0;
}

int step_by_type(For_Lub& lub, Origin& origin) {
  switch (lub.lub_rectype) {
    case RECTYPE_FIXED:
      return step_fixed(lub, origin);
    case RECTYPE_VARIABLE_KEYWORD:
    case RECTYPE_VARIABLE:
      return step_variable(lub, origin);
    case RECTYPE_SEGMENTED:
      return step_segmented(lub, origin);
    case RECTYPE_STREAM:
      return lub.lub_stream_kind == STREAM_MS_UNF_SEQUENTIAL ? step_chain(lub, origin) : step_stream(lub, origin);
    case RECTYPE_STREAM_LF:
    case RECTYPE_STREAM_CR:
    case RECTYPE_STREAM_CRLF:
      return step_line(lub, origin);
    default:
      return bad_structure(lub);
  }
}

}  // namespace

int find_position(For_Lub& lub, i64* position) {
  const off_t at = lseek(lub.lub_fd, 0, SEEK_CUR);
  if (at < 0) {
    lub.lub_errno = errno;
    return MSG_READ_ERROR;
  }
  *position = at - read_ahead_bytes(lub);
  return 0;
}

int step_back(For_Lub& lub) {
  Origin origin(lub);
  return origin.restore(step_by_type(lub, origin));
}
