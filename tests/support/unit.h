// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Connects a unit to a descriptor with chosen attributes, past OPEN.
#ifndef TAMRUN_TESTS_SUPPORT_UNIT_H
#define TAMRUN_TESTS_SUPPORT_UNIT_H

#include <string>

#include "tamrun/lub.h"

/// Attributes of a formatted sequential connection by default: STREAM_LF, LIST, unbuffered, RECL defaulted.
struct Connection {
  u8 rectype = RECTYPE_STREAM_LF;
  u8 cc = CC_LIST;
  i64 stream_kind = STREAM_FMT_SEQUENTIAL;
  i64 recl = 0;         ///< 0: not given
  i64 wrap_margin = 0;  ///< 0: as the connection rules give it
  i64 buffer_size = 8192;
  i64 blocksize = 131072;
  u8 delim = 0;
  bool f90_rtl = true;
  bool compat = false;
  bool formatted = true;
  bool stream = false;
  bool direct = false;
  bool buffered = false;
  bool user_buffered = false;
  bool msf_layout = false;
  bool compact = false;
  bool virtual_recl = false;
  bool big_endian = false;
  bool no_char_blank = false;
};

/// A LUB that stands in no table: for tests of record transport.
class Loose_Lub {
 public:
  Loose_Lub(int fd, const Connection& c);
  ~Loose_Lub();
  Loose_Lub(const Loose_Lub&) = delete;
  Loose_Lub& operator=(const Loose_Lub&) = delete;
  For_Lub& lub() { return *lub_; }
  For_Lub* operator->() { return lub_; }
  For_File_Info& file() { return file_; }

 private:
  For_Lub* lub_;
  For_File_Info file_{};
};

/// A unit of the table, connected to a descriptor, which it takes over. The destructor takes it away again.
class Connected_Unit {
 public:
  /// `name` empty: a name of its own, so that the unit shares its file with no other.
  Connected_Unit(int unit, int fd, const Connection& c, const std::string& name = "");
  ~Connected_Unit();
  Connected_Unit(const Connected_Unit&) = delete;
  Connected_Unit& operator=(const Connected_Unit&) = delete;
  For_Lub& lub() { return *lub_; }
  int number() const { return unit_; }

 private:
  int unit_;
  For_Lub* lub_;
};

/// An anonymous file in memory.
int memory_file();
/// Everything in a file.
std::string contents(int fd);
/// Calls of read(2) that the process has made, with a few of its own; -1 where the system does not count.
i64 read_calls();

#endif
