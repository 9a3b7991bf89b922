// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Files by the character and by the offset, beside READ and WRITE on the same units.

#include "port/for_portlib.h"

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <utility>

#include "core/start.h"
#include "core/thread_storage.h"
#include "support/child.h"
#include "support/item_list.h"
#include "support/open_list.h"
#include "support/terminal.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

using namespace tamrun_test;

constexpr For_IO_Flags kText = kIostat | iof_format_text;

For_Errsns last_failure() {
  For_Thread_Storage* storage = nullptr;
  EXPECT_EQ(thread_storage(&storage), 0);
  return storage->ts_errsns;
}

/// A file that unit 40 is connected to.
class Port_File {
 public:
  explicit Port_File(const std::string& content = "", For_IO_Flags flags = kIostat, KeyList keys = KeyList()) {
    write_file(name(), content);
    EXPECT_EQ(open_unit(40, keys.file(name()).status("OLD").end(), flags), 0);
  }
  ~Port_File() { EXPECT_EQ(close_unit(40), 0); }
  std::string name() const { return dir_.file("data"); }

 private:
  Temp_Dir dir_;
};

KeyList stream_keys(const char* form) {
  KeyList keys;
  keys.form(form).access("STREAM");
  return keys;
}

/// All that is left to read, by the character, with its result.
std::string read_all(i64 unit, i64* result) {
  std::string text;
  while ((*result = __msportlib_d_readchar(unit)) >= 0 && text.size() < 100000) text += static_cast<char>(*result);
  return text;
}

/// One record, or what the format takes of it with ADVANCE='NO'.
std::string read_record(const std::string& format, bool advance = true, int unit = 40) {
  char text[20];
  For_Context ctx{};
  ItemList items;
  if (!advance) items.text("NO");
  items.scalar(ITM_CHARACTER, text, sizeof text).end();
  const For_Fmt_Text compiled = {static_cast<i64>(format.size()), format.data()};
  const For_IO_Flags flags = advance ? kText : kText | iof_advance_given;
  if (const int result = for_read_seq_fmt(&ctx, unit, flags, items.list(), items.args(), &compiled))
    return "#" + std::to_string(result);
  const std::string read(text, sizeof text);
  return read.substr(0, read.find_last_not_of(' ') + 1);
}

int write_record(const std::string& text, int unit = 40) {
  For_Context ctx{};
  ItemList items;
  items.text(text).end();
  const For_Fmt_Text format = {3, "(a)"};
  return for_write_seq_fmt(&ctx, unit, kText | iof_f90_rtl, items.list(), items.args(), &format);
}

void write_all(i64 unit, const std::string& text) {
  for (char c : text) EXPECT_EQ(__msportlib_d_writechar(unit, c), 0);
}

TEST(Port, ReadsEveryByteAndJoinsLineEndsOfText) {
  const std::string all = [] {
    std::string s;
    for (int c = 0; c < 256; ++c) s += static_cast<char>(c);
    return s;
  }();
  std::string large;
  for (int i = 0; i < 40000; ++i) large += static_cast<char>(i * 7 % 251);
  i64 end = 0;
  {
    Port_File file("a\r\nb\rc\r");
    EXPECT_EQ(read_all(40, &end), "a\nb\rc\r");
    EXPECT_EQ(end, kPortAtEnd);
    EXPECT_EQ(__msportlib_d_readchar(40), kPortAtEnd);
    EXPECT_EQ(last_failure().user_code, u32{MSG_END_OF_FILE});
    EXPECT_EQ(last_failure().unit, 40u);
  }
  {
    Port_File file("a\r\nb" + all + large, kIostat, stream_keys("UNFORMATTED"));
    EXPECT_TRUE(read_all(40, &end) == "a\r\nb" + all + large);
    EXPECT_EQ(__msportlib_d_curpos(40), static_cast<i64>(4 + all.size() + large.size()));
  }
}

TEST(Port, PositionIsThatOfTheNextByteAmongReads) {
  Port_File file("one\ntwo\n\nfour\nfive\n");
  EXPECT_EQ(__msportlib_d_curpos_i8(40), 0);
  EXPECT_EQ(__msportlib_d_readchar(40), 'o');
  EXPECT_EQ(__msportlib_d_curpos(40), 1);
  EXPECT_EQ(read_record("(a)"), "ne");
  EXPECT_EQ(__msportlib_d_curpos(40), 4);
  EXPECT_EQ(read_record("(a2)", false), "tw");
  EXPECT_EQ(__msportlib_d_curpos(40), 4 + 2);
  EXPECT_EQ(__msportlib_d_readchar(40), 'o');
  EXPECT_EQ(__msportlib_d_curpos(40), 7);
  EXPECT_EQ(__msportlib_d_readchar(40), '\n');
  EXPECT_EQ(__msportlib_d_curpos(40), 8);
  EXPECT_EQ(read_record("(a)"), "");
  EXPECT_EQ(__msportlib_d_fseek(40, 1, SEEK_CUR), 0);
  EXPECT_EQ(read_record("(a)"), "our");
  EXPECT_EQ(__msportlib_d_fseek(40, -5, SEEK_END), 0);
  EXPECT_EQ(read_record("(a)"), "five");
  EXPECT_EQ(read_record("(a)"), "#-1");
  EXPECT_EQ(__msportlib_d_fseek_i8(40, 4, SEEK_SET), 0);
  EXPECT_EQ(read_record("(a)"), "two");
  EXPECT_EQ(__msportlib_d_fseek(40, 0, SEEK_CUR), 0);
  EXPECT_EQ(__msportlib_d_curpos(40), 8);
  EXPECT_EQ(__msportlib_d_fseek(40, -1, SEEK_SET), -1);
  EXPECT_EQ(last_failure().saved_errno, u32{EINVAL});
  EXPECT_EQ(__msportlib_d_fseek(40, 3ll << 30, SEEK_SET), 0);
  EXPECT_EQ(__msportlib_d_curpos(40), -1);
  EXPECT_EQ(__msportlib_d_curpos_i8(40), 3ll << 30);
  For_Lub& lub = block_of(40);
  EXPECT_TRUE(lub.lub_f_truncate_on_write && lub.lub_next_rec == FOR_K_REC_UNKNOWN);
  EXPECT_FALSE(lub.lub_f_err);
  for (i64 whence : {3, -1}) EXPECT_EQ(__msportlib_d_fseek(40, 0, whence), -1);
}

TEST(Port, StreamPositionsFollow) {
  Port_File file("0123456789", kIostat, stream_keys("FORMATTED"));
  EXPECT_EQ(__msportlib_d_fseek(40, 4, SEEK_SET), 0);
  For_Lub& lub = block_of(40);
  EXPECT_EQ(lub.lub_file_pos, 4);
  EXPECT_EQ(__msportlib_d_readchar(40), '4');
  EXPECT_EQ(lub.lub_file_pos, 5);
  EXPECT_EQ(read_record("(a2)"), "56");
}

TEST(Port, DirectFilesKnowTheRecord) {
  KeyList keys;
  keys.form("UNFORMATTED").access("DIRECT").number(KEY_RECL, 4);
  Port_File file("0123456789abcdef", kIostat, std::move(keys));
  const i64 bytes = block_of(40).lub_rec_bytes;
  EXPECT_EQ(__msportlib_d_fseek(40, bytes, SEEK_SET), 0);
  EXPECT_EQ(block_of(40).lub_next_rec, 1);
  EXPECT_EQ(__msportlib_d_fseek(40, 0, 0), 0);
  EXPECT_EQ(__msportlib_d_readchar(40), '0');
}

TEST(Port, CharactersGatherUntilTheStatementThatEndsTheRecord) {
  Temp_Dir dir;
  const std::string file = dir.file("out");
  ASSERT_EQ(open_unit(40, KeyList().file(file).status("NEW").end()), 0);
  write_all(40, "abc");
  EXPECT_EQ(read_file(file), "");
  EXPECT_EQ(write_record("def"), 0);
  EXPECT_EQ(write_record("next"), 0);
  EXPECT_EQ(flushqq_(&block_of(40).lub_unit), 1);
  EXPECT_EQ(read_file(file), "abcdef\nnext\n");
  const std::string longer(1000, 'x');
  write_all(40, longer);
  EXPECT_EQ(block_of(40).lub_rectype, RECTYPE_STREAM_LF);
  EXPECT_EQ(close_unit(40), 0);
  EXPECT_EQ(read_file(file), "abcdef\nnext\n" + longer + "\n");

  ASSERT_EQ(open_unit(40, stream_keys("UNFORMATTED").file(file).status("OLD").end()), 0);
  EXPECT_EQ(__msportlib_d_fseek(40, 1, SEEK_SET), 0);
  write_all(40, "BC");
  i32 unit = 40;
  EXPECT_EQ(commitqq_(&unit), 1);
  EXPECT_EQ(read_file(file).substr(0, 6), "aBCdef");
  EXPECT_EQ(close_unit(40), 0);
}

TEST(Port, HeldOutputGoesOutBeforeTheFileMovesOrIsRead) {
  Temp_Dir dir;
  const std::string file = dir.file("out");
  ASSERT_EQ(open_unit(40, KeyList().file(file).status("NEW").end(), kIostat | iof_buffered_io), 0);
  EXPECT_EQ(write_record("one"), 0);
  EXPECT_EQ(write_record("two"), 0);
  EXPECT_EQ(read_file(file), "");
  EXPECT_EQ(__msportlib_d_curpos(40), 8);
  EXPECT_EQ(__msportlib_d_fseek(40, 1, SEEK_SET), 0);
  EXPECT_EQ(__msportlib_d_readchar(40), 'n');
  EXPECT_EQ(close_unit(40), 0);
  EXPECT_EQ(read_file(file), "one\ntwo\n");
}

TEST(Port, HandlesAndNames) {
  Port_File file("x");
  char name[200];
  i64 length = sizeof name;
  EXPECT_EQ(__msportlib_d_gethandle(40, name, &length), block_of(40).lub_fd);
  EXPECT_EQ(std::string(name), file.name());
  EXPECT_EQ(length, static_cast<i64>(file.name().size()));
  name[0] = '#';
  EXPECT_EQ(__msportlib_d_gethandle(40, name, &length), block_of(40).lub_fd);  // as long as the name: too short
  EXPECT_EQ(name[0], '#');
  EXPECT_EQ(__msportlib_d_gethandle(40, nullptr, nullptr), block_of(40).lub_fd);
  EXPECT_EQ(__msportlib_set_posix_io_flag(), 1);
}

TEST(Port, RefusesWhatIsNoUnitOrNotConnected) {
  const i32 none = -400, idle = 77;
  for (i64 unit : {i64{-400}, i64{77}, (i64{1} << 32) + 40}) {
    EXPECT_EQ(__msportlib_d_readchar(unit), -1);
    EXPECT_EQ(__msportlib_d_writechar(unit, 'x'), -1);
    EXPECT_EQ(last_failure().unit, static_cast<u32>(unit));
    EXPECT_EQ(__msportlib_d_gethandle(unit, nullptr, nullptr), -1);
    EXPECT_EQ(__msportlib_d_curpos_i8(unit), -1);
    EXPECT_EQ(__msportlib_d_fseek(unit, 0, 0), -1);
  }
  for (const i32* unit : {&none, &idle}) EXPECT_EQ(flushqq_(unit) + commitqq_(unit), 0);
  EXPECT_EQ(__msportlib_d_readchar(-400), -1);
  EXPECT_EQ(last_failure().user_code, u32{MSG_INVALID_UNIT});
}

TAMRUN_CHILD_TEST(Port, FailuresAreResultsAndPrintNothing) {
  Temp_Dir dir;
  write_file(dir.file("in"), "text");
  ASSERT_EQ(open_unit(40, KeyList().file(dir.file("in")).status("OLD").end()), 0);
  ASSERT_EQ(dup2(open("/dev/null", O_WRONLY), block_of(40).lub_fd), block_of(40).lub_fd);
  EXPECT_EQ(__msportlib_d_readchar(40), -1);
  EXPECT_EQ(last_failure().saved_errno, u32{EBADF});
  ASSERT_EQ(dup2(open("/dev/full", O_WRONLY), block_of(40).lub_fd), block_of(40).lub_fd);
  ASSERT_EQ(open_unit(41, stream_keys("UNFORMATTED").file("/dev/full").status("OLD").end()), 0);
  EXPECT_EQ(__msportlib_d_writechar(41, 'x'), -1);
  EXPECT_EQ(last_failure().saved_errno, u32{ENOSPC});
  EXPECT_EQ(last_failure().user_code, u32{MSG_WRITE_ERROR});
  close(block_of(40).lub_fd);
  EXPECT_EQ(__msportlib_d_readchar(40), -1);
  EXPECT_EQ(__msportlib_d_curpos(40), -1);
  i32 unit = 40;
  EXPECT_EQ(commitqq_(&unit), 0);
  _exit(0);  // what is closed behind its back cannot be closed again
}

Child_Result started(const std::function<void()>& body) {
  return run_child(
      [&] {
        int argc = 0;
        for_rtl_init_(&argc, nullptr);
        body();
      },
      Capture::kPipe, 10);
}

TEST(Port, StandardInputOnAFileGoesOnWhereTheRecordIsLeft) {
  Temp_Dir dir;
  write_file(dir.file("in"), "one\ntwo\nthree\n");
  (void)started([&] {
    EXPECT_EQ(dup2(open(dir.file("in").c_str(), O_RDONLY), STDIN_FILENO), STDIN_FILENO);
    EXPECT_EQ(read_record("(a2)", false, 5), "on");
    EXPECT_EQ(__msportlib_d_curpos(5), 2);
    EXPECT_EQ(__msportlib_d_readchar(5), 'e');
    EXPECT_EQ(__msportlib_d_readchar(5), '\n');
    EXPECT_EQ(__msportlib_d_readchar(5), 't');
    EXPECT_EQ(read_record("(a)", true, 5), "wo");
    EXPECT_EQ(__msportlib_d_curpos(5), 8);
    EXPECT_EQ(__msportlib_d_readchar(5), 't');
  });
}

TEST(Port, ConsoleUnitsAreConnectedOnFirstUse) {
  Terminal terminal;
  const Child_Result child = started([&] {
    terminal.become(STDIN_FILENO);
    termios settings;
    EXPECT_EQ(tcgetattr(STDIN_FILENO, &settings), 0);
    settings.c_iflag &= ~ICRNL;  // a line ends in CR LF then
    EXPECT_EQ(tcsetattr(STDIN_FILENO, TCSANOW, &settings), 0);
    terminal.type("ab\r\ncd\n");
    std::string line;
    for (int i = 0; i < 3; ++i) line += static_cast<char>(__msportlib_d_readchar(5));
    EXPECT_EQ(line.substr(0, 2), "ab");
    EXPECT_EQ(line[2], '\n');
    EXPECT_EQ(__msportlib_d_readchar(5), 'c');
    EXPECT_EQ(__msportlib_d_gethandle(5, nullptr, nullptr), STDIN_FILENO);
    write_all(0, "e");
    write_all(6, "out");
    EXPECT_EQ(::write(STDOUT_FILENO, "|", 1), 1);
    write_all(6, "put\n");
    EXPECT_EQ(write_record("line", 6), 0);
    (void)for_rtl_finish_();
  });
  EXPECT_EQ(child.out, "out|put\nline\n");
  EXPECT_EQ(child.err, "e");
}

}  // namespace
