// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// A unit in memory that list-directed statements write to.
#ifndef TAMRUN_TESTS_STATEMENTS_LIST_OUTPUT_H
#define TAMRUN_TESTS_STATEMENTS_LIST_OUTPUT_H

#include <functional>
#include <string>

#include "records/for_put.h"
#include "statements/for_wseq_lis.h"
#include "support/item_list.h"
#include "support/unit.h"

class List_Unit {
 public:
  explicit List_Unit(const Connection& c = {}, int unit = 40) : fd_(memory_file()), unit_(unit, fd_, c) {}

  /// One statement: its result.
  int write(ItemList& items, ControlList* control = nullptr, For_IO_Flags flags = kIostat) {
    const int result = first_call(for_write_seq_lis, ctx_, unit_.number(), flags, items, control);
    return result;
  }
  /// One statement of the items that `build` adds.
  int write(const std::function<void(ItemList&)>& build, ControlList* control = nullptr) {
    ItemList items;
    build(items);
    items.end();
    return write(items, control);
  }
  /// The file, with what is held in the buffer.
  std::string text() {
    (void)for__write_output(&lub(), nullptr, 0);
    return contents(fd_);
  }
  For_Lub& lub() { return unit_.lub(); }
  For_Context& context() { return ctx_; }
  int number() const { return unit_.number(); }

 private:
  int fd_;
  Connected_Unit unit_;
  For_Context ctx_{};
};

inline std::string blanks(size_t n) { return std::string(n, ' '); }

#endif
