// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// REWIND, BACKSPACE, ENDFILE, EOF, FIND, DELETE, UNLOCK and DEFINE FILE: rules, marks and refusals.

#include <errno.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string.h>
#include <unistd.h>

#include <string>

#include "core/failure.h"
#include "core/start.h"
#include "exceptions/for_stop.h"
#include "memory_unit.h"
#include "records/buffer.h"
#include "support/child.h"
#include "support/open_list.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"
#include "units/unit_table.h"

namespace {

using namespace tamrun_test;

typedef int (*Statement)(For_Context*, int, For_IO_Flags, ...);

int run(Statement statement, int unit, For_IO_Flags flags = kIostat) {
  For_Context ctx{};
  const int result = statement(&ctx, unit, flags);
  EXPECT_EQ(ctx.ctx_lub, nullptr);
  return result;
}

/// A file and what letters do to it: r READ, w WRITE of "more", b BACKSPACE, R REWIND, e ENDFILE, ? the function EOF.
struct Script {
  Connection connection;
  const char* file;
  const char* steps;
  const char* told;  ///< of each READ the record, END at its end, of EOF its value
  const char* left;  ///< of the file
};

TEST(Position, Scripts) {
  const Script scripts[] = {
      // The end of the file that a READ has met counts as a record, but not in compatible programs.
      {{}, "one\ntwo\n", "brrrbrbbrbbbr", "one two END END two one ", "one\ntwo\n"},
      {{.compat = true}, "one\nlast\n", "rrrbr", "one last END last ", "one\nlast\n"},
      // ENDFILE cuts the file, and what goes back over its end and writes appends.
      {{}, "one\ntwo\nthree\n", "rebwRrrr", "one one more END ", "one\nmore\n"},
      {{}, "one\n", "rrbw", "one END ", "one\nmore\n"},
      {{}, "one\ntwo\n", "?r?r?r?", "0 one 0 two -1 END -1 ", "one\ntwo\n"},
  };
  for (const Script& script : scripts) {
    SCOPED_TRACE(script.steps);
    Memory_Unit unit(script.connection, script.file);
    std::string told;
    for (const char* step = script.steps; *step != '\0'; ++step) {
      if (*step == 'r') {
        char text[5];
        const int code = unit.read("(a5)", ItemList().scalar(ITM_CHARACTER, text, sizeof text));
        const std::string record(text, sizeof text);
        told += (code == FOR_IOS_END ? "END" : record.substr(0, record.find_last_not_of(' ') + 1)) + " ";
      } else if (*step == 'w') {
        EXPECT_EQ(unit.write("(a)", ItemList().text("more")), 0);
      } else if (*step == '?') {
        told += std::to_string(run(for_eof, 40)) + " ";
      } else {
        EXPECT_EQ(run(*step == 'b' ? for_backspace : *step == 'R' ? for_rewind : for_endfile, 40), 0);
      }
    }
    EXPECT_EQ(told, script.told);
    EXPECT_EQ(unit.text(), script.left);
  }
  Memory_Unit unit({}, "one\n");
  unit.lub().lub_f_true_is_one = 1;
  unit.lub().lub_f_at_eof = 1;
  EXPECT_EQ(run(for_eof, 40), 1);
  EXPECT_EQ(run(for_eof, 444), MSG_UNKNOWN_UNIT_NUMBER);
}

TEST(Position, EndfileAtTheStartCutsTheFileMarkToo) {
  Temp_Dir dir;
  const std::string file = dir.file("data");
  const For_IO_Flags flags = kIostat | iof_msf_layout;
  ASSERT_EQ(open_unit(40, KeyList().file(file).status("NEW").form("UNFORMATTED").end(), flags), 0);
  For_Context ctx{};
  const auto move = [&](auto entry, const char* text) {
    return first_call(entry, ctx, 40, flags, ItemList().text(text));
  };
  EXPECT_EQ(move(for_write_seq, "lost"), 0);
  EXPECT_EQ(run(for_rewind, 40, flags), 0);
  EXPECT_EQ(run(for_endfile, 40, flags), 0);
  EXPECT_EQ(read_file(file), "");
  EXPECT_EQ(run(for_rewind, 40, flags), 0);
  EXPECT_EQ(move(for_read_seq, "...."), FOR_IOS_END);
  EXPECT_EQ(move(for_write_seq, "kept"), 0);
  EXPECT_EQ(close_unit(40), 0);
  EXPECT_EQ(read_file(file), "K\4kept\4\x82");
}

TEST(Position, EveryEndOfAProgramMarksALengthByteFile) {
  const For_IO_Flags flags = kIostat | iof_msf_layout;
  void (*const ends[])() = {[] { for_stop_core("", 0, iof_f90_rtl, 0, 0); }, [] { (void)for_rtl_finish_(); },
                            [] { for__issue_diagnostic(MSG_WRITE_ERROR, 2, 40, "gone"); }};
  for (const auto end : ends) {
    for (const char* buffered : {"YES", "NO"}) {
      Temp_Dir dir;
      const std::string file = dir.file("data");
      run_child([&] {
        KeyList keys;
        keys.file(file).status("NEW").form("UNFORMATTED").text(KEY_BUFFERED, buffered);
        EXPECT_EQ(open_unit(40, keys.end(), flags), 0);
        For_Context ctx{};
        ItemList items;
        items.text("kept").end();
        EXPECT_EQ(for_write_seq(&ctx, 40, flags, items.list(), items.args()), 0);
        end();
      });
      EXPECT_EQ(read_file(file), "K\4kept\4\x82") << buffered;
    }
  }
}

TEST(Position, RewindEndsAppending) {
  Temp_Dir dir;
  write_file(dir.file("log"), "one\n");
  ASSERT_EQ(open_unit(40, KeyList().file(dir.file("log")).status("OLD").access("APPEND").end()), 0);
  For_Lub& lub = block_of(40);
  EXPECT_EQ(run(for_rewind, 40), 0);
  EXPECT_FALSE(lub.lub_f_access_append);
  EXPECT_TRUE(lub.lub_f_after_rewind && lub.lub_f_truncate_on_write);
  EXPECT_EQ(lseek(lub.lub_fd, 0, SEEK_CUR), 0);
  EXPECT_EQ(close_unit(40), 0);
}

TEST(Position, OldProgramsEndFilesWithARecord) {
  struct Row {
    const char* form;
    std::string mark;
  };
  for (const Row& row : {Row{"FORM=FORMATTED RECORDTYPE=STREAM_LF CARRIAGECONTROL=LIST", "\x1a\n"},
                         {"FORM=FORMATTED RECORDTYPE=STREAM_CR CARRIAGECONTROL=NONE", "\x1a\r"},
                         {"FORM=FORMATTED RECORDTYPE=STREAM_CRLF CARRIAGECONTROL=NONE", "\x1a\r\n"},
                         {"FORM=UNFORMATTED RECORDTYPE=SEGMENTED", std::string("\1\0\x1a\0", 4)}}) {
    SCOPED_TRACE(row.form);
    Temp_Dir dir;
    const std::string file = dir.file("old");
    const For_IO_Flags flags = iof_extended | iof_iostat | iof_legacy_defaults;
    ASSERT_EQ(open_unit(40, specifiers("RECL=64 STATUS=NEW FILE=" + file + ' ' + row.form).end(), flags), 0);
    EXPECT_EQ(run(for_eof, 40, flags), -1);
    EXPECT_EQ(run(for_endfile, 40, flags), 0);
    EXPECT_FALSE(block_of(40).lub_f_at_eof || block_of(40).lub_f_after_endfile);
    EXPECT_EQ(read_file(file), row.mark);
    // The position is in front of the mark, which the EOF function knows.
    EXPECT_EQ(lseek(block_of(40).lub_fd, 0, SEEK_CUR), 0);
    EXPECT_EQ(run(for_eof, 40, flags), -1);
    ASSERT_EQ(pwrite(block_of(40).lub_fd, "plain text", 10, 0), 10);
    EXPECT_EQ(run(for_eof, 40, flags), 0);
    EXPECT_EQ(close_unit(40), 0);
  }
}

TAMRUN_CHILD_TEST(Position, TerminalsAndPipesAreLeftAlone) {
  int argc = 0;
  for_rtl_init_(&argc, nullptr);
  EXPECT_EQ(run(for_rewind, UNIT_STDIN), MSG_REWIND_NO_OP_ON_TERMINAL);
  EXPECT_EQ(run(for_backspace, UNIT_STDIN), MSG_BACKSPACE_NO_OP_ON_TERMINAL);
  EXPECT_EQ(run(for_eof, UNIT_STDIN), MSG_EOF_NO_OP_ON_TERMINAL);
  EXPECT_EQ(run(for_rewind, UNIT_STDERR), MSG_REWIND_NO_OP_ON_TERMINAL);
  // A file redirected to a console unit can be positioned once the unit is connected; a pipe cannot.
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
  EXPECT_EQ(run(for_endfile, UNIT_STDIN), MSG_ENDFILE_NO_OP_ON_TERMINAL);
  Connected_Unit unit(40, ends[1], {});
  unit.lub().lub_next_rec = 9;
  EXPECT_EQ(run(for_backspace, 40), MSG_BACKSPACE_ERROR);  // the message is another
  EXPECT_EQ(run(for_endfile, 40), 0);
  EXPECT_EQ(run(for_rewind, 40), MSG_REWIND_ERROR);
  EXPECT_EQ(run(for_eof, 40), MSG_EOF_ILLEGAL_ON_TERMINAL_DEVICE);
}

TEST(Position, NoOpIsAWarningThatDoesNotEndTheProgram) {
  const Child_Result child = run_child([] {
    int argc = 0;
    for_rtl_init_(&argc, nullptr);
    EXPECT_EQ(run(for_rewind, UNIT_STDIN, iof_f90_rtl), MSG_REWIND_NO_OP_ON_TERMINAL);
  });
  EXPECT_EQ(child.status, 0);
  EXPECT_NE(child.err.find("tamrtl: warning (499): REWIND is a no-op on terminal device"), std::string::npos)
      << child.err;
}

TEST(Position, RefusedByConnection) {
  struct Row {
    void (*change)(For_Lub&);
    Statement statement;
    int result;
    const char* text;  ///< IOMSG= begins with it
  };
  const Row rows[] = {
      {[](For_Lub& l) { l.lub_udio_depth = 1; }, for_rewind, MSG_UDIO_REWIND, "REWIND operation is forbidden"},
      {[](For_Lub& l) { l.lub_udio_depth = 1; }, for_backspace, MSG_UDIO_BACKSPACE, "BACKSPACE operation is forb"},
      {[](For_Lub& l) { l.lub_udio_depth = 1; }, for_endfile, MSG_UDIO_ENDFILE, "ENDFILE operation is forbidden"},
      {[](For_Lub& l) { l.lub_f_keyed = 1; }, for_rewind, MSG_REWIND_ERROR, "REWIND error, unit 40"},
      {[](For_Lub& l) { l.lub_org = ORG_RELATIVE; }, for_backspace, MSG_BACKSPACE_ERROR, "BACKSPACE error, unit 40"},
      {[](For_Lub& l) { l.lub_f_direct = 1; }, for_backspace, MSG_BACKSPACE_ERROR, "BACKSPACE error, unit 40"},
      {[](For_Lub& l) { l.lub_f_stream = 1, l.lub_f_formatted = 0; }, for_backspace, MSG_BACKSPACE_ON_STREAM,
       "BACKSPACE statement may not be applied"},
      {[](For_Lub& l) { l.lub_f_sequential = 0; }, for_endfile, MSG_ENDFILE_ERROR, "ENDFILE error, unit 40"},
      {[](For_Lub& l) { l.lub_f_formatted = 0, l.lub_rectype = RECTYPE_FIXED; }, for_endfile, MSG_ENDFILE_ERROR,
       "ENDFILE error, unit 40"},
  };
  for (const Row& row : rows) {
    Memory_Unit unit({}, "one\ntwo\n");
    row.change(unit.lub());
    char text[60];
    ControlList control = ControlList().iomsg(text, sizeof text).end();
    For_Context ctx{};
    EXPECT_EQ(row.statement(&ctx, 40, kIostat | iof_control_list, control.list(), control.args()), row.result)
        << row.text;
    EXPECT_EQ(std::string(text, strlen(row.text)), row.text);
    unit.lub().lub_udio_depth = 0;
    unit.lub().lub_f_formatted = 1;
    if (unit.lub().lub_f_busy != 0) {
      EXPECT_EQ(for__release_lun(40), 0);
    }
    EXPECT_EQ(contents(unit.fd()), "one\ntwo\n");
  }
}

TEST(Position, ControlListIsThatOfADataTransfer) {
  Memory_Unit unit({}, "one\ntwo\n");
  For_Context ctx{};
  ControlList pos = ControlList().pos(1).end(), pad = ControlList().pad("MAYBE").end();
  EXPECT_EQ(for_rewind(&ctx, 40, kIostat | iof_control_list, pos.list(), pos.args()), MSG_MIXED_ACCESS);
  EXPECT_EQ(for_rewind(&ctx, 40, kIostat | iof_control_list, pad.list(), pad.args()), MSG_IO_KEYWORD_VALUE);
  EXPECT_EQ(run(for_rewind, -400), MSG_INVALID_UNIT);
}

TEST(Position, DiagnosticsWithoutAUnit) {
  const struct {
    int (*call)(For_Context*);
    const char* text;
  } kRows[] = {
      {[](For_Context* ctx) { return for_rewind(ctx, -400, 0); }, "unit -400, file unknown"},
      {[](For_Context* ctx) { return for_delete(ctx, -400, 0, 1); }, "unit -400, file unknown"},
      {[](For_Context* ctx) { return for_find(ctx, -400, 0, 1); }, "unit -5, file unknown"},
      {[](For_Context* ctx) { return for_unlock(ctx, -400, 0); }, "unit -5, file unknown"},
  };
  for (const auto& row : kRows) {
    const Child_Result child = run_child([&] {
      For_Context ctx{};
      (void)row.call(&ctx);
    });
    EXPECT_EQ(child.status, MSG_INVALID_UNIT);
    EXPECT_NE(child.err.find(row.text), std::string::npos) << child.err;
  }
}

TAMRUN_CHILD_TEST(Position, EndfileConnectsWhatIsNot) {
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  EXPECT_EQ(run(for_rewind, 43), 0);
  EXPECT_EQ(run(for_backspace, 43), 0);
  EXPECT_NE(access("fort.43", F_OK), 0);
  EXPECT_EQ(run(for_endfile, 43), 0);
  EXPECT_EQ(access("fort.43", F_OK), 0);
  EXPECT_TRUE(block_of(43).lub_f_unformatted && block_of(43).lub_f_at_eof);
  EXPECT_EQ(close_unit(43), 0);
}

TEST(Position, FindAndDeleteWorkOnRecordsByNumber) {
  Temp_Dir dir;
  const std::string file = dir.file("direct");
  write_file(file, std::string("aaaabbbbccccdddd"));
  i16 next = -1;
  KeyList keys = specifiers("STATUS=OLD ACCESS=DIRECT FORM=UNFORMATTED RECL=1 MAXREC=3 ORGANIZATION=RELATIVE");
  keys.file(file).variable(KEY_ASSOCIATEVARIABLE, ITM_INTEGER2, &next);
  ASSERT_EQ(open_unit(40, keys.end()), 0);
  For_Lub& lub = block_of(40);
  const auto find = [](u64 record) {
    For_Context ctx{};
    return for_find(&ctx, 40, kIostat, record);
  };
  const auto erase = [](u64 record, For_IO_Flags more = 0) {
    For_Context ctx{};
    return for_delete(&ctx, 40, kIostat | more, record);
  };
  EXPECT_EQ(find(3), 0);
  EXPECT_EQ(lseek(lub.lub_fd, 0, SEEK_CUR), 8);
  EXPECT_EQ(next, 3);
  for (const u64 record : {u64{0}, u64{4}, ~u64{0}}) EXPECT_EQ(find(record), MSG_RECORD_NUMBER_RANGE) << record;
  EXPECT_EQ(erase(2), 0);
  EXPECT_EQ(next, 3);
  EXPECT_EQ(read_file(file), std::string("aaaa\0\0\0\0ccccdddd", 16));
  EXPECT_EQ(erase(4), MSG_RECORD_NUMBER_RANGE);
  EXPECT_EQ(erase(1, 1u << 4), MSG_DELETE_ERROR);
  lub.lub_maxrec = 0;
  EXPECT_EQ(find(1ull << 40), 0);
  EXPECT_EQ(find(~u64{0} >> 1), MSG_DELETE_ERROR);
  EXPECT_EQ(lub.lub_f_busy, 0u);
  lub.lub_f_legacy_defaults = lub.lub_f_formatted = 1;
  EXPECT_EQ(erase(1), 0);
  EXPECT_EQ(read_file(file), std::string("@   \0\0\0\0ccccdddd", 16));
  lub.lub_org = ORG_SEQUENTIAL;
  EXPECT_EQ(erase(1), MSG_DELETE_ERROR);
  lub.lub_f_readonly = 1;
  EXPECT_EQ(erase(1), MSG_WRITE_READONLY);
  lub.lub_assoc_var_type = ITM_REAL4;
  EXPECT_EQ(find(1), MSG_INVALID_ARGUMENT);
  lub.lub_f_direct = 0;
  EXPECT_EQ(find(1), MSG_OPEN_REQUIRED);
  lub.lub_f_formatted = 0;
  EXPECT_EQ(close_unit(40), 0);
}

TAMRUN_CHILD_TEST(Position, DefineFileGivesAUnitItsAttributes) {
  Temp_Dir dir;
  ASSERT_EQ(chdir(dir.path().c_str()), 0);
  i32 next = 0;
  const auto define = [&](int unit, i32 maxrec, i32 recl) {
    For_Context ctx{};
    return for_define_file(&ctx, unit, kIostat, maxrec, recl, &next, ITM_INTEGER4);
  };
  EXPECT_EQ(define(44, 0, 2), MSG_RECORD_NUMBER_RANGE);
  EXPECT_EQ(define(44, 5, 0), MSG_RECORD_LENGTH);
  EXPECT_EQ(define(44, 5, 4), 0);
  EXPECT_EQ(define(44, 5, 4), MSG_DUPLICATE_FILE_SPEC);
  For_Lub& lub = block_of(44);
  EXPECT_TRUE(lub.lub_f_define_file && lub.lub_f_direct && lub.lub_f_unformatted && !lub.lub_f_connected);
  EXPECT_EQ(lub.lub_recl, 8);
  For_Context ctx{};
  EXPECT_EQ(for_find(&ctx, 44, kIostat, 5), 0);  // connects
  EXPECT_TRUE(lub.lub_f_connected);
  EXPECT_EQ(next, 5);
  EXPECT_EQ(lseek(lub.lub_fd, 0, SEEK_CUR), 4 * lub.lub_rec_bytes);
  EXPECT_EQ(lub.lub_rec_bytes, 8);
  EXPECT_EQ(for_find(&ctx, 44, kIostat, 6), MSG_RECORD_NUMBER_RANGE);
  EXPECT_EQ(define(44, 5, 4), MSG_UNIT_ALREADY_OPEN);
  EXPECT_EQ(for_unlock(&ctx, 44, kIostat), 0);
  EXPECT_EQ(for_unlock(&ctx, 45, kIostat), 0);
  EXPECT_EQ(for_unlock(&ctx, -400, kIostat), MSG_INVALID_UNIT);
  EXPECT_EQ(close_unit(44), 0);
}

TEST(Position, FailuresOfTheSystemAreToldWithTheirCause) {
  const Child_Result child = run_child([] {
    Memory_Unit unit({.buffered = true}, "one\ntwo\nthree\n");
    while (unit.get("(a5)", "c")[0] == '[') continue;
    EXPECT_EQ(run(for_backspace, 40), 0);
    EXPECT_EQ(for__flush_readahead(&unit.lub(), 0), 0);
    const int unreadable = open(("/proc/self/fd/" + std::to_string(unit.fd())).c_str(), O_WRONLY);
    EXPECT_EQ(lseek(unreadable, 0, SEEK_END), 14);
    EXPECT_EQ(dup2(unreadable, unit.fd()), unit.fd());
    (void)run(for_backspace, 40, iof_f90_rtl);
  });
  EXPECT_EQ(child.status, MSG_BACKSPACE_ERROR);
  EXPECT_NE(child.err.find("tamrtl: Bad file descriptor"), std::string::npos) << child.err;
  EXPECT_NE(child.err.find("severe (23): BACKSPACE error, unit 40"), std::string::npos) << child.err;
}

}  // namespace
