// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Any bytes as a file of any record type: all records come as the file's bytes tell, each ends where the unit says, the
// guard behind the buffer stays whole, and the buffer is never larger than the file's bytes account for.

#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/fuzz_input.h"
#include "records/buffer.h"
#include "records/for_get.h"
#include "records/record_oracle.h"
#include "support/guarded_buffer.h"

namespace {

struct Choice {
  u8 type, buffer, fixed, flags;
};

/// A unit past OPEN, on a file that is kept from one input to the next.
class Unit {
 public:
  Unit(const Choice& choice, const std::string& file) {
    static const int fd = memfd_create("fuzz", 0);
    require(fill_file(fd, file));
    lub_.lub_fd = fd;
    lub_.lub_rectype = choice.type;
    lub_.lub_rec_bytes = 1 + choice.fixed;
    lub_.lub_f_formatted = 1;
    lub_.lub_f_big_endian_words = choice.flags & 1;
    lub_.lub_f_seekable = 1;
    require(give_guarded_buffer(lub_, 16 + choice.buffer));
  }
  ~Unit() {
    require(guard_is_whole(lub_));
    for__free_vm(lub_.lub_a_buffer);
  }
  For_Lub& lub() { return lub_; }

 private:
  For_Lub lub_{};
};

std::string record_of(const For_Lub& lub) { return std::string(lub.lub_a_cursor, lub.lub_a_rec_end); }

/// STREAM has no records: the pieces make the file, but for a lone Ctrl-Z at the end of one.
void read_stream(For_Lub& lub, const std::string& file) {
  std::string seen;
  while (for__get_s(&lub, nullptr, nullptr) == 0) {
    seen += record_of(lub);
    lub.lub_a_cursor = lub.lub_a_rec_end;
  }
  require(file.compare(0, seen.size(), seen) == 0);
  require(seen.size() == file.size() || file[seen.size()] == 26);
}

void read_records(For_Lub& lub, const std::string& file, const Choice& choice) {
  const i64 smallest = lub.lub_buffer_size, fixed = lub.lub_rec_bytes;
  const Oracle all = oracle(file, choice.type, fixed, choice.flags & 1);
  const bool too_long = choice.type == RECTYPE_FIXED && fixed > smallest;
  for (const Oracle_Record& record : all.records) {
    if (too_long) break;
    require(for__get_s(&lub, nullptr, nullptr) == 0);
    require(record_of(lub) == record.data);
    require(lseek(lub.lub_fd, 0, SEEK_CUR) - read_ahead_bytes(lub) == record.end);
    if (choice.flags & 2) require(for__flush_readahead(&lub, 0) == 0 && lub.lub_file_pos == record.end);
  }
  require(for__get_s(&lub, nullptr, nullptr) == (too_long ? int{MSG_RECORD_TOO_LONG} : all.code));
  require(for__flush_readahead(&lub, 0) == 0);
  require(lseek(lub.lub_fd, 0, SEEK_CUR) == (too_long ? 0 : all.end));
  require(lub.lub_buffer_size <= smallest + 2 * static_cast<i64>(file.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Fuzz_Input input(data, size);
  Choice choice;
  if (!input.take(choice)) return 0;
  choice.type = 1 + choice.type % RECTYPE_STREAM_CRLF;
  const std::string file = input.rest();
  Unit unit(choice, file);
  if (choice.type == RECTYPE_STREAM) {
    read_stream(unit.lub(), file);
  } else {
    read_records(unit.lub(), file, choice);
  }
  return 0;
}
