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

using tamrun_test::Fail_Vm;
using tamrun_test::read_file;
using tamrun_test::run_child;
using tamrun_test::Temp_Dir;
using tamrun_test::vm_live_blocks;
using tamrun_test::write_file;

constexpr int kUnit = 20;
constexpr For_IO_Flags kCompat = kIostat | iof_compat_io;

struct Numbered {
  u8 key;
  i64 value;
};

KeyList keys_of(const std::string& file, const std::vector<Numbered>& numbers) {
  KeyList keys;
  keys.file(file);
  bool status = false;
  for (const Numbered& n : numbers) {
    keys.number(n.key, n.value);
    status |= n.key == KEY_STATUS;
  }
  if (!status) keys.status("UNKNOWN");
  return keys.end();
}

/// Values by number, with the message for a program with specific messages and for one without.
struct Refusal {
  std::vector<Numbered> keys;
  int specific, general;
};

const Refusal kRefusals[] = {
    {{{KEY_ACTION, 4}}, 749, 48},
    {{{KEY_MODE, 4}}, 571, 48},
    {{{KEY_READONLY, 1}, {KEY_ACTION, MODE_READWRITE}}, 46, 46},
    {{{KEY_READONLY, 1}, {KEY_MODE, MODE_WRITE}}, 46, 46},
    {{{KEY_ACTION, MODE_READ}, {KEY_MODE, MODE_WRITE}}, 46, 46},
    {{{KEY_ACCESS, 6}}, 572, 48},
    {{{KEY_READONLY, 1}, {KEY_ACCESS, ACCESS_APPEND}}, 46, 46},
    {{{KEY_STATUS, 6}}, 570, 48},
    {{{KEY_DISPOSE, 7}}, 48, 48},
    {{{KEY_STATUS, STATUS_SCRATCH}, {KEY_DISPOSE, DISPOSE_KEEP}}, 46, 46},
    {{{KEY_STATUS, STATUS_SCRATCH}, {KEY_DISPOSE, DISPOSE_PRINT}}, 46, 46},
    {{{KEY_STATUS, STATUS_SCRATCH}, {KEY_DISPOSE, DISPOSE_SUBMIT_DELETE}}, 46, 46},
    {{{KEY_READONLY, 1}, {KEY_DISPOSE, DISPOSE_DELETE}}, 46, 46},
    {{{KEY_READONLY, 1}, {KEY_DISPOSE, DISPOSE_PRINT_DELETE}}, 46, 46},
    {{{KEY_FORM, 5}}, 574, 48},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_PAD, ANSWER_YES}}, 752, 46},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_DELIM, DELIM_NONE}}, 752, 46},
    {{{KEY_RECORDTYPE, 9}}, 48, 48},
    {{{KEY_ACCESS, ACCESS_STREAM}, {KEY_RECORDTYPE, RECTYPE_FIXED}}, 46, 46},
    {{{KEY_RECORDTYPE, RECTYPE_SEGMENTED}}, 46, 46},
    {{{KEY_RECORDTYPE, RECTYPE_VARIABLE}}, 46, 46},
    {{{KEY_CARRIAGECONTROL, 4}}, 754, 48},
    {{{KEY_ACCESS, ACCESS_STREAM}, {KEY_CARRIAGECONTROL, CC_LIST}}, 46, 46},
    {{{KEY_ACCESS, ACCESS_STREAM}, {KEY_CARRIAGECONTROL, CC_FORTRAN}}, 46, 46},
    {{{KEY_ORGANIZATION, 4}}, 48, 48},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 8}, {KEY_RECORDTYPE, RECTYPE_STREAM}}, 46, 46},
    {{{KEY_ACCESS, ACCESS_KEYED}, {KEY_ORGANIZATION, ORG_SEQUENTIAL}}, 46, 46},
    {{{KEY_ACCESS, ACCESS_KEYED}, {KEY_ORGANIZATION, ORG_RELATIVE}}, 46, 46},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 8}, {KEY_ORGANIZATION, ORG_INDEXED}}, 46, 46},
    {{{KEY_ACCESS, ACCESS_STREAM}, {KEY_ORGANIZATION, ORG_INDEXED}}, 46, 46},
    {{{KEY_ORGANIZATION, ORG_RELATIVE}, {KEY_RECORDTYPE, RECTYPE_STREAM_LF}, {KEY_RECL, 9}}, 46, 46},
    {{{KEY_RECORDTYPE, RECTYPE_VARIABLE_KEYWORD}, {KEY_CARRIAGECONTROL, CC_LIST}}, 46, 46},
    {{{KEY_BLANK, 3}}, 573, 48},
    {{{KEY_RECORDTYPE, RECTYPE_FIXED}}, 577, 37},
    {{{KEY_ACCESS, ACCESS_DIRECT}}, 577, 37},
    {{{KEY_ACCESS, ACCESS_STREAM}, {KEY_RECL, 100}}, 112, 112},
    {{{KEY_RECL, -1}}, 581, 769},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_RECORDTYPE, RECTYPE_SEGMENTED}, {KEY_RECL, 1}}, 531, 531},
    {{{KEY_DELIM, 4}}, 751, 48},
    {{{KEY_PAD, 3}}, 753, 48},
    {{{KEY_POSITION, 4}}, 748, 48},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 8}, {KEY_POSITION, POSITION_ASIS}}, 46, 46},
    {{{KEY_SHARE, SHARE_COMPAT}}, 48, 48},
    {{{KEY_SHARE, SHARE_DENYRD}}, 48, 48},
    {{{KEY_SHARE, SHARE_DENYWR}}, 48, 48},
    {{{KEY_SHARE, SHARE_DENYNONE}, {KEY_NOSHARED, 1}}, 270, 270},
    {{{KEY_SHARE, SHARE_DENYRW}, {KEY_SHARED, 1}}, 270, 270},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_ROUND, ROUND_UP}}, 752, 46},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_DECIMAL, DECIMAL_COMMA}}, 752, 46},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_SIGN, SIGN_PLUS}}, 752, 46},
    {{{KEY_FORM, FORM_BINARY}, {KEY_ENCODING, 1}}, 752, 46},
    // The first failure is the one reported.
    {{{KEY_SHARE, 9}, {KEY_BLANK, 9}, {KEY_ORGANIZATION, 9}, {KEY_FORM, 9}, {KEY_STATUS, 9}}, 570, 48},
    {{{KEY_BLANK, 9}, {KEY_RECL, -1}}, 573, 48},
    {{{KEY_POSITION, 9}, {KEY_PAD, 9}}, 753, 48},
};

TEST(OpenKeywords, RefusalsComeBeforeTheFileIsTouched) {
  const Temp_Dir dir;
  setenv("TMPDIR", dir.path().c_str(), 1);  // a scratch file that a failure leaves behind is not removed
  fail_once();
  const long blocks = vm_live_blocks();
  const int descriptors = open_descriptors();
  int row = 0;
  for (const Refusal& refusal : kRefusals) {
    SCOPED_TRACE(row++);
    const std::string file = dir.file("none");
    // STREAM takes the compatible defaults back, but not the messages.
    EXPECT_EQ(refusal.specific, open_unit(kUnit, keys_of(file, refusal.keys), kCompat));
    EXPECT_EQ(refusal.general, open_unit(kUnit, keys_of(file, refusal.keys)));
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
  const std::vector<Numbered> keys = {{KEY_FORM, FORM_UNFORMATTED}, {KEY_BLANK, BLANK_NULL}};
  const For_IO_Flags check = kIostat | iof_advance_given;
  EXPECT_EQ(46, open_unit(kUnit, keys_of(dir.file("f"), keys), check));
  EXPECT_EQ(752, open_unit(kUnit, keys_of(dir.file("f"), keys), check | iof_compat_io));
  EXPECT_EQ(0, open_unit(kUnit, keys_of(dir.file("f"), keys), check | iof_blank_unformatted_ok));
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(0, open_unit(kUnit, keys_of(dir.file("f"), keys)));
  EXPECT_EQ(0, close_unit(kUnit));
}

/// What a connection comes to.
struct Outcome {
  std::vector<Numbered> keys;
  For_IO_Flags options;
  int rectype, cc;
  i64 kind, recl, rec_bytes, buffer_size;
};

const Outcome kOutcomes[] = {
    {{}, 0, RECTYPE_STREAM_LF, CC_LIST, 3, 132, 134, 8192},
    {{}, iof_compat_io, RECTYPE_STREAM_LF, CC_LIST, 3, 1024, 1025, 8192},
    {{{KEY_CARRIAGECONTROL, CC_FORTRAN}}, 0, RECTYPE_STREAM_LF, CC_FORTRAN, 3, 132, 139, 8192},
    {{{KEY_CARRIAGECONTROL, CC_NONE}}, 0, RECTYPE_STREAM, CC_NONE, 3, 132, 133, 8192},
    {{{KEY_RECL, 100}}, 0, RECTYPE_STREAM_LF, CC_LIST, 3, 100, 101, 8192},
    {{{KEY_RECORDTYPE, RECTYPE_STREAM_CRLF}, {KEY_RECL, 100}}, 0, RECTYPE_STREAM_CRLF, CC_NONE, 3, 100, 102, 8192},
    {{{KEY_RECORDTYPE, RECTYPE_STREAM_CR}, {KEY_RECL, 100}}, 0, RECTYPE_STREAM_CR, CC_NONE, 3, 100, 101, 8192},
    {{{KEY_RECORDTYPE, RECTYPE_FIXED}, {KEY_RECL, 100}}, 0, RECTYPE_FIXED, CC_NONE, 3, 100, 100, 8192},
    {{{KEY_RECORDTYPE, RECTYPE_VARIABLE_KEYWORD}, {KEY_RECL, 100}}, 0, RECTYPE_VARIABLE, CC_NONE, 3, 100, 108, 8192},
    {{{KEY_FORM, FORM_UNFORMATTED}}, 0, RECTYPE_VARIABLE, CC_NONE, 11, 510, 2048, 8192},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_RECL, 100}}, 0, RECTYPE_VARIABLE, CC_NONE, 11, 100, 408, 8192},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_RECL_BYTES, 100}}, 0, RECTYPE_VARIABLE, CC_NONE, 11, 100, 108, 8192},
    {{{KEY_FORM, FORM_UNFORMATTED}, {KEY_RECORDTYPE, RECTYPE_SEGMENTED}, {KEY_RECL, 2}},
     0,
     RECTYPE_SEGMENTED,
     CC_NONE,
     11,
     1,
     8,
     8192},
    {{{KEY_FORM, FORM_UNFORMATTED}}, iof_msf_layout, RECTYPE_STREAM, CC_NONE, 7, 510, 2048, 8192},
    {{{KEY_FORM, FORM_BINARY}}, 0, RECTYPE_STREAM, CC_NONE, 5, 65536, 1024, 8192},
    {{{KEY_FORM, FORM_BINARY}, {KEY_RECL, 10}}, 0, RECTYPE_STREAM, CC_NONE, 5, 65536, 1024, 8192},
    {{{KEY_ACCESS, ACCESS_STREAM}}, 0, RECTYPE_STREAM, CC_NONE, 11, 65536, 1024, 8192},
    {{{KEY_ACCESS, ACCESS_STREAM}}, iof_msf_layout, RECTYPE_STREAM, CC_NONE, 11, 65536, 1024, 8192},
    {{{KEY_ACCESS, ACCESS_STREAM}, {KEY_FORM, FORM_FORMATTED}}, 0, RECTYPE_STREAM_LF, CC_LIST, 3, 1024, 1026, 8192},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 10}}, 0, RECTYPE_FIXED, CC_NONE, 6, 10, 40, 40},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_FORM, FORM_FORMATTED}, {KEY_RECL, 10}},
     0,
     RECTYPE_FIXED,
     CC_NONE,
     2,
     10,
     10,
     10},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_FORM, FORM_FORMATTED}, {KEY_RECL, 10}},
     iof_compat_io,
     RECTYPE_FIXED,
     CC_LIST,
     2,
     10,
     12,
     12},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_FORM, FORM_FORMATTED}, {KEY_RECL, 10}, {KEY_ORGANIZATION, ORG_RELATIVE}},
     iof_legacy_defaults,
     RECTYPE_FIXED,
     CC_NONE,
     2,
     10,
     11,
     11},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_FORM, FORM_BINARY}, {KEY_RECL, 10}}, 0, RECTYPE_FIXED, CC_NONE, 4, 10, 10, 10},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 10}, {KEY_BUFFERED, ANSWER_YES}},
     0,
     RECTYPE_FIXED,
     CC_NONE,
     6,
     10,
     40,
     8160},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 3000}, {KEY_BUFFERED, ANSWER_YES}, {KEY_BUFFERCOUNT, 2}},
     0,
     RECTYPE_FIXED,
     CC_NONE,
     6,
     3000,
     12000,
     24000},
    {{{KEY_ACCESS, ACCESS_DIRECT}, {KEY_RECL, 10}, {KEY_BUFFERED, ANSWER_YES}},
     iof_compat_io,
     RECTYPE_FIXED,
     CC_NONE,
     6,
     10,
     40,
     40},
    {{{KEY_BUFFERCOUNT, 3}, {KEY_BLOCKSIZE, 700}}, 0, RECTYPE_STREAM_LF, CC_LIST, 3, 132, 134, 3072},
    {{{KEY_ACCESS, ACCESS_KEYED}, {KEY_RECL, 10}}, 0, RECTYPE_FIXED, CC_NONE, 9, 10, 40, 8192},
    {{{KEY_RECL, 1 << 30}}, 0, RECTYPE_STREAM_LF, CC_LIST, 3, 1 << 30, 20481, 20481},
};

TEST(OpenKeywords, AttributesOfTheConnection) {
  const Temp_Dir dir;
  int row = 0;
  for (const Outcome& want : kOutcomes) {
    SCOPED_TRACE(row++);
    ASSERT_EQ(0, open_unit(kUnit, keys_of(dir.file("f"), want.keys), kIostat | want.options));
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
  KeyList keys;
  keys.file("  " + dir.file("f") + "  ").status("replace").text(KEY_ACTION, "ReadWrite ").text(KEY_BLANK, "zero");
  keys.text(KEY_DELIM, "QUOTE").text(KEY_PAD, "No").text(KEY_ROUND, "up").text(KEY_DECIMAL, "comma");
  keys.text(KEY_SIGN, "plus").text(KEY_ENCODING, "utf-8").text(KEY_DISPOSE, "print").number(KEY_MAXREC, 77);
  keys.variable(KEY_ASSOCIATEVARIABLE, ITM_INTEGER4, &associated);
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
  const i8 one = 100;
  const i16 two = 100;
  const i32 four = 100;
  const i64 eight = 100;
  const std::pair<u8, const void*> kValues[] = {
      {ITM_INTEGER1, &one}, {ITM_INTEGER2, &two}, {ITM_INTEGER4, &four}, {ITM_INTEGER8, &eight}};
  for (const auto& [type, value] : kValues) {
    KeyList keys;
    keys.file(dir.file("f")).status("unknown").variable(KEY_RECL, type, value);
    EXPECT_EQ(0, open_unit(kUnit, keys.end()));
    EXPECT_EQ(100, block_of(kUnit).lub_recl);
    EXPECT_EQ(0, close_unit(kUnit));
  }
  const i32 negative = -100;
  KeyList keys;
  keys.file(dir.file("f")).status("unknown").variable(KEY_RECL, ITM_INTEGER4, &negative);
  EXPECT_EQ(769, open_unit(kUnit, keys.end()));
  EXPECT_EQ(0, close_unit(kUnit));
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
  const auto keys = [&] { return KeyList().file(dir.file("f")).status("UNKNOWN").end(); };
  ASSERT_EQ(0, open_unit(kUnit, keys()));
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
  EXPECT_EQ(MSG_DUPLICATE_FILE_SPEC, open_unit(kUnit, keys()));
  EXPECT_EQ(0, close_unit(kUnit));
  EXPECT_EQ(MSG_INVALID_UNIT, open_unit(-40000, keys()));
  const auto child = run_child([&] { open_unit(-40000, keys(), iof_f90_rtl); });
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
