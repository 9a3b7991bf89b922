// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The keywords of OPEN: what they make of a connection, what they refuse and in which order.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

#include "support/child.h"
#include "support/fail_malloc.h"
#include "support/open_list.h"
#include "tamrun/messages.h"
#include "units/unit_table.h"

namespace {

using namespace tamrun_test;

constexpr int kUnit = 20;
constexpr For_IO_Flags kCompat = kIostat | iof_compat_io;

/// What OPEN refuses, with the message for a program with specific messages and for one without.
constexpr struct {
  const char* specifiers;
  int specific, general;
} kRefusals[] = {
    {"ACTION=4", 749, 48},
    {"MODE=4", 571, 48},
    {"READONLY ACTION=READWRITE", 46, 46},
    {"READONLY MODE=WRITE", 46, 46},
    {"ACTION=READ MODE=WRITE", 46, 46},
    {"ACCESS=6", 572, 48},
    {"READONLY ACCESS=APPEND", 46, 46},
    {"STATUS=6", 570, 48},
    {"DISPOSE=7", 48, 48},
    {"STATUS=SCRATCH DISPOSE=KEEP", 46, 46},
    {"STATUS=SCRATCH DISPOSE=PRINT", 46, 46},
    {"STATUS=SCRATCH DISPOSE=SUBMIT/DELETE", 46, 46},
    {"READONLY DISPOSE=DELETE", 46, 46},
    {"READONLY DISPOSE=PRINT/DELETE", 46, 46},
    {"FORM=5", 574, 48},
    {"FORM=UNFORMATTED PAD=YES", 752, 46},
    {"FORM=UNFORMATTED DELIM=NONE", 752, 46},
    {"RECORDTYPE=9", 48, 48},
    {"ACCESS=STREAM RECORDTYPE=FIXED", 46, 46},
    {"RECORDTYPE=SEGMENTED", 46, 46},
    {"RECORDTYPE=4", 46, 46},
    {"CARRIAGECONTROL=4", 754, 48},
    {"ACCESS=STREAM CARRIAGECONTROL=LIST", 46, 46},
    {"ACCESS=STREAM CARRIAGECONTROL=FORTRAN", 46, 46},
    {"ORGANIZATION=4", 48, 48},
    {"ACCESS=DIRECT RECL=8 RECORDTYPE=STREAM", 46, 46},
    {"ACCESS=KEYED ORGANIZATION=SEQUENTIAL", 46, 46},
    {"ACCESS=KEYED ORGANIZATION=RELATIVE", 46, 46},
    {"ACCESS=DIRECT RECL=8 ORGANIZATION=INDEXED", 46, 46},
    {"ACCESS=STREAM ORGANIZATION=INDEXED", 46, 46},
    {"ORGANIZATION=RELATIVE RECORDTYPE=STREAM_LF RECL=9", 46, 46},
    {"RECORDTYPE=VARIABLE CARRIAGECONTROL=LIST", 46, 46},
    {"BLANK=3", 573, 48},
    {"RECORDTYPE=FIXED", 577, 37},
    {"ACCESS=DIRECT", 577, 37},
    {"ACCESS=STREAM RECL=100", 112, 112},
    {"RECL=-1", 581, 769},
    {"FORM=UNFORMATTED RECORDTYPE=SEGMENTED RECL=1", 531, 531},
    {"DELIM=4", 751, 48},
    {"PAD=3", 753, 48},
    {"POSITION=4", 748, 48},
    {"ACCESS=DIRECT RECL=8 POSITION=ASIS", 46, 46},
    {"SHARE=COMPAT", 48, 48},
    {"SHARE=DENYRD", 48, 48},
    {"SHARE=DENYWR", 48, 48},
    {"SHARE=DENYNONE NOSHARED", 270, 270},
    {"SHARE=DENYRW SHARED", 270, 270},
    {"FORM=UNFORMATTED ROUND=UP", 752, 46},
    {"FORM=UNFORMATTED DECIMAL=COMMA", 752, 46},
    {"FORM=UNFORMATTED SIGN=PLUS", 752, 46},
    {"FORM=BINARY ENCODING=DEFAULT", 752, 46},
    // The first failure is the one reported.
    {"SHARE=9 BLANK=9 ORGANIZATION=9 FORM=9 STATUS=9", 570, 48},
    {"BLANK=9 RECL=-1", 573, 48},
    {"POSITION=9 PAD=9", 753, 48},
};

TEST(OpenKeywords, RefusalsComeBeforeTheFileIsTouched) {
  const Temp_Dir dir;
  setenv("TMPDIR", dir.path().c_str(), 1);  // a scratch file that a failure leaves behind is not removed
  fail_once();
  const long blocks = vm_live_blocks();
  const int descriptors = open_descriptors();
  const std::string file = dir.file("none");
  for (const auto& row : kRefusals) {
    SCOPED_TRACE(row.specifiers);
    // STREAM takes the compatible defaults back, but not the messages.
    EXPECT_EQ(row.specific, open_unit(kUnit, on_file(file) + row.specifiers, kCompat));
    EXPECT_EQ(row.general, open_unit(kUnit, on_file(file) + row.specifiers));
    EXPECT_NE(0, access(file.c_str(), F_OK)) << "nothing was made";
    EXPECT_FALSE(block_of(kUnit).lub_f_connected);
    EXPECT_EQ(0, close_unit(kUnit));
  }
  EXPECT_EQ(blocks, vm_live_blocks());
  EXPECT_EQ(descriptors, open_descriptors());
  unsetenv("TMPDIR");
}

TEST(OpenKeywords, BlankOnUnformattedFilesIsAnOption) {
  const Temp_Dir dir;
  const For_IO_Flags check = kIostat | iof_advance_given;
  const std::pair<For_IO_Flags, int> kRows[] = {
      {check, 46}, {check | iof_compat_io, 752}, {check | iof_blank_unformatted_ok, 0}, {kIostat, 0}};
  for (const auto& [flags, code] : kRows) {
    EXPECT_EQ(code, open_unit(kUnit, on_file(dir.file("f")) + "FORM=UNFORMATTED BLANK=NULL", flags));
    EXPECT_EQ(0, close_unit(kUnit));
  }
}

/// What a connection comes to.
constexpr struct {
  const char* specifiers;
  For_IO_Flags options;
  int rectype, cc;
  i64 kind, recl, rec_bytes, buffer_size;
} kOutcomes[] = {
    {"", 0, RECTYPE_STREAM_LF, CC_LIST, 3, 132, 134, 8192},
    {"", iof_compat_io, RECTYPE_STREAM_LF, CC_LIST, 3, 1024, 1025, 8192},
    {"CARRIAGECONTROL=FORTRAN", 0, RECTYPE_STREAM_LF, CC_FORTRAN, 3, 132, 139, 8192},
    {"CARRIAGECONTROL=NONE", 0, RECTYPE_STREAM, CC_NONE, 3, 132, 133, 8192},
    {"RECL=100", 0, RECTYPE_STREAM_LF, CC_LIST, 3, 100, 101, 8192},
    {"RECL=1073741824", 0, RECTYPE_STREAM_LF, CC_LIST, 3, 1 << 30, 20481, 20481},
    {"RECORDTYPE=STREAM_CRLF RECL=100", 0, RECTYPE_STREAM_CRLF, CC_NONE, 3, 100, 102, 8192},
    {"RECORDTYPE=STREAM_CR RECL=100", 0, RECTYPE_STREAM_CR, CC_NONE, 3, 100, 101, 8192},
    {"RECORDTYPE=FIXED RECL=100", 0, RECTYPE_FIXED, CC_NONE, 3, 100, 100, 8192},
    {"RECORDTYPE=VARIABLE RECL=100", 0, RECTYPE_VARIABLE, CC_NONE, 3, 100, 108, 8192},
    {"FORM=UNFORMATTED", 0, RECTYPE_VARIABLE, CC_NONE, 11, 510, 2048, 8192},
    {"FORM=UNFORMATTED RECL=100", 0, RECTYPE_VARIABLE, CC_NONE, 11, 100, 408, 8192},
    {"FORM=UNFORMATTED RECL_BYTES=100", 0, RECTYPE_VARIABLE, CC_NONE, 11, 100, 108, 8192},
    {"FORM=UNFORMATTED RECORDTYPE=SEGMENTED RECL=2", 0, RECTYPE_SEGMENTED, CC_NONE, 11, 1, 8, 8192},
    {"FORM=UNFORMATTED", iof_msf_layout, RECTYPE_STREAM, CC_NONE, 7, 510, 2048, 8192},
    {"FORM=BINARY", 0, RECTYPE_STREAM, CC_NONE, 5, 65536, 1024, 8192},
    {"FORM=BINARY RECL=10", 0, RECTYPE_STREAM, CC_NONE, 5, 65536, 1024, 8192},
    {"ACCESS=STREAM", iof_msf_layout, RECTYPE_STREAM, CC_NONE, 11, 65536, 1024, 8192},
    {"ACCESS=STREAM FORM=FORMATTED", 0, RECTYPE_STREAM_LF, CC_LIST, 3, 1024, 1026, 8192},
    {"ACCESS=DIRECT RECL=10", 0, RECTYPE_FIXED, CC_NONE, 6, 10, 40, 40},
    {"ACCESS=DIRECT FORM=FORMATTED RECL=10", 0, RECTYPE_FIXED, CC_NONE, 2, 10, 10, 10},
    {"ACCESS=DIRECT FORM=FORMATTED RECL=10", iof_compat_io, RECTYPE_FIXED, CC_LIST, 2, 10, 12, 12},
    {"ACCESS=DIRECT FORM=FORMATTED RECL=10 ORGANIZATION=RELATIVE", iof_legacy_defaults, RECTYPE_FIXED, CC_NONE, 2, 10,
     11, 11},
    {"ACCESS=DIRECT FORM=BINARY RECL=10", 0, RECTYPE_FIXED, CC_NONE, 4, 10, 10, 10},
    {"ACCESS=DIRECT RECL=10 BUFFERED=YES", 0, RECTYPE_FIXED, CC_NONE, 6, 10, 40, 8160},
    {"ACCESS=DIRECT RECL=3000 BUFFERED=YES BUFFERCOUNT=2", 0, RECTYPE_FIXED, CC_NONE, 6, 3000, 12000, 24000},
    {"ACCESS=DIRECT RECL=10 BUFFERED=YES", iof_compat_io, RECTYPE_FIXED, CC_NONE, 6, 10, 40, 40},
    {"BUFFERCOUNT=3 BLOCKSIZE=700", 0, RECTYPE_STREAM_LF, CC_LIST, 3, 132, 134, 3072},
    {"ACCESS=KEYED RECL=10", 0, RECTYPE_FIXED, CC_NONE, 9, 10, 40, 8192},
};

TEST(OpenKeywords, AttributesOfTheConnection) {
  const Temp_Dir dir;
  for (const auto& want : kOutcomes) {
    SCOPED_TRACE(want.specifiers);
    ASSERT_EQ(0, open_unit(kUnit, on_file(dir.file("f")) + want.specifiers, kIostat | want.options));
    const For_Lub& lub = block_of(kUnit);
    EXPECT_TRUE(lub.lub_f_connected);
    EXPECT_EQ(want.rectype, lub.lub_rectype);
    EXPECT_EQ(want.cc, lub.lub_cc);
    EXPECT_EQ(want.kind, lub.lub_stream_kind);
    EXPECT_EQ(want.recl, lub.lub_recl);
    EXPECT_EQ(want.rec_bytes, lub.lub_rec_bytes);
    EXPECT_EQ(want.buffer_size, lub.lub_buffer_size);
    EXPECT_EQ(0, memcmp(lub.lub_a_buffer + lub.lub_buffer_size, kBufferGuard, sizeof kBufferGuard));
    EXPECT_EQ(lub.lub_a_buffer + lub.lub_rec_bytes, lub.lub_a_rec_end);
    EXPECT_EQ(lub.lub_f_formatted, lub.lub_a_fmt_isb != nullptr);
    EXPECT_EQ(1, lub.lub_next_rec);
    EXPECT_EQ(want.kind == STREAM_MS_UNF_SEQUENTIAL, lub.lub_f_check_file_mark);
    EXPECT_EQ(0, close_unit(kUnit));
  }
}

TEST(OpenKeywords, TextKeywordsReachTheUnit) {
  const Temp_Dir dir;
  int associated = 0;
  KeyList keys = specifiers(
      "STATUS=replace ACTION=ReadWrite BLANK=zero DELIM=QUOTE PAD=No ROUND=up DECIMAL=comma SIGN=plus ENCODING=utf-8 "
      "DISPOSE=print MAXREC=77");
  keys.file("  " + dir.file("f") + "  ").variable(KEY_ASSOCIATEVARIABLE, ITM_INTEGER4, &associated);
  for (u8 key : {KEY_UNREAD54, KEY_UNREAD55, KEY_UNREAD56, KEY_UNREAD66}) keys.number(key, 5);
  keys.variable(KEY_UNREAD69, ITM_INTEGER1, "text");
  EXPECT_EQ(0, open_unit(kUnit, keys.end()));
  For_Lub& lub = block_of(kUnit);
  EXPECT_EQ(dir.file("f"), lub.lub_a_file_name);
  EXPECT_EQ('"', lub.lub_delim);
  EXPECT_FALSE(lub.lub_f_pad || lub.lub_f_blank_null || lub.lub_f_readonly || lub.lub_f_writeonly);
  EXPECT_EQ(ROUND_UP, lub.lub_round);
  EXPECT_EQ(DECIMAL_COMMA, lub.lub_decimal);
  EXPECT_EQ(SIGN_PLUS, lub.lub_sign);
  EXPECT_EQ(2, lub.lub_encoding);
  EXPECT_EQ(77, lub.lub_maxrec);
  EXPECT_EQ(&associated, lub.lub_a_assoc_var);
  EXPECT_EQ(ITM_INTEGER4, lub.lub_assoc_var_type);
  EXPECT_TRUE(lub.lub_f_dispose_print);
  lub.lub_f_dispose_print = 0;
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(OpenKeywords, ABadListIsToldThroughIomsgWhereverItStands) {
  const Temp_Dir dir;
  const std::string wanted = "keyword value error in OPEN statement, unit 20, file";
  for (const bool behind : {false, true}) {
    char message[80];
    memset(message, 'x', sizeof message);
    KeyList keys;
    if (!behind) keys.iomsg(message, sizeof message);
    keys.status("OLDE");
    if (behind) keys.file(dir.file("f")).iomsg(message, sizeof message);
    EXPECT_EQ(45, open_unit(kUnit, keys.end()));
    EXPECT_EQ(wanted, std::string(message, wanted.size()));
    EXPECT_EQ(' ', message[sizeof message - 1]);
  }
  for (const int key : {3, 7, 17, 79, 87, 88, 200}) {
    EXPECT_EQ(48, open_unit(kUnit, KeyList().number(static_cast<u8>(key), 1).end())) << key;
  }
  EXPECT_EQ(48, open_unit(kUnit, KeyList().text(KEY_RECL, "10").end())) << "a number is wanted";
  EXPECT_EQ(0, close_unit(kUnit));
}

TEST(OpenKeywords, NumbersComeInEveryWidth) {
  const Temp_Dir dir;
  for (const i64 value : {100, -100}) {
    for (const u8 type : {ITM_INTEGER1, ITM_INTEGER2, ITM_INTEGER4, ITM_INTEGER8}) {
      EXPECT_EQ(value < 0 ? 769 : 0,
                open_unit(kUnit, specifiers(on_file(dir.file("f"))).variable(KEY_RECL, type, &value).end()));
      if (value > 0) {
        EXPECT_EQ(value, block_of(kUnit).lub_recl);
      }
      EXPECT_EQ(0, close_unit(kUnit));
    }
  }
}

TEST(OpenNewunit, NumbersComeAndGo) {
  const Temp_Dir dir;
  fail_once();
  const long blocks = vm_live_blocks();
  const struct {
    u8 type;
    i64 first;
  } kRows[] = {{ITM_INTEGER1, -7}, {ITM_INTEGER2, -129}, {ITM_INTEGER4, -129}, {ITM_INTEGER8, -129}};
  for (const auto& row : kRows) {
    for (int again = 0; again < 2; ++again) {
      i64 unit = 0x5555555555555555;
      KeyList keys;
      keys.variable(KEY_NEWUNIT, row.type, &unit).status("SCRATCH");
      ASSERT_EQ(0, open_unit(0, keys.end()));
      const int width = for__dsc_itm_table[row.type].size;
      i64 seen = 0;
      memcpy(&seen, &unit, static_cast<size_t>(width));
      seen = seen << (64 - 8 * width) >> (64 - 8 * width);
      EXPECT_EQ(row.first, seen);
      EXPECT_EQ(width < 8 ? 0x55 : 0xff, unit >> 56 & 0xff) << "no byte more than its own";
      EXPECT_EQ(0, close_unit(static_cast<int>(seen)));
    }
  }
  i32 unit = 4711;
  const auto failing = [&](KeyList keys) {
    const int code = open_unit(0, keys.variable(KEY_NEWUNIT, ITM_INTEGER4, &unit).end());
    EXPECT_EQ(4711, unit) << "a failing OPEN leaves the variable alone";
    return code;
  };
  EXPECT_EQ(117, failing(KeyList()));
  EXPECT_EQ(29, failing(std::move(KeyList().file(dir.file("none")).status("OLD"))));
  EXPECT_EQ(0, open_unit(0, KeyList().variable(KEY_NEWUNIT, ITM_INTEGER4, &unit).status("SCRATCH").end()));
  EXPECT_EQ(-129, unit) << "every number was given back";
  EXPECT_EQ(0, close_unit(unit));
  EXPECT_LE(vm_live_blocks(), blocks + 1) << "the map of numbers stays";
}

TEST(OpenStatement, RefusesByTheStateOfTheUnit) {
  const Temp_Dir dir;
  const std::string keys = on_file(dir.file("f"));
  ASSERT_EQ(0, open_unit(kUnit, keys));
  For_Lub& lub = block_of(kUnit);
  For_Lub* held = nullptr;
  ASSERT_EQ(0, for__acquire_lun(kUnit, &held, nullptr, STMT_WRITE_SEQ));
  char parents[4], childs[60];
  lub.lub_a_iomsg = parents;
  lub.lub_iomsg_len = sizeof parents;
  EXPECT_EQ(MSG_RECURSIVE_IO, open_unit(kUnit, KeyList().iomsg(childs, sizeof childs).end()));
  EXPECT_EQ(0, memcmp("recursive I/O operation, unit 20", childs, 32)) << "no unit carries it, IOMSG= gets it";
  lub.lub_udio_depth = 1;
  EXPECT_EQ(MSG_UDIO_OPEN, open_unit(kUnit, KeyList().iomsg(childs, sizeof childs).end()));
  EXPECT_EQ(MSG_UDIO_CLOSE, close_unit(kUnit));
  EXPECT_EQ(0, memcmp("OPEN operation is forbidden", childs, 27));
  EXPECT_EQ(parents, lub.lub_a_iomsg) << "the parent's statement goes on";
  EXPECT_TRUE(lub.lub_f_busy);
  lub.lub_udio_depth = 0;
  EXPECT_EQ(0, for__release_lun(kUnit));
  EXPECT_EQ(0, close_unit(kUnit));

  block_of(kUnit).lub_f_define_file = 1;
  EXPECT_EQ(MSG_DUPLICATE_FILE_SPEC, open_unit(kUnit, keys));
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(MSG_INVALID_UNIT, open_unit(-40000, keys));
  const auto child = run_child([&] { open_unit(-40000, keys, iof_f90_rtl); });
  EXPECT_EQ(MSG_INVALID_UNIT, child.status) << "without a specifier it ends the program";
  EXPECT_NE(std::string::npos, child.err.find("unit -40000, file unknown"));
}

TEST(OpenStatement, EveryAllocationThatFailsLeavesNothing) {
  const Temp_Dir dir;
  fail_once();
  i32 unit = 0;
  EXPECT_EQ(0, open_unit(0, KeyList().variable(KEY_NEWUNIT, ITM_INTEGER4, &unit).status("SCRATCH").end()));
  EXPECT_EQ(0, close_unit(unit));
  const long blocks = vm_live_blocks();
  const int descriptors = open_descriptors();
  for (const char* form : {"FORMATTED", "UNFORMATTED"}) {
    bool hit = true;
    for (long n = 1; hit; ++n) {
      KeyList keys;
      keys.variable(KEY_NEWUNIT, ITM_INTEGER4, &unit).file(dir.file("f")).status("UNKNOWN").form(form);
      int status;
      {
        const Fail_Vm fail(n);
        status = open_unit(0, keys.end());
        hit = fail.hit();
      }
      EXPECT_EQ(hit ? MSG_NO_MEMORY : 0, status) << form << n;
      if (status == 0) {
        EXPECT_EQ(0, close_unit(unit));
      }
      EXPECT_EQ(blocks, vm_live_blocks()) << form << n;
      EXPECT_EQ(descriptors, open_descriptors()) << form << n;
    }
  }
}

}  // namespace
