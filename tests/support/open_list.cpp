// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Builds what compiled code passes to OPEN and CLOSE, and runs them.

#include "support/open_list.h"

#include <dirent.h>
#include <gtest/gtest.h>

#include "tamrun/messages.h"
#include "units/unit_table.h"

For_Lub& block_of(int unit) {
  For_Lub* lub = nullptr;
  EXPECT_EQ(0, for__acquire_lun(unit, &lub, nullptr, STMT_INQUIRE)) << unit;
  EXPECT_EQ(0, for__release_lun(unit));
  return *lub;
}

void fail_once() {
  EXPECT_EQ(MSG_INVALID_ARGUMENT, open_unit(20, KeyList().number(3, 1).end()));
  EXPECT_EQ(0, close_unit(20));
}

int open_descriptors() {
  int count = 0;
  DIR* directory = opendir("/proc/self/fd");
  while (readdir(directory) != nullptr) ++count;
  closedir(directory);
  return count;
}
