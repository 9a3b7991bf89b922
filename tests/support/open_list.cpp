// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Builds what compiled code passes to OPEN and CLOSE, and runs them.

#include "support/open_list.h"

#include <dirent.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <sstream>

#include "tamrun/messages.h"
#include "units/unit_table.h"

namespace {

constexpr struct {
  const char* name;
  u8 key;
} kKeys[] = {{"ACCESS", KEY_ACCESS},
             {"ACTION", KEY_ACTION},
             {"ASYNCHRONOUS", KEY_ASYNCHRONOUS},
             {"BLANK", KEY_BLANK},
             {"BLOCKSIZE", KEY_BLOCKSIZE},
             {"BUFFERCOUNT", KEY_BUFFERCOUNT},
             {"BUFFERED", KEY_BUFFERED},
             {"CARRIAGECONTROL", KEY_CARRIAGECONTROL},
             {"CONVERT", KEY_CONVERT},
             {"DECIMAL", KEY_DECIMAL},
             {"DELIM", KEY_DELIM},
             {"DISPOSE", KEY_DISPOSE},
             {"ENCODING", KEY_ENCODING},
             {"FILE", KEY_FILE},
             {"FORM", KEY_FORM},
             {"MAXREC", KEY_MAXREC},
             {"MODE", KEY_MODE},
             {"NOSHARED", KEY_NOSHARED},
             {"ORGANIZATION", KEY_ORGANIZATION},
             {"PAD", KEY_PAD},
             {"POSITION", KEY_POSITION},
             {"READONLY", KEY_READONLY},
             {"RECL", KEY_RECL},
             {"RECL_BYTES", KEY_RECL_BYTES},
             {"RECORDTYPE", KEY_RECORDTYPE},
             {"ROUND", KEY_ROUND},
             {"SHARE", KEY_SHARE},
             {"SHARED", KEY_SHARED},
             {"SIGN", KEY_SIGN},
             {"STATUS", KEY_STATUS}};

}  // namespace

KeyList specifiers(const std::string& text) {
  KeyList keys;
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    const size_t equals = word.find('=');
    const auto named = [&](const auto& row) { return word.substr(0, equals) == row.name; };
    const auto* const row = std::find_if(std::begin(kKeys), std::end(kKeys), named);
    if (row == std::end(kKeys)) abort();
    const u8 key = row->key;
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (equals == std::string::npos) {
      keys.mark(key);
    } else if (value.find_first_not_of("-0123456789") == std::string::npos) {
      keys.number(key, std::stoll(value));
    } else {
      keys.text(key, value);
    }
  }
  return keys;
}

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
