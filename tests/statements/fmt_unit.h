// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit in memory that formatted statements write and read.
#ifndef TAMRUN_TESTS_STATEMENTS_FMT_UNIT_H
#define TAMRUN_TESTS_STATEMENTS_FMT_UNIT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <functional>
#include <string>

#include "records/buffer.h"
#include "records/for_put.h"
#include "statements/for_rseq_fmt.h"
#include "statements/for_wseq_fmt.h"
#include "support/item_list.h"
#include "support/unit.h"
#include "tamrun/fmt_isb.h"

using Build = std::function<void(ItemList&)>;

inline std::string blanks(size_t n) { return std::string(n, ' '); }

/// Flags of a statement that gives its format as text.
inline constexpr For_IO_Flags kText = kIostat | iof_format_text;

/// Calls a formatted entry point, with the control list behind the fixed arguments when there is one.
template <class Entry>
int formatted_call(Entry entry, For_Context& ctx, int unit, For_IO_Flags flags, ItemList& items, const void* format,
                   ControlList* control = nullptr) {
  if (control == nullptr) return entry(&ctx, unit, flags, items.list(), items.args(), format);
  return entry(&ctx, unit, flags | iof_extended | iof_control_list, items.list(), items.args(), format, control->list(),
               control->args());
}

class Fmt_Unit {
 public:
  explicit Fmt_Unit(const Connection& c = {}, const std::string& file = "", int unit = 40)
      : fd_(with_content(file)), unit_(unit, fd_, c) {}

  /// One statement with the items that `build` adds and the end mark.
  int write(const std::string& format, const Build& build, For_IO_Flags flags = kText, ControlList* control = nullptr) {
    ItemList items;
    build(items);
    items.end();
    return write_items(format, items, flags, control);
  }
  int write_items(const std::string& format, ItemList& items, For_IO_Flags flags = kText,
                  ControlList* control = nullptr) {
    const For_Fmt_Text text = {static_cast<i64>(format.size()), format.data()};
    return formatted_call(for_write_seq_fmt, ctx_, number(), flags, items, &text, control);
  }
  /// ADVANCE='NO', or another answer.
  int write_part(const std::string& format, const Build& build, const std::string& advance = "NO") {
    return write(
        format,
        [&](ItemList& l) {
          l.text(advance);
          build(l);
        },
        kText | iof_advance_given);
  }
  int write_more(ItemList& items) { return for_write_seq_fmt_xmit(&ctx_, items.list(), items.args()); }

  int read(const std::string& format, const Build& build, For_IO_Flags flags = kText, ControlList* control = nullptr) {
    ItemList items;
    build(items);
    items.end();
    return read_items(format, items, flags, control);
  }
  int read_items(const std::string& format, ItemList& items, For_IO_Flags flags = kText,
                 ControlList* control = nullptr) {
    const For_Fmt_Text text = {static_cast<i64>(format.size()), format.data()};
    return formatted_call(for_read_seq_fmt, ctx_, number(), flags, items, &text, control);
  }
  int read_more(ItemList& items) { return for_read_seq_fmt_xmit(&ctx_, items.list(), items.args()); }

  /// The file, with what is held in the buffer.
  std::string text() {
    (void)for__write_output(&lub(), nullptr, 0);
    return contents(fd_);
  }
  For_Lub& lub() { return unit_.lub(); }
  For_File_Info& file() { return *lub().lub_a_file_info; }
  For_Context& context() { return ctx_; }
  int number() const { return unit_.number(); }
  int fd() const { return fd_; }

 private:
  static int with_content(const std::string& file) {
    const int fd = memory_file();
    EXPECT_EQ(pwrite(fd, file.data(), file.size(), 0), static_cast<ssize_t>(file.size()));
    return fd;
  }

  int fd_;
  Connected_Unit unit_;
  For_Context ctx_{};
};

#endif
