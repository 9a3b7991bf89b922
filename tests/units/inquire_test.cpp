// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// INQUIRE by unit, file and directory: every specifier on connections of every kind.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "core/start.h"
#include "support/child.h"
#include "support/open_list.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"
#include "units/unit_table.h"

namespace {

using namespace tamrun_test;

constexpr For_IO_Flags kModern = kIostat, kOld = iof_extended | iof_iostat;

/// What the question is about.
struct About {
  int unit = -4000;
  std::string file{}, directory{};
};

int inquire(const About& about, ItemList& items, For_IO_Flags flags) {
  if (!about.file.empty()) items.text(about.file).pair(KEY_FILE, 0);
  if (!about.directory.empty()) items.text(about.directory).pair(KEY_DIRECTORY, 0);
  items.end();
  For_Context ctx{};
  const int result = for_inquire(&ctx, about.unit, flags, items.list(), items.args());
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  return result;
}

std::string text(const About& about, u8 key, For_IO_Flags flags = kModern) {
  std::string answer(60, '#');
  ItemList items;
  items.scalar(ITM_CHARACTER, answer.data(), static_cast<i64>(answer.size())).pair(key, 0);
  const int result = inquire(about, items, flags);
  if (result != 0) return "message " + std::to_string(result);
  return answer.substr(0, answer.find_last_not_of(' ') + 1);
}

i64 number(const About& about, u8 key, For_IO_Flags flags = kModern, u8 type = ITM_INTEGER8) {
  i64 answer = 0;
  ItemList items;
  items.pointer(type, &answer).pair(key, 0);
  EXPECT_EQ(inquire(about, items, flags), 0) << int{key};
  return answer;
}
i64 truth(const About& about, u8 key, For_IO_Flags flags = kModern) { return number(about, key, flags, ITM_LOGICAL8); }

/// How unit 40 is opened for a column of kWords. Without specifiers no unit is asked about, in the second column by a
/// program of the old kind, and then 40 before it is connected.
constexpr const char* kConnections[] = {
    nullptr,
    nullptr,
    "STATUS=UNKNOWN",
    "STATUS=OLD ACTION=READ BLANK=ZERO DECIMAL=COMMA DELIM=QUOTE ENCODING=UTF-8 PAD=NO POSITION=REWIND ROUND=ZERO "
    "SIGN=SUPPRESS RECORDTYPE=STREAM_CRLF BUFFERED=YES CARRIAGECONTROL=FORTRAN",
    "STATUS=OLD ACCESS=DIRECT FORM=UNFORMATTED RECL=4 CONVERT=BIG_ENDIAN SHARE=DENYNONE",
    "STATUS=OLD ACCESS=STREAM ACTION=WRITE",
};
constexpr struct {
  u8 key;
  const char* answers;  ///< by kConnections
} kWords[] = {
    {KEY_ACCESS, "UNDEFINED UNKNOWN SEQUENTIAL SEQUENTIAL DIRECT STREAM"},
    {KEY_ACTION, "UNDEFINED UNDEFINED READWRITE READ READWRITE WRITE"},
    {KEY_ASYNCHRONOUS, "UNDEFINED UNDEFINED NO NO NO NO"},
    {KEY_BINARY, "UNKNOWN UNKNOWN NO NO NO NO"},
    {KEY_BLANK, "UNDEFINED UNKNOWN NULL ZERO UNDEFINED UNDEFINED"},
    {KEY_BUFFERED, "UNKNOWN UNKNOWN NO YES NO NO"},
    {KEY_CARRIAGECONTROL, "UNKNOWN UNKNOWN LIST FORTRAN NONE NONE"},
    {KEY_CONVERT, "UNKNOWN UNKNOWN NATIVE NATIVE BIG_ENDIAN NATIVE"},
    {KEY_DECIMAL, "UNDEFINED UNDEFINED POINT COMMA UNDEFINED UNDEFINED"},
    {KEY_DELIM, "UNDEFINED UNDEFINED NONE QUOTE UNDEFINED UNDEFINED"},
    {KEY_DIRECT, "UNKNOWN UNKNOWN NO NO YES NO"},
    {KEY_ENCODING, "UNKNOWN UNKNOWN UNKNOWN UTF-8 UNDEFINED UNDEFINED"},
    {KEY_FORM, "UNDEFINED UNKNOWN FORMATTED FORMATTED UNFORMATTED UNFORMATTED"},
    {KEY_FORMATTED, "UNKNOWN UNKNOWN YES YES NO NO"},
    {KEY_KEYED, "UNKNOWN UNKNOWN NO NO NO NO"},
    {KEY_MODE, "UNKNOWN UNKNOWN READWRITE READ READWRITE WRITE"},
    {KEY_ORGANIZATION, "UNKNOWN UNKNOWN SEQUENTIAL SEQUENTIAL SEQUENTIAL SEQUENTIAL"},
    {KEY_PAD, "YES YES YES NO YES YES"},
    {KEY_POSITION, "UNDEFINED UNDEFINED ASIS REWIND UNDEFINED ASIS"},
    {KEY_READ, "UNKNOWN UNKNOWN YES YES YES NO"},
    {KEY_READWRITE, "UNKNOWN UNKNOWN YES NO YES NO"},
    {KEY_WRITE, "UNKNOWN UNKNOWN YES NO YES YES"},
    {KEY_ROUND, "UNDEFINED UNDEFINED NEAREST ZERO UNDEFINED UNDEFINED"},
    {KEY_RECORDTYPE, "UNKNOWN UNKNOWN STREAM_LF STREAM_CRLF FIXED STREAM"},
    {KEY_SEQUENTIAL, "UNKNOWN UNKNOWN YES YES NO YES"},
    {KEY_SHARE, "UNKNOWN UNKNOWN NODENY NODENY DENYNONE NODENY"},
    {KEY_SIGN, "UNDEFINED UNDEFINED PROCESSOR_DEFINED SUPPRESS UNDEFINED UNDEFINED"},
    {KEY_STREAM, "UNKNOWN UNKNOWN NO NO NO YES"},
    {KEY_UNFORMATTED, "UNKNOWN UNKNOWN NO NO YES YES"},
};

TAMRUN_CHILD_TEST(Inquire, WordsOfEveryKindOfConnection) {
  Temp_Dir dir;
  for (size_t i = 0; i < std::size(kConnections); ++i) {
    const For_IO_Flags flags = i == 1 ? kOld : kModern;
    if (kConnections[i] != nullptr) {
      ASSERT_EQ(open_unit(40, "FILE=" + dir.file("f") + ' ' + kConnections[i]), 0);
    }
    for (const auto& row : kWords) {
      std::istringstream words(row.answers);
      std::string expected;
      for (size_t word = 0; word <= i; ++word) words >> expected;
      SCOPED_TRACE("connection " + std::to_string(i) + ", key " + std::to_string(row.key));
      EXPECT_EQ(text({kConnections[i] != nullptr ? 40 : -400}, row.key, flags), expected);
      if (i == 0) {
        EXPECT_EQ(text({40}, row.key), expected) << "not connected yet";
      }
    }
    if (kConnections[i] != nullptr) {
      EXPECT_EQ(close_unit(40), 0);
    }
  }
  ASSERT_EQ(open_unit(40, on_file(dir.file("f"))), 0);
  For_Context ctx{};
  EXPECT_EQ(for_rewind(&ctx, 40, kModern), 0);
  for (int i = 0; i < 2; ++i) EXPECT_EQ(text({40}, KEY_POSITION), "REWIND") << "INQUIRE is no positioning statement";
  EXPECT_EQ(close_unit(40), 0);
}

TAMRUN_CHILD_TEST(Inquire, WordsOfFields) {
  Temp_Dir dir;
  ASSERT_EQ(open_unit(40, on_file(dir.file("f"))), 0);
  For_Lub& lub = block_of(40);
  const struct {
    u8 key;
    u8 For_Lub::*field;
    const char* words;  ///< by value
  } kRows[] = {
      {KEY_CONVERT, &For_Lub::lub_convert, "LITTLE_ENDIAN VAXG VAXD IBM CRAY FDX FGX"},
      {KEY_CARRIAGECONTROL, &For_Lub::lub_cc, "UNKNOWN FORTRAN LIST NONE"},
      {KEY_DECIMAL, &For_Lub::lub_decimal, "POINT POINT COMMA"},
      {KEY_ORGANIZATION, &For_Lub::lub_org, "UNKNOWN SEQUENTIAL RELATIVE INDEXED"},
      {KEY_RECORDTYPE, &For_Lub::lub_rectype,
       "UNKNOWN FIXED VARIABLE SEGMENTED VARIABLE STREAM STREAM_LF STREAM_CR STREAM_CRLF"},
      {KEY_ROUND, &For_Lub::lub_round, "NEAREST UP DOWN ZERO NEAREST COMPATIBLE PROCESSOR_DEFINED"},
      {KEY_SIGN, &For_Lub::lub_sign, "PROCESSOR_DEFINED PROCESSOR_DEFINED PLUS SUPPRESS"},
  };
  lub.lub_f_convert = 1;
  for (const auto& row : kRows) {
    const u8 kept = lub.*row.field;
    std::istringstream words(row.words);
    std::string word;
    for (u8 value = 0; words >> word; ++value) {
      lub.*row.field = value;
      EXPECT_EQ(text({40}, row.key), word) << int{row.key};
    }
    lub.*row.field = kept;
  }
  lub.lub_f_convert = 0;
  for (const auto& [delim, word] :
       {std::pair{'\'', "APOSTROPHE"}, {'"', "QUOTE"}, {'\0', "NONE"}, {'x', "message 48"}}) {
    lub.lub_delim = static_cast<u8>(delim);
    EXPECT_EQ(text({40}, KEY_DELIM), word);
  }
  lub.lub_delim = 0;
  EXPECT_EQ(close_unit(40), 0);
}

TAMRUN_CHILD_TEST(Inquire, NumbersAndTruths) {
  Temp_Dir dir;
  const std::string file = dir.file("f");
  EXPECT_EQ(truth({40}, KEY_EXIST), -1);
  EXPECT_EQ(truth({-400}, KEY_EXIST), 0);
  EXPECT_EQ(truth({40}, KEY_OPENED), 0);
  EXPECT_EQ(number({40}, KEY_NUMBER), -1);
  EXPECT_EQ(number({40}, KEY_NUMBER, kOld), 40);
  EXPECT_EQ(number({-400}, KEY_NUMBER, kOld), 0);
  EXPECT_EQ(number({-400}, KEY_RECL), 0);
  EXPECT_EQ(number({40}, KEY_RECL_LATER), -1);
  EXPECT_EQ(number({40}, KEY_SIZE), -1);
  ASSERT_EQ(open_unit(40, on_file(file) + "RECL=50 BUFFERED=YES"), 0);
  For_Lub& lub = block_of(40);
  EXPECT_EQ(truth({40}, KEY_OPENED), -1);
  EXPECT_EQ(truth({40}, KEY_NAMED), -1);
  EXPECT_EQ(truth({40}, KEY_PENDING), 0);
  EXPECT_EQ(text({40}, KEY_NAME), file);
  EXPECT_EQ(number({40}, KEY_NUMBER), 40);
  EXPECT_EQ(number({40}, KEY_RECL), 50);
  EXPECT_EQ(number({40}, KEY_RECL_LATER), 50);
  EXPECT_EQ(number({40}, KEY_NEXTREC), 0);
  EXPECT_EQ(number({40}, KEY_POS), 0);
  EXPECT_EQ(number({40}, KEY_UNREAD66), 0);
  EXPECT_EQ(number({40}, KEY_BLOCKSIZE), lub.lub_blocksize);
  lub.lub_f_true_is_one = 1;
  EXPECT_EQ(truth({40}, KEY_OPENED), 1);
  // Output that is still held counts in SIZE=.
  memcpy(lub.lub_a_buffer, "held\n", 5);
  lub.lub_a_cursor = lub.lub_a_buffer + 5;
  EXPECT_EQ(for__write_output(&lub, lub.lub_a_buffer, 5), 1);
  EXPECT_EQ(read_file(file), "");
  EXPECT_EQ(number({40}, KEY_SIZE), 5);
  EXPECT_EQ(number({-4000, file, ""}, KEY_SIZE), 5);
  EXPECT_EQ(close_unit(40), 0);
  ASSERT_EQ(open_unit(40, on_file(file) + "ACCESS=STREAM"), 0);
  EXPECT_EQ(number({40}, KEY_POS), 1);
  EXPECT_EQ(number({40}, KEY_RECL), INT64_MAX);
  EXPECT_EQ(number({40}, KEY_RECL, kModern, ITM_INTEGER4), 0xffffffff);
  EXPECT_EQ(number({40}, KEY_RECL_LATER), -2);
  block_of(40).lub_file_pos = 1ll << 40;
  EXPECT_EQ(number({40}, KEY_POS), (1ll << 40) + 1);
  EXPECT_EQ(close_unit(40), 0);
  ASSERT_EQ(open_unit(40, "STATUS=SCRATCH ACCESS=DIRECT FORM=UNFORMATTED RECL=4"), 0);
  EXPECT_EQ(number({40}, KEY_NEXTREC), 1);
  EXPECT_EQ(number({40}, KEY_RECL), 4);
  EXPECT_EQ(truth({40}, KEY_NAMED), 0);
  EXPECT_EQ(close_unit(40), 0);
}

TAMRUN_CHILD_TEST(Inquire, ByFileFindsTheUnitUnderAnySpelling) {
  Temp_Dir dir;
  const std::string file = dir.file("f");
  EXPECT_EQ(truth({0, file, ""}, KEY_EXIST), 0);
  EXPECT_EQ(number({0, file, ""}, KEY_NUMBER), -1);
  EXPECT_EQ(text({0, file, ""}, KEY_NAME), file);
  EXPECT_EQ(truth({0, file, ""}, KEY_NAMED), -1);
  write_file(file, "seven\n");
  ASSERT_EQ(symlink("f", dir.file("link").c_str()), 0);
  EXPECT_EQ(truth({0, file, ""}, KEY_EXIST), -1);
  EXPECT_EQ(truth({0, file, ""}, KEY_OPENED), 0);
  EXPECT_EQ(number({0, file, ""}, KEY_SIZE), 6);
  for (const int unit : {43, 4711}) {
    ASSERT_EQ(open_unit(unit, on_file(file)), 0);
    for (const std::string& name : {file, dir.path() + "/./f", dir.file("link")}) {
      EXPECT_EQ(truth({0, name, ""}, KEY_OPENED), -1) << name;
      EXPECT_EQ(number({0, name, ""}, KEY_NUMBER), unit) << name;
      EXPECT_EQ(text({0, name, ""}, KEY_NAME), file);
    }
    EXPECT_EQ(truth({0, dir.file("other"), ""}, KEY_OPENED), 0);
    EXPECT_EQ(close_unit(unit), 0);
  }
  // DEFAULTFILE= completes the name; what is found tells its path.
  std::string path(60, '#');
  i32 exists = 7;
  ItemList items;
  items.text(dir.path()).pair(KEY_DEFAULTFILE, 0).scalar(ITM_CHARACTER, path.data(), 60).pair(KEY_FULL_PATH, 0);
  items.pointer(ITM_LOGICAL4, &exists).pair(KEY_EXIST, 0);
  EXPECT_EQ(inquire({0, "f", ""}, items, kModern | iof_true_is_one), 0);
  EXPECT_EQ(path.substr(0, file.size() + 1), file + " ");
  EXPECT_EQ(exists, 1);
  EXPECT_EQ(truth({0, dir.path(), ""}, KEY_EXIST), 0);
  EXPECT_EQ(truth({0, "", dir.path()}, KEY_EXIST), -1);
  EXPECT_EQ(truth({0, "", file}, KEY_EXIST), 0);
  EXPECT_EQ(text({0, "", dir.path()}, KEY_FULL_PATH), dir.path());
}

TAMRUN_CHILD_TEST(Inquire, AFailingNameIsReportedBehindTheAnswers) {
  i32 opened = 7, exists = 7;
  char message[30];
  ItemList items;
  items.pointer(ITM_LOGICAL4, &opened).pair(KEY_OPENED, 0).pointer(ITM_LOGICAL4, &exists).pair(KEY_EXIST, 0);
  items.scalar(ITM_CHARACTER, message, sizeof message).pair(KEY_IOMSG, 0);
  EXPECT_EQ(inquire({0, std::string(5000, 'x'), ""}, items, kModern), MSG_PATH_TOO_LONG);
  EXPECT_EQ(opened, 0);
  EXPECT_EQ(exists, 0);
  EXPECT_NE(message[0], '#');
}

TAMRUN_CHILD_TEST(Inquire, TheUnitsAreAskedForMoreThanExist) {
  Temp_Dir dir;
  ASSERT_EQ(open_unit(40, on_file(dir.file("f"))), 0);
  ASSERT_EQ(unlink(dir.file("f").c_str()), 0);
  for (const bool more : {false, true}) {
    i32 exists = 7;
    char message[30];
    ItemList items;
    items.pointer(ITM_LOGICAL4, &exists).pair(KEY_EXIST, 0);
    if (more) items.scalar(ITM_CHARACTER, message, sizeof message).pair(KEY_IOMSG, 0);
    EXPECT_EQ(inquire({0, dir.file("f"), ""}, items, kModern), 0);
    EXPECT_EQ(exists, more ? -1 : 0);
  }
  EXPECT_EQ(close_unit(40), 0);
  // A name of no bytes is one.
  i32 opened = 7;
  ItemList items;
  items.scalar(ITM_CHARACTER, nullptr, 0).pair(KEY_FILE, 0).pointer(ITM_LOGICAL4, &opened).pair(KEY_OPENED, 0);
  EXPECT_EQ(inquire({UNIT_STDOUT}, items, kModern), MSG_FILE_NAME);
  EXPECT_EQ(opened, 0);
}

TEST(Inquire, RefusesWhatIsNoQuestion) {
  i64 value = 7;
  const struct {
    u8 type, key;
  } rows[] = {{ITM_REAL8, KEY_EXIST},       {ITM_INTEGER8, KEY_NAME},    {ITM_INTEGER8, 3},  {ITM_INTEGER8, 0},
              {ITM_INTEGER8, KEY_LAST + 1}, {ITM_INTEGER8, KEY_NEWUNIT}, {ITM_REAL8, KEY_ID}};
  for (const auto& row : rows) {
    ItemList items;
    items.pointer(row.type, &value).pair(row.key, 0);
    EXPECT_EQ(inquire({40}, items, kModern), MSG_INVALID_ARGUMENT) << int{row.key};
    EXPECT_EQ(value, 7);
  }
  for (const u8 type : {ITM_INTEGER1, ITM_UNSIGNED1, ITM_INTEGER2, ITM_UNSIGNED2, ITM_INTEGER4, ITM_LOGICAL,
                        ITM_UNSIGNED4, ITM_LOGICAL1, ITM_LOGICAL2, ITM_LOGICAL4}) {
    i64 all = -1;
    ItemList items;
    items.pointer(type, &all).pair(KEY_OPENED, 0);
    EXPECT_EQ(inquire({40}, items, kModern), 0);
    EXPECT_EQ(all, static_cast<i64>(~0ull << 8 * for__dsc_itm_table[type].size)) << int{type};
  }
}

TAMRUN_CHILD_TEST(Inquire, ConsoleUnitsBeforeTheirFirstStatement) {
  setenv("FOR_PRINT", "/dev/null", 1);
  int argc = 0;
  for_rtl_init_(&argc, nullptr);
  EXPECT_EQ(truth({UNIT_STDOUT}, KEY_OPENED), 0);
  EXPECT_EQ(text({UNIT_STDOUT}, KEY_NAME), "");
  EXPECT_EQ(truth({UNIT_STDOUT}, KEY_EXIST), -1);
  EXPECT_EQ(block_of(UNIT_PRINT).lub_default_state, u32{DEFAULT_UNCONNECTED});
  EXPECT_EQ(truth({UNIT_PRINT}, KEY_OPENED), 0);
  EXPECT_EQ(block_of(UNIT_PRINT).lub_default_state, u32{DEFAULT_FROM_ENV});
  EXPECT_EQ(truth({UNIT_INTERNAL_TOP}, KEY_EXIST), 0);
}

TAMRUN_CHILD_TEST(Inquire, WithinAStatementOfTheSameThread) {
  Temp_Dir dir;
  ASSERT_EQ(open_unit(40, on_file(dir.file("f"))), 0);
  For_Context ctx{};
  ItemList first, rest;
  first.text("one").more();
  rest.text("two").end();
  ASSERT_EQ(for_write_seq_lis(&ctx, 40, kModern, first.list(), first.args()), 0);
  EXPECT_EQ(truth({40}, KEY_OPENED), -1);
  EXPECT_EQ(number({40}, KEY_SIZE), 0);
  EXPECT_EQ(truth({0, dir.file("f"), ""}, KEY_OPENED), -1);
  ASSERT_EQ(ctx.ctx_lub, &block_of(40));
  ASSERT_EQ(for_write_seq_lis_xmit(&ctx, rest.list(), rest.args()), 0);
  EXPECT_EQ(close_unit(40), 0);
  EXPECT_EQ(read_file(dir.file("f")), " onetwo\n");
}

/// From here on the kernel serves nothing but the end of the thread.
void forbid_system_calls() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, 0),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
  };
  sock_fprog filter = {std::size(program), program};
  prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter, 0, 0);
}

TEST(Inquire, ByUnitCallsTheSystemForSizeOnly) {
  constexpr int kDone = 42;
  for (const bool with_size : {false, true}) {
    const Child_Result child = run_child([with_size] {
      Temp_Dir dir;
      if (open_unit(40, on_file(dir.file("f"))) != 0) return;
      char word[20];
      i64 values[10];
      ItemList items;
      for (const auto& row : kWords) items.scalar(ITM_CHARACTER, word, sizeof word).pair(row.key, 0);
      items.scalar(ITM_CHARACTER, word, sizeof word).pair(KEY_NAME, 0);
      int used = 0;
      for (const u8 key : {KEY_EXIST, KEY_OPENED, KEY_NUMBER, KEY_NAMED, KEY_RECL, KEY_NEXTREC, KEY_POS, KEY_PENDING})
        items.pointer(ITM_INTEGER8, &values[used++]).pair(key, 0);
      if (with_size) items.pointer(ITM_INTEGER8, &values[used]).pair(KEY_SIZE, 0);
      items.end();
      unlink(dir.file("f").c_str());
      rmdir(dir.path().c_str());
      forbid_system_calls();
      For_Context ctx{};
      const int result = for_inquire(&ctx, 40, kModern, items.list(), items.args());
      syscall(SYS_exit, result == 0 && values[1] == -1 ? kDone : 1);
    });
    if (with_size)
      EXPECT_EQ(child.signal, SIGSYS);
    else
      EXPECT_EQ(child.status, kDone) << child.signal;
  }
}

TAMRUN_CHILD_TEST(InquireThreads, UnitsThatOthersOpenWriteAndClose) {
  constexpr int kThreads = 4, kRounds = 150;
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);  // a WRITE may connect its unit itself
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&dir, &wrong, t] {
      unsigned seed = static_cast<unsigned>(t);
      for (int i = 0; i < kRounds; ++i) {
        // Units 60 to 62 are everybody's, in both parts of the table; the last is the thread's own.
        const int shared[] = {60, 61, 4000, 70 + t};
        const int unit = shared[rand_r(&seed) % 4];
        const std::string file = dir.file("f" + std::to_string(unit));
        For_Context ctx{};
        switch (rand_r(&seed) % 5) {
          case 0:
            (void)open_unit(unit, on_file(file) + "BUFFERED=YES");
            break;
          case 1: {
            ItemList items;
            items.text("record").end();
            (void)for_write_seq_lis(&ctx, unit, kModern, items.list(), items.args());
            break;
          }
          case 2:
            (void)for_rewind(&ctx, unit, kModern);
            break;
          case 3: {
            i32 opened = 7;
            i64 size = 7;
            ItemList items;
            items.pointer(ITM_LOGICAL4, &opened).pair(KEY_OPENED, 0).pointer(ITM_INTEGER8, &size).pair(KEY_SIZE, 0);
            const bool by_file = rand_r(&seed) % 2 == 0;
            if (inquire(by_file ? About{0, file, ""} : About{unit}, items, kModern) != 0) ++wrong;
            if (opened != 0 && opened != -1) ++wrong;
            if (opened == -1 && size < 0) ++wrong;
            break;
          }
          default:
            (void)close_unit(unit);
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  for (const int unit : {60, 61, 4000, 70, 71, 72, 73}) (void)close_unit(unit);
}

}  // namespace
