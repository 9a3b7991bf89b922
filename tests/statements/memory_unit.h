// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit in memory, and statements of every form on it.
#ifndef TAMRUN_TESTS_STATEMENTS_MEMORY_UNIT_H
#define TAMRUN_TESTS_STATEMENTS_MEMORY_UNIT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "core/thread_storage.h"
#include "records/for_put.h"
#include "statements/for_rseq.h"
#include "statements/for_rseq_fmt.h"
#include "statements/for_rseq_lis.h"
#include "statements/for_wseq.h"
#include "statements/for_wseq_fmt.h"
#include "statements/for_wseq_lis.h"
#include "support/unit.h"
#include "tamrun/fmt_isb.h"
#include "units/unit_table.h"
#include "variables.h"

inline std::string blanks(size_t n) { return std::string(n, ' '); }

/// The format of a statement as compiled code passes its text.
class Format_Text {
 public:
  Format_Text(const char* text) : Format_Text(std::string(text)) {}
  Format_Text(const std::string& text) : text_(text), argument_{static_cast<i64>(text_.size()), text_.data()} {}
  Format_Text(const Format_Text&) = delete;
  const For_Fmt_Text* argument() const { return &argument_; }

 private:
  std::string text_;
  For_Fmt_Text argument_;
};

/// The first failure of a thread makes its storage, which stays: before any counting of blocks.
inline void make_thread_storage() {
  For_Thread_Storage* storage = nullptr;
  ASSERT_EQ(thread_storage(&storage), 0);
}

class Memory_Unit {
 public:
  explicit Memory_Unit(const Connection& c = {}, const std::string& file = "", int number = 40)
      : fd_(memory_file()), unit_(number, fd_, c) {
    EXPECT_EQ(pwrite(fd_, file.data(), file.size(), 0), static_cast<ssize_t>(file.size()));
  }

  /// A statement without a format: list-directed, or unformatted on such a unit.
  int write(const ItemList& items, For_IO_Flags flags = kIostat, const ControlList& control = {}) {
    if (lub().lub_f_unformatted) return begin(for_write_seq, for_write_seq_xmit, items, flags, control);
    return begin(for_write_seq_lis, for_write_seq_lis_xmit, items, flags, control);
  }
  int read(const ItemList& items, For_IO_Flags flags = kIostat, const ControlList& control = {}) {
    if (lub().lub_f_unformatted) return begin(for_read_seq, for_read_seq_xmit, items, flags, control);
    return begin(for_read_seq_lis, for_read_seq_lis_xmit, items, flags, control);
  }
  /// A formatted statement.
  int write(const Format_Text& format, const ItemList& items, For_IO_Flags flags = kIostat,
            const ControlList& control = {}) {
    return begin(for_write_seq_fmt, for_write_seq_fmt_xmit, items, flags | iof_format_text, control, format.argument());
  }
  int read(const Format_Text& format, const ItemList& items, For_IO_Flags flags = kIostat,
           const ControlList& control = {}) {
    return begin(for_read_seq_fmt, for_read_seq_fmt_xmit, items, flags | iof_format_text, control, format.argument());
  }
  /// A text with ADVANCE='NO', or another answer.
  int write_part(const Format_Text& format, const std::string& text, const std::string& advance = "NO") {
    return write(format, ItemList().text(advance).text(text), kIostat | iof_advance_given);
  }
  /// A further call of the last statement.
  int go_on(ItemList items) {
    items.finish();
    return further_(&ctx_, items.list(), items.args());
  }

  /// What the variables of one READ hold behind it, and its result in front where that is not 0.
  std::string get(const std::string& letters, For_IO_Flags flags = kIostat, const ControlList& control = {}) {
    Variables variables(letters);
    return variables.told(read(variables.items(), flags, control));
  }
  /// `head`: the items of ADVANCE= and SIZE=.
  std::string get(const Format_Text& format, const std::string& letters, For_IO_Flags flags = kIostat,
                  const ControlList& control = {}, ItemList head = {}) {
    Variables variables(letters);
    variables.add_to(head, 0, letters.size());
    return variables.told(read(format, head, flags, control));
  }
  /// The same with ADVANCE='NO'.
  std::string get_part(const Format_Text& format, const std::string& letters) {
    return get(format, letters, kIostat | iof_advance_given, {}, ItemList().text("NO"));
  }

  /// The file, with what is held in the buffer.
  std::string text() {
    (void)for__write_output(&lub(), nullptr, 0);
    return contents(fd_);
  }
  /// The file is another one from here on.
  void redirect(int fd) {
    ASSERT_GE(fd, 0);
    EXPECT_EQ(dup2(fd, fd_), fd_);
    close(fd);
  }
  /// The unit is free: a held one would make the next statement fail with MSG_RECURSIVE_IO.
  void expect_released() {
    EXPECT_EQ(ctx_.ctx_lub, nullptr);
    For_Lub* lub = nullptr;
    EXPECT_EQ(for__acquire_lun(number(), &lub, nullptr, STMT_WRITE_SEQ), 0);
    EXPECT_EQ(for__release_lun(number()), 0);
  }
  For_Lub& lub() { return unit_.lub(); }
  For_File_Info& file() { return *lub().lub_a_file_info; }
  For_Context& context() { return ctx_; }
  int number() const { return unit_.number(); }
  int fd() const { return fd_; }

 private:
  using Further = int (*)(For_Context*, const u8*, void*);
  template <class Entry, class... Extra>
  int begin(Entry entry, Further further, const ItemList& items, For_IO_Flags flags, const ControlList& control,
            Extra... extra) {
    further_ = further;
    return first_call(entry, ctx_, number(), flags, items, control, extra...);
  }

  int fd_;
  Connected_Unit unit_;
  For_Context ctx_{};
  Further further_ = nullptr;
};

#endif
