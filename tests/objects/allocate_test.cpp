// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ALLOCATE and DEALLOCATE in a program that links neither OpenMP nor memkind, the overflow checks, dynamic COMMON.

#include "objects/allocate.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <initializer_list>
#include <limits>
#include <random>
#include <string>

#include "core/failure.h"
#include "objects/dyncom.h"
#include "objects/fast_memory.h"
#include "support/child.h"
#include "support/descriptor.h"
#include "support/fail_malloc.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

using tamrun_test::Child_Result;
using tamrun_test::Descriptor;
using tamrun_test::Fail_Vm;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

constexpr u32 omp_number(u32 n) { return n << FA_OMP_ALLOCATOR_SHIFT; }

TEST(Allocate, SizesAndAlignments) {
  const long blocks = vm_live_blocks();
  const u64 page = static_cast<u64>(sysconf(_SC_PAGESIZE));
  for (u64 size : {u64{0}, u64{1}, u64{31}, u64{64}, u64{4097}, u64{1} << 20}) {
    for (u32 n = 0; n <= 16; ++n) {
      for (u32 more : {0u, u32{FA_PAGE_ALIGN}, u32{FA_OMP} | omp_number(3), u32{FA_SHARED}, FA_SHARED | FA_KMP}) {
        void* block = nullptr;
        const u32 flags = more | FA_STAT | n << FA_ALIGN_LOG2_SHIFT;
        ASSERT_EQ(for_allocate(size, &block, flags), 0);
        ASSERT_NE(block, nullptr);
        const u64 alignment = (more & FA_PAGE_ALIGN) != 0 ? page : n < 5 ? 32 : u64{1} << n;
        EXPECT_EQ(reinterpret_cast<u64>(block) % alignment, 0u) << size << " " << n;
        memset(block, 0xA5, size);
        EXPECT_EQ(for_deallocate(block, flags), 0);
      }
    }
  }
  EXPECT_EQ(vm_live_blocks(), blocks);
}

TEST(Allocate, FailuresWithStat) {
  int dummy;
  for (u64 size : {~u64{0}, u64{1} << 63, u64{1} << 62, ~u64{0} - 15}) {
    void* where = &dummy;
    EXPECT_EQ(for_allocate(size, &where, FA_STAT), MSG_NO_MEMORY);
    EXPECT_EQ(where, nullptr);
  }
  void* where = &dummy;
  EXPECT_EQ(for_alloc_allocatable(8, &where, FA_STAT), MSG_ALREADY_ALLOCATED);
  EXPECT_EQ(where, &dummy);
  where = nullptr;
  EXPECT_EQ(for_alloc_allocatable_handle(8, &where, FA_STAT | FA_SIZE_OVERFLOW, 1), MSG_ARRAY_SIZE_OVERFLOW);
  EXPECT_EQ(where, nullptr);
  EXPECT_EQ(for_dealloc_allocatable(nullptr, FA_STAT), MSG_NOT_ALLOCATED);
  EXPECT_EQ(for_dealloc_allocatable(nullptr, FA_STAT | FA_CANNOT_FREE), MSG_CANNOT_DEALLOCATE);
  EXPECT_EQ(for_deallocate(&dummy, FA_STAT | FA_CANNOT_FREE), MSG_CANNOT_DEALLOCATE);
  EXPECT_EQ(for_deallocate(nullptr, 0), 0);
  Fail_Vm fail(1);
  EXPECT_EQ(for_alloc_allocatable(8, &where, FA_STAT), MSG_NO_MEMORY);
  EXPECT_EQ(where, nullptr);
}

TEST(Allocate, FailuresWithoutStatEndTheProcess) {
  static void* where;
  static int taken;
  const struct {
    int status;
    void (*body)();
    const char* text;
  } rows[] = {
      {41, [] { for_allocate(u64{1} << 62, &where, 0); }, "tamrtl: severe (41): insufficient virtual memory\n"},
      {151, [] { where = &where, for_alloc_allocatable(8, &where, 0); },
       "tamrtl: severe (151): allocatable array is already allocated\n"},
      {173, [] { for_deallocate(&where, FA_CANNOT_FREE); },
       "tamrtl: severe (173): A pointer passed to DEALLOCATE points to an object that cannot be deallocated\n"},
  };
  for (const auto& row : rows) {
    const Child_Result result = run_child(row.body);
    EXPECT_EQ(result.status, row.status);
    // A sanitizer's heap has its own word on what cannot be had.
    EXPECT_TRUE(result.err.ends_with(row.text)) << result.err;
  }
  run_child([] {
    for__establish_user_error_handler([](int*, int*, char*, void*, size_t) { return ++taken; }, nullptr, nullptr,
                                      nullptr);
    EXPECT_EQ(for_allocate(u64{1} << 62, &where, 0), 0);
    EXPECT_EQ(where, nullptr);
    EXPECT_EQ(taken, 1);
  });
}

TEST(Allocate, FastMemoryThatIsNotLinked) {
  for (u32 request : {u32{FA_FASTMEM}, omp_number(1), FA_FASTMEM | FA_OMP | omp_number(7)}) {
    run_child([request] {
      void* where = &where;
      EXPECT_EQ(for_get_hbw_availability(), HBW_NOT_LINKED);
      for__hbw_set_policy(2);
      EXPECT_EQ(for_set_fastmem_policy(0), FOR_FASTMEM_POLICY_NORETRY);
      EXPECT_EQ(for_set_fastmem_policy(4), FOR_FASTMEM_POLICY_NORETRY);
      EXPECT_EQ(for_allocate(100, &where, request | FA_STAT), MSG_FASTMEM_NOT_LINKED);
      EXPECT_EQ(where, nullptr);
      EXPECT_EQ(for_set_fastmem_policy(FOR_FASTMEM_POLICY_RETRY), FOR_FASTMEM_POLICY_NORETRY);
      EXPECT_EQ(for_allocate(100, &where, request | FA_STAT), 0);
      EXPECT_EQ(for_deallocate(where, request), 0);
      EXPECT_EQ(for_set_fastmem_policy(FOR_FASTMEM_POLICY_NORETRY), FOR_FASTMEM_POLICY_RETRY);
    });
  }
  // With FA_OMP the number 1 is an OpenMP allocator, and without OpenMP the ordinary heap serves it.
  void* where = nullptr;
  EXPECT_EQ(for_allocate(100, &where, FA_STAT | FA_OMP | omp_number(1)), 0);
  EXPECT_EQ(for_deallocate(where, FA_OMP | omp_number(1)), 0);
}

TEST(Allocate, FastMemoryPolicyOfTheEnvironment) {
  const struct {
    const char *variable, *value;
    i32 policy;
  } rows[] = {{"FOR_FASTMEM_RETRY", "yes", FOR_FASTMEM_POLICY_RETRY},
              {"FOR_FASTMEM_RETRY_WARN", "1", FOR_FASTMEM_POLICY_RETRY_WARN},
              {"FOR_FASTMEM_NORETRY", "T", FOR_FASTMEM_POLICY_NORETRY},
              {"FOR_FASTMEM_RETRY", "0", FOR_FASTMEM_POLICY_NORETRY}};
  for (const auto& row : rows) {
    const Child_Result result = run_child([&row] {
      setenv(row.variable, row.value, 1);
      setenv("FOR_DISABLE_KMP_MALLOC", "1", 1);
      for_rtl_init_(nullptr, nullptr);
      EXPECT_EQ(for_set_fastmem_policy(0), row.policy);
      void* where = nullptr;
      EXPECT_EQ(for_allocate(8, &where, FA_STAT | FA_FASTMEM),
                row.policy == FOR_FASTMEM_POLICY_NORETRY ? MSG_FASTMEM_NOT_LINKED : 0);
    });
    EXPECT_EQ(result.err, row.policy != FOR_FASTMEM_POLICY_RETRY_WARN
                              ? ""
                              : "tamrtl: warning (183): FASTMEM allocation is requested but the libmemkind library is "
                                "not linked in, so using the default allocator.\n");
  }
}

/// The product of any number of factors, or the word as it was when it does not fit.
template <class Word, class... Factors>
void expect_product(int (*entry)(Word*, int, ...), Factors... factors) {
  unsigned __int128 exact = 1;
  bool fits = true;
  for (const Word factor : std::initializer_list<Word>{factors...}) {
    exact *= factor;
    fits = fits && exact <= std::numeric_limits<Word>::max();
  }
  Word got = 99;
  EXPECT_EQ(entry(&got, sizeof...(factors), factors...), !fits);
  EXPECT_EQ(got, fits ? static_cast<Word>(exact) : Word{99});
}

TEST(Allocate, Products) {
  std::mt19937_64 random(1);
  const auto any = [&random] { return random() >> random() % 64; };
  for (int i = 0; i < 2000; ++i) {
    const u64 a = any(), b = any();
    const u32 c = static_cast<u32>(a), d = static_cast<u32>(any() >> 32), e = static_cast<u32>(b) % 3;
    expect_product(for_check_mult_overflow64, a, b);
    expect_product(for_check_mult_overflow, c, d);
    expect_product(for_check_mult_overflow, e, d, u32{7});
  }
  expect_product(for_check_mult_overflow, 65536u, 65536u, 0u, 1u);  // stays too large
  u32 none = 99;
  EXPECT_EQ(for_check_mult_overflow(&none, 0), 0);
  EXPECT_EQ(none, 0u);
}

TEST(Allocate, DopeVectorSize) {
  Descriptor d = Descriptor(8, 2).shape({3, 4});
  EXPECT_EQ(_f90_dope_vector_size(nullptr), -1);
  EXPECT_EQ(_f90_dope_vector_size(d), -1);
  EXPECT_EQ(_f90_dope_vector_size(d.flags(DV_DEFINED)), 96);
  EXPECT_EQ(_f90_dope_vector_size(Descriptor(24).flags(DV_DEFINED)), 24);
}

/// A request of one block.
void* common(const char* name, i64 size, u64 flags = 0) {
  void* address = nullptr;
  For_Dyncom_Request request = {1, "caller", flags, {{name, &address, size}}};
  f90_dyncom(&request);
  return address;
}

TEST(DynamicCommon, BlocksAreFoundByTheirFullName) {
  run_child([] {
    // "abc" and "aac" hash alike.
    u8* abc = static_cast<u8*>(common("abc", 13, DCR_FILL));
    u8* aac = static_cast<u8*>(common("aac", 16));
    ASSERT_NE(abc, nullptr);
    ASSERT_NE(aac, nullptr);
    EXPECT_NE(abc, aac);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(abc[i], 0x81);
    memset(abc, 1, 16);
    EXPECT_EQ(common("abc", 5, DCR_FILL), abc);
    EXPECT_EQ(common("abc", 16, DCR_FILL), abc);  // 13 was rounded up
    EXPECT_EQ(abc[15], 1);
    EXPECT_EQ(common("aac", 16), aac);
    EXPECT_NE(common("", 8), nullptr);
    For_Dyncom_Request none = {-1, "caller", 0, {}};
    f90_dyncom(&none);
  });
}

i64 given;
std::string asked_name;

TEST(DynamicCommon, AnInstalledAllocatorMayGiveMore) {
  run_child([] {
    EXPECT_EQ(for__set_ftn_alloc([](void** address, i64* size, const char* name) {
                asked_name = name;
                *size += given;
                *address = calloc(1, static_cast<size_t>(*size));
                return 0;
              }),
              nullptr);
    given = 64;
    const std::string name(300, 'n');
    u8* block = static_cast<u8*>(common(name.c_str(), 8, DCR_FILL));
    EXPECT_EQ(block[71], 0x81);
    EXPECT_EQ(asked_name, std::string(255, 'n'));
    EXPECT_EQ(common(name.c_str(), 72), block);
  });
}

TEST(DynamicCommon, FailuresEndTheProgram) {
  const std::string title = "\ntamrtl: Allocate Dynamic Common Error - ";
  const std::string end = "tamrtl: severe (585): array not allocated\n";
  Child_Result result = run_child([] { common("blk", 16), common("blk", 17); });
  EXPECT_EQ(result.status, 585 & 0xFF);
  EXPECT_EQ(result.err, title + "Inconsistent Common Size\n The current size of dynamic common blk is 16\n" +
                            " The declared size in procedure caller is 17 bytes\n" + end);
  for (i64 size : {i64{-8}, i64{0}, i64{1} << 62, INT64_MAX}) {
    result = run_child([size] { common("blk", size); });
    EXPECT_EQ(result.status, 585 & 0xFF);
    const std::string text = title + "Allocation Failure\n The allocation of dynamic common blk of size " +
                             std::to_string(size) + " in procedure caller failed\n" + end;
    EXPECT_TRUE(result.err.ends_with(text)) << result.err;
  }
  // Both the block and its node.
  for (long n : {1, 2}) {
    result = run_child([n] {
      Fail_Vm fail(n);
      common("blk", 8);
    });
    EXPECT_EQ(result.status, 585 & 0xFF);
  }
}

}  // namespace
