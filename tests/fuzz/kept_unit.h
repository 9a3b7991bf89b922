// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit that stays connected from one input of a fuzz target to the next, and is as OPEN left it for each: connecting
// costs more than most inputs do.
#ifndef TAMRUN_TESTS_FUZZ_KEPT_UNIT_H
#define TAMRUN_TESTS_FUZZ_KEPT_UNIT_H

#include <stdio.h>
#include <sys/mman.h>
#include <unistd.h>

#include "fuzz/fuzz_input.h"
#include "support/guarded_buffer.h"
#include "units/open.h"
#include "units/unit_table.h"

class Kept_Unit {
 public:
  /// Connects the unit as a first READ, or with `writes` a first WRITE, would: to a file in memory.
  Kept_Unit(int unit, bool writes) : file_(memfd_create("fuzz", 0)) {
    char name[16], path[40];
    snprintf(name, sizeof name, "FORT%d", unit);
    snprintf(path, sizeof path, "/proc/self/fd/%d", file_);
    setenv(name, path, 1);
    require(for__acquire_lun(unit, &lub_, nullptr, STMT_OPEN) == 0);
    require(for__open_default(lub_, 1, writes ? 4 : 1, 1) == 0);
    require(for__release_lun(unit) == 0);
    memcpy(pristine_, lub_, sizeof *lub_);
    file_info_ = *lub_->lub_a_file_info;
  }

  For_Lub& lub() { return *lub_; }

  /// The unit as OPEN left it, with an empty buffer of that size.
  For_Lub& renew(i64 bytes) {
    For_Lub& lub = *lub_;
    for__free_vm(lub.lub_a_buffer);
    constexpr size_t kLocks = sizeof(For_Resource);  // whoever holds the unit is the library's affair
    memcpy(reinterpret_cast<u8*>(lub_) + kLocks, pristine_ + kLocks, sizeof *lub_ - kLocks);
    For_File_Info& file = *lub.lub_a_file_info;
    file.fi_record_open = file_info_.fi_record_open;
    file.fi_read_open = file_info_.fi_read_open;
    file.fi_cc_after_cr = file_info_.fi_cc_after_cr;
    file.fi_cc_after_prompt = file_info_.fi_cc_after_prompt;
    file.fi_cc_unterminated = file_info_.fi_cc_unterminated;
    file.saved_lub = file_info_.saved_lub;
    require(give_guarded_buffer(lub, bytes));
    lub.lub_a_read_next = lub.lub_a_read_end = lub.lub_a_item_start = lub.lub_a_high_water = lub.lub_a_rec_start =
        nullptr;
    return lub;
  }

  /// The unit at the start of a file with this content. Most inputs stand in the buffer as if they had been read, which
  /// spares the calls of the system; with `small_reads` they come in small pieces.
  For_Lub& load(const u8* data, size_t size, bool small_reads) {
    constexpr i64 kSmallBuffer = 64;
    const i64 length = static_cast<i64>(size);
    For_Lub& lub = renew(small_reads || length == 0 ? kSmallBuffer : length);
    require(lseek(lub.lub_fd, 0, SEEK_SET) == 0);
    if (small_reads || file_has_content_) {
      require(ftruncate(file_, 0) == 0);
      file_has_content_ = small_reads;
    }
    if (small_reads) {
      require(pwrite(file_, data, size, 0) == static_cast<ssize_t>(size));
      return lub;
    }
    memcpy(lub.lub_a_buffer, data, size);
    lub.lub_a_read_next = lub.lub_a_buffer;
    lub.lub_a_read_end = lub.lub_a_buffer + length;
    lub.lub_read_ahead = lub.lub_rec_buffered = lub.lub_span_bytes = length;
    lub.lub_f_read_ahead = 1;
    return lub;
  }

  bool guard_is_whole() const { return ::guard_is_whole(*lub_); }

 private:
  const int file_;
  bool file_has_content_ = false;
  For_Lub* lub_ = nullptr;
  For_File_Info file_info_{};
  u8 pristine_[sizeof(For_Lub)];
};

#endif
