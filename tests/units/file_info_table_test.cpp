// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Records of files that several units share.

#include "units/file_info_table.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "support/fail_malloc.h"
#include "tamrun/messages.h"

namespace {

using namespace tamrun_test;

/// A unit with a name, enough for the table.
struct Named_Lub {
  explicit Named_Lub(const std::string& text) : name(text) {
    lub.lub_a_file_name = name.data();
    lub.lub_fd = 7;
  }
  ~Named_Lub() { EXPECT_EQ(0, for__rm_from_lf_table(&lub)); }
  std::string name;
  For_Lub lub = {};
};

TEST(FileInfoTable, RowsFromTheFirstTheLastAndTheMiddleWord) {
  const struct {
    std::string key;
    u64 words;  ///< exclusive-or of the eight-byte words that count
  } kRows[] = {
      {"/", 0x2f},
      {std::string("\0\0\0\x80", 4), 0x80000000},  // negative when it is folded: -2^31
      {"ABCDABCD", 0},                             // the halves cancel
      {"abcdefgh", 0x6867666564636261},
      {"abcdefghi", 0x6867666564636261 ^ 0x6968676665646362},
      {"abcdefghabcdefgh", 0},
      {"abcdefghijklmnopq", 0x6968676665646362 ^ 0x71706f6e6d6c6b6a},
      {"abcdefghABCDEFGHijklmnopxxxxABCDEFGH", 0},
  };
  for (const auto& row : kRows) {
    // A block without a terminator shows a read beyond the key to the address sanitizer.
    const std::unique_ptr<char[]> exact(new char[row.key.size()]);
    std::copy(row.key.begin(), row.key.end(), exact.get());
    const i64 folded = static_cast<i32>(row.words ^ row.words >> 32);
    EXPECT_EQ(std::llabs(folded) % 521, file_info_row(exact.get(), row.key.size())) << row.key;
  }
}

TEST(FileInfoTable, UnitsOnOneFileShareARecord) {
  Named_Lub a("/dev/pts/7"), b("/dev/pts/7"), other("/dev/pts/70");
  ASSERT_EQ(0, for__add_to_lf_table(&a.lub));
  ASSERT_EQ(0, for__add_to_lf_table(&b.lub));
  ASSERT_EQ(0, for__add_to_lf_table(&other.lub));
  For_File_Info* record = a.lub.lub_a_file_info;
  EXPECT_EQ(record, b.lub.lub_a_file_info);
  EXPECT_NE(record, other.lub.lub_a_file_info);
  EXPECT_EQ(2, record->fi_references);
  EXPECT_STREQ("/dev/pts/7", record->fi_name);
  EXPECT_NE(a.lub.lub_a_file_name, record->fi_name) << "the key is a copy";
  record->saved_lub = record->fi_cc_owner = &a.lub;
  record->fi_record_open = 1;
  EXPECT_EQ(0, for__rm_from_lf_table(&a.lub));
  EXPECT_EQ(nullptr, a.lub.lub_a_file_info);
  EXPECT_EQ(1, record->fi_references);
  EXPECT_EQ(nullptr, record->saved_lub) << "the unit has gone";
  EXPECT_EQ(nullptr, record->fi_cc_owner);
  EXPECT_EQ(0, record->fi_record_open);
  EXPECT_EQ(0, for__rm_from_lf_table(&a.lub)) << "no record, nothing to do";
}

TEST(FileInfoTable, ChainsKeepStringOrderThroughInsertionAndRemoval) {
  // Fifteen names that fall into one row: permutations of two words that are exclusive-ored.
  std::vector<std::string> names;
  const int row = file_info_row("1", 1);
  for (int i = 0; names.size() < 15; ++i) {
    const std::string name = "/data/set" + std::to_string(i);
    if (file_info_row(name.data(), name.size()) == row) names.push_back(name);
  }
  std::mt19937 random(2);
  std::shuffle(names.begin(), names.end(), random);
  const long blocks = vm_live_blocks();
  std::vector<std::unique_ptr<Named_Lub>> lubs;
  const auto check = [&](size_t count) {
    const For_File_Info* previous = nullptr;
    size_t found = 0;
    for (const For_File_Info* r = for__file_info_hash_table[row].row_head; r != nullptr; r = r->fi_next, ++found) {
      EXPECT_EQ(previous, r->fi_prev);
      EXPECT_EQ(row, r->fi_row);
      EXPECT_TRUE(previous == nullptr || strcmp(previous->fi_name, r->fi_name) < 0);
      previous = r;
    }
    EXPECT_EQ(count, found);
  };
  for (const std::string& name : names) {
    lubs.push_back(std::make_unique<Named_Lub>(name));
    ASSERT_EQ(0, for__add_to_lf_table(&lubs.back()->lub));
    check(lubs.size());
  }
  std::shuffle(lubs.begin(), lubs.end(), random);
  while (!lubs.empty()) {
    lubs.pop_back();
    check(lubs.size());
  }
  EXPECT_EQ(blocks, vm_live_blocks());
}

TEST(FileInfoTable, AFailedAllocationLeavesNothingHeld) {
  const long blocks = vm_live_blocks();
  for (long n = 1; n <= 3; ++n) {
    Named_Lub unit("/tmp/some/file");
    Fail_Vm fail(n);
    EXPECT_EQ(n < 3 ? MSG_NO_MEMORY : 0, for__add_to_lf_table(&unit.lub));
    EXPECT_EQ(n < 3, unit.lub.lub_a_file_info == nullptr);
    const For_Resource& r = for__file_info_hash_table[file_info_row("/tmp/some/file", 14)].row_resource;
    EXPECT_EQ(0u, r.res_holds);
    EXPECT_EQ(0u, r.res_guard);
  }
  EXPECT_EQ(blocks, vm_live_blocks());
}

}  // namespace
