// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// ALLOCATE in a program that links the LLVM OpenMP run-time and memkind, both as the system has them. Each call of the
// two libraries is noted on its way. kmpc_sharable_malloc, which neither has, is a substitute.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <set>
#include <string>
#include <thread>
#include <vector>

#include "objects/allocate.h"
#include "objects/fast_memory.h"
#include "objects/optional_heaps.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/hooks.h"
#include "tamrun/messages.h"

namespace {

thread_local std::vector<std::string> calls;
thread_local std::set<void*> sharable;

void note(const char* name, u64 a) { calls.push_back(std::string(name) + " " + std::to_string(a)); }

}  // namespace

extern "C" {

void* __real_kmp_aligned_malloc(size_t size, size_t alignment);
void __real_kmp_free(void* block);
void* __real___kmpc_aligned_alloc(i32 thread, size_t alignment, size_t size, u64 allocator);
void __real___kmpc_free(i32 thread, void* block, u64 allocator);
int __real_hbw_posix_memalign(void** block, size_t alignment, size_t size);
void __real_hbw_free(void* block);

void* __wrap_kmp_aligned_malloc(size_t size, size_t alignment) {
  note("kmp_aligned_malloc", alignment);
  return __real_kmp_aligned_malloc(size, alignment);
}
void __wrap_kmp_free(void* block) {
  note("kmp_free", 0);
  __real_kmp_free(block);
}
void* __wrap___kmpc_aligned_alloc(i32 thread, size_t alignment, size_t size, u64 allocator) {
  note("__kmpc_aligned_alloc", allocator);
  return __real___kmpc_aligned_alloc(thread, alignment, size, allocator);
}
void __wrap___kmpc_free(i32 thread, void* block, u64 allocator) {
  note("__kmpc_free", allocator);
  __real___kmpc_free(thread, block, allocator);
}
int __wrap_hbw_posix_memalign(void** block, size_t alignment, size_t size) {
  note("hbw_posix_memalign", alignment);
  return __real_hbw_posix_memalign(block, alignment, size);
}
void __wrap_hbw_free(void* block) {
  note("hbw_free", 0);
  __real_hbw_free(block);
}

void* kmpc_sharable_malloc(size_t size) {
  note("kmpc_sharable_malloc", size);
  return *sharable.insert(malloc(size)).first;
}
void kmpc_sharable_free(void* block) {
  note("kmpc_sharable_free", sharable.erase(block));
  free(block);
}

}  // extern "C"

namespace {

using tamrun_test::Child_Result;
using tamrun_test::run_child;
using tamrun_test::vm_live_blocks;

constexpr u32 omp_number(u32 n) { return n << FA_OMP_ALLOCATOR_SHIFT; }
constexpr u64 kDefaultAllocator = 1;  // omp_default_mem_alloc

struct Row {
  const char* what;
  u32 flags;
  u64 handle;
  std::vector<std::string> calls;  ///< empty: the aligned heap
};

void check(const Row& row) {
  SCOPED_TRACE(row.what);
  const long blocks = vm_live_blocks();
  void* block = nullptr;
  calls.clear();
  ASSERT_EQ(for_alloc_allocatable_handle(1000, &block, row.flags | FA_STAT, row.handle), 0);
  ASSERT_NE(block, nullptr);
  memset(block, 1, 1000);
  EXPECT_EQ(vm_live_blocks() - blocks, row.calls.empty());
  if ((row.flags & FA_SHARED) == 0) EXPECT_EQ(reinterpret_cast<u64>(block) % 32, 0u);
  EXPECT_EQ(for_dealloc_allocatable_handle(block, row.flags | FA_STAT, row.handle), 0);
  EXPECT_EQ(calls, row.calls);
  EXPECT_EQ(vm_live_blocks(), blocks);
}

TEST(OptionalHeaps, OpenMpAllocators) {
  const Row rows[] = {
      {"plain", 0, 0, {"kmp_aligned_malloc 32", "kmp_free 0"}},
      {"aligned", 7 << FA_ALIGN_LOG2_SHIFT, 0, {"kmp_aligned_malloc 128", "kmp_free 0"}},
      {"page", FA_PAGE_ALIGN, 0, {"kmp_aligned_malloc 4096", "kmp_free 0"}},
      {"number", FA_OMP | omp_number(1), 9, {"__kmpc_aligned_alloc 1", "__kmpc_free 1"}},
      {"other number", FA_OMP | omp_number(8), 9, {"__kmpc_aligned_alloc 8", "__kmpc_free 8"}},
      {"handle", FA_OMP | omp_number(15), kDefaultAllocator, {"__kmpc_aligned_alloc 1", "__kmpc_free 1"}},
      {"number without FA_OMP", omp_number(2), 0, {"kmp_aligned_malloc 32", "kmp_free 0"}},
      {"shared", FA_SHARED, 0, {"kmpc_sharable_malloc 1000", "kmpc_sharable_free 1"}},
  };
  for (const Row& row : rows) check(row);
  std::thread([&] {
    for (const Row& row : rows) check(row);
  }).join();
  void* block = &block;
  EXPECT_EQ(for_allocate(u64{1} << 62, &block, FA_STAT), MSG_NO_MEMORY);
  EXPECT_EQ(block, nullptr);
}

TEST(OptionalHeaps, FastMemory) {
  run_child([] {
    setenv("MEMKIND_HBW_NODES", "0", 1);  // ordinary memory passes for fast memory
    ASSERT_EQ(for_get_hbw_availability(), HBW_AVAILABLE);
    for__hbw_set_policy(2);
    check({"fast", FA_FASTMEM, 0, {"hbw_posix_memalign 32", "hbw_free 0"}});
    check({"fast, aligned", FA_FASTMEM | 9 << FA_ALIGN_LOG2_SHIFT, 0, {"hbw_posix_memalign 512", "hbw_free 0"}});
    check({"number 1", omp_number(1), 0, {"hbw_posix_memalign 32", "hbw_free 0"}});
    check({"before OpenMP", FA_FASTMEM | FA_OMP | omp_number(1), 0, {"hbw_posix_memalign 32", "hbw_free 0"}});
    void* block = &block;
    EXPECT_EQ(for_allocate(u64{1} << 60, &block, FA_STAT | FA_FASTMEM), MSG_NO_MEMORY);
    EXPECT_EQ(block, nullptr);
  });
}

TEST(OptionalHeaps, ANodeWithoutFastMemory) {
  const Child_Result result = run_child([] {
    if (hbw_check_available() == 0) GTEST_SKIP() << "this node has high-bandwidth memory";
    ASSERT_EQ(for_get_hbw_availability(), HBW_NO_MEMORY);
    void* block = &block;
    EXPECT_EQ(for_allocate(8, &block, FA_STAT | FA_FASTMEM), MSG_FASTMEM_NOT_AVAILABLE);
    EXPECT_EQ(block, nullptr);
    for_set_fastmem_policy(FOR_FASTMEM_POLICY_RETRY_WARN);
    check({"warned", FA_FASTMEM, 0, {}});
    for_set_fastmem_policy(FOR_FASTMEM_POLICY_RETRY);
    check({"silent", omp_number(1), 0, {}});
    for_set_fastmem_policy(FOR_FASTMEM_POLICY_NORETRY);
    for_allocate(8, &block, FA_FASTMEM);
  });
  if (result.err.empty()) return;
  EXPECT_EQ(result.status, MSG_FASTMEM_NOT_AVAILABLE);
  EXPECT_EQ(result.err,
            "tamrtl: warning (185): FASTMEM allocation is requested but HBW memory is not available, so using the "
            "default allocator.\n"
            "tamrtl: severe (186): FASTMEM allocation is requested but HBW memory is not available on this node.\n");
}

}  // namespace
