// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Connects a unit to a descriptor with chosen attributes, past OPEN.

#include "support/unit.h"

#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <fstream>

#include <gtest/gtest.h>

#include "core/heap.h"
#include "support/guarded_buffer.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "units/file_info_table.h"
#include "units/unit_table.h"

namespace {

void* heap_block(i64 bytes) {
  void* block = nullptr;
  EXPECT_EQ(for__get_vm(bytes, 0, &block), 0);
  memset(block, 0, bytes);
  return block;
}

/// Record length and line width, as the connection rules give them.
void set_sizes(For_Lub& lub, const Connection& c) {
  constexpr i64 kDefaultRecord = 133, kDefaultRecl = 132, kDefaultLine = 80;
  int overhead = 0;
  if (c.recl != 0) {
    if (c.rectype == RECTYPE_VARIABLE || c.rectype == RECTYPE_VARIABLE_KEYWORD) overhead += 8;
    if (c.cc == CC_NONE && c.rectype == RECTYPE_STREAM_CRLF) overhead += 2;
    if (c.cc == CC_NONE && (c.rectype == RECTYPE_STREAM_LF || c.rectype == RECTYPE_STREAM_CR)) overhead += 1;
  }
  if (c.rectype != RECTYPE_FIXED && c.cc == CC_LIST) overhead += 1;
  if (c.rectype != RECTYPE_FIXED && c.cc == CC_FORTRAN) overhead += 6;
  if (c.direct && c.formatted && c.compat) overhead += 2;
  lub.lub_recl = c.recl != 0 ? c.recl : kDefaultRecl;
  lub.lub_rec_bytes = (c.recl != 0 ? c.recl : kDefaultRecord) + overhead;
  lub.lub_recl_limit = c.recl;
  lub.lub_rec_overhead = overhead;
  lub.lub_f_recl_defaulted = c.recl == 0;
  lub.lub_wrap_margin = c.wrap_margin;
  if (c.wrap_margin == 0) {
    const i64 line = (c.cc == CC_FORTRAN ? kDefaultLine + 5 : kDefaultLine) - c.compat;
    lub.lub_wrap_margin = c.recl != 0 ? lub.lub_rec_bytes : line;
  }
}

/// Fills the fields that a connection sets. `name` is the key of the file-info record, which is left to the caller.
void fill_connection(For_Lub& lub, int fd, const Connection& c, const std::string& name) {
  lub.lub_fd = fd;
  lub.lub_rectype = c.rectype;
  lub.lub_cc = c.cc;
  lub.lub_stream_kind = c.stream_kind;
  lub.lub_next_rec = 1;
  lub.lub_org = ORG_SEQUENTIAL;
  lub.lub_blocksize = c.blocksize;
  lub.lub_delim = c.delim;
  set_sizes(lub, c);
  lub.lub_f_f90_rtl = c.f90_rtl;
  lub.lub_f_compat_io = c.compat;
  lub.lub_f_formatted = c.formatted;
  lub.lub_f_unformatted = !c.formatted;
  lub.lub_f_stream = c.stream;
  lub.lub_f_direct = c.direct;
  lub.lub_f_sequential = !c.stream && !c.direct;
  lub.lub_f_buffered = c.buffered || c.user_buffered;
  lub.lub_f_user_buffered = c.user_buffered;
  lub.lub_f_msf_layout = c.msf_layout;
  lub.lub_f_compact_ldio = c.compact;
  lub.lub_f_virtual_recl = c.virtual_recl;
  lub.lub_f_big_endian_words = c.big_endian;
  lub.lub_f_no_char_blank = c.no_char_blank;
  lub.lub_f_pad = c.f90_rtl;
  lub.lub_f_seekable = lseek(fd, 0, SEEK_CUR) >= 0;

  EXPECT_TRUE(give_guarded_buffer(lub, c.buffer_size));
  memset(lub.lub_a_buffer, 0, c.buffer_size);
  lub.lub_a_rec_end = lub.lub_a_buffer + lub.lub_rec_bytes;

  lub.lub_a_file_name = static_cast<char*>(heap_block(static_cast<i64>(name.size()) + 1));
  memcpy(lub.lub_a_file_name, name.data(), name.size());
  lub.lub_name_len = static_cast<i16>(name.size());
  if (c.formatted) {
    lub.lub_a_fmt_isb = lub.lub_a_ldir_isb = static_cast<For_Fmt_Isb*>(heap_block(kStateBlockBytes));
    lub.lub_a_fmt_isb->isb_lub = &lub;
  }
  lub.lub_f_connected = 1;
}

/// Takes what fill_connection has made.
void free_connection_of(For_Lub& lub) {
  EXPECT_TRUE(guard_is_whole(lub)) << "the guard behind the record buffer is gone";
  for__free_vm(lub.lub_a_buffer);
  for__free_vm(lub.lub_a_file_name);
  for__free_vm(lub.lub_a_fmt_isb);
}

}  // namespace

Loose_Lub::Loose_Lub(int fd, const Connection& c) : lub_(static_cast<For_Lub*>(heap_block(sizeof(For_Lub)))) {
  lub_->lub_unit = 77;
  fill_connection(*lub_, fd, c, "loose");
  lub_->lub_a_file_info = &file_;
}

Loose_Lub::~Loose_Lub() {
  free_connection_of(*lub_);
  for__free_vm(lub_);
}

Connected_Unit::Connected_Unit(int unit, int fd, const Connection& c, const std::string& name) : unit_(unit) {
  EXPECT_EQ(for__acquire_lun(unit, &lub_, nullptr, STMT_OPEN), 0);
  fill_connection(*lub_, fd, c, name.empty() ? "unit" + std::to_string(unit) : name);
  if (c.formatted) EXPECT_EQ(for__add_to_lf_table(lub_), 0);
  EXPECT_EQ(for__release_lun(unit), 0);
}

Connected_Unit::~Connected_Unit() {
  For_Lub* lub = nullptr;
  const int code = for__acquire_lun(unit_, &lub, nullptr, STMT_INQUIRE);
  EXPECT_EQ(code, 0) << "the unit has not been released";
  if (code != 0) return;
  if (!lub->lub_f_connected) {
    for__release_lun(unit_);
    return;
  }
  EXPECT_EQ(for__rm_from_lf_table(lub), 0);
  free_connection_of(*lub);
  lub->lub_name_len = 0;
  lub->lub_a_buffer = nullptr;
  lub->lub_a_fmt_isb = lub->lub_a_ldir_isb = nullptr;
  lub->lub_a_file_name = for__default_name_str;
  if (lub->lub_fd > 2) close(lub->lub_fd);
  EXPECT_EQ(for__deallocate_lub(unit_), 0);
}

int memory_file() {
  const int fd = memfd_create("tamrun", 0);
  EXPECT_GE(fd, 0);
  return fd;
}

std::string contents(int fd) {
  std::string all;
  char piece[4096];
  for (off_t at = 0;;) {
    const ssize_t got = pread(fd, piece, sizeof piece, at);
    if (got <= 0) return all;
    all.append(piece, got);
    at += got;
  }
}

i64 read_calls() {
  std::ifstream io("/proc/self/io");
  std::string name;
  i64 count = 0;
  while (io >> name >> count) {
    if (name == "syscr:") return count;
  }
  return -1;
}
