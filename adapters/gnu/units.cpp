// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// The table of owners, and what calls of the library have in common.

#include "adapters/gnu/units.h"

#include <pthread.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>

#include "adapters/gnu/imports.h"
#include "adapters/gnu/program.h"
#include "adapters/gnu/refuse.h"
#include "core/environment.h"
#include "tamrun/lub.h"
#include "tamrun/messages.h"
#include "tamrun/tamrun.h"

namespace {

/// One unit number that has ever had an owner. Entries stay, so that a look-up needs no lock.
struct Entry {
  i32 unit;
  std::atomic<Owner> owner;
  Entry* next;
};

constexpr u32 kBuckets = 256;  // a power of 2

std::atomic<Entry*> g_buckets[kBuckets];
std::atomic<int> g_ours;
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
bool g_serves_files;
bool g_buffers_stdout;
std::atomic<bool> g_peers_unformatted;

std::atomic<Entry*>& bucket_of(i32 unit) { return g_buckets[static_cast<u32>(unit) & (kBuckets - 1)]; }

Entry* find(i32 unit) {
  Entry* entry = bucket_of(unit).load(std::memory_order_acquire);
  while (entry != nullptr && entry->unit != unit) entry = entry->next;
  return entry;
}

/// The caller holds the mutex.
Entry& find_or_make(i32 unit) {
  if (Entry* entry = find(unit)) return *entry;
  auto* entry = static_cast<Entry*>(calloc(1, sizeof(Entry)));
  if (entry == nullptr) refuse("no memory for unit %d", unit);
  std::atomic<Entry*>& bucket = bucket_of(unit);
  entry->unit = unit;
  entry->next = bucket.load(std::memory_order_relaxed);
  bucket.store(entry, std::memory_order_release);
  return *entry;
}

/// The caller holds the mutex.
void change_owner(Entry& entry, Owner owner) {
  const Owner before = entry.owner.exchange(owner, std::memory_order_release);
  g_ours += (owner == Owner::ours) - (before == Owner::ours);
}

}  // namespace

bool serves_files() { return g_serves_files; }

bool serves_unformatted() { return !g_peers_unformatted.load(std::memory_order_relaxed); }

void leave_unformatted_to_peer() { g_peers_unformatted.store(true, std::memory_order_relaxed); }

void read_files_environment() {
  if (getenv("GFORTRAN_CONVERT_UNIT") != nullptr) leave_unformatted_to_peer();
  constexpr const char* kFiles = "TAMRUN_GNU_FILES";
  g_serves_files = getenv(kFiles) != nullptr ? for_check_env_name(kFiles) : !program_needs_peers_files();
  g_buffers_stdout = isatty(STDOUT_FILENO) == 0;
}

Owner owner_of(i32 unit) {
  const Entry* entry = find(unit);
  return entry == nullptr ? Owner::none : entry->owner.load(std::memory_order_acquire);
}

void set_owner(i32 unit, Owner owner) {
  pthread_mutex_lock(&g_mutex);
  change_owner(find_or_make(unit), owner);
  pthread_mutex_unlock(&g_mutex);
}

Owner claim(i32 unit, Owner owner) {
  if (const Owner now = owner_of(unit); now != Owner::none) return now;
  pthread_mutex_lock(&g_mutex);
  Entry& entry = find_or_make(unit);
  if (entry.owner == Owner::none) change_owner(entry, owner);
  const Owner settled = entry.owner;
  pthread_mutex_unlock(&g_mutex);
  return settled;
}

bool any_unit_is_ours() { return g_ours > 0; }

void flush_our_files(const i32* unit) {
  if (!any_unit_is_ours()) return;
  for (std::atomic<Entry*>& bucket : g_buckets) {
    for (const Entry* entry = bucket.load(std::memory_order_acquire); entry != nullptr; entry = entry->next) {
      if (entry->owner != Owner::ours || (unit != nullptr && *unit != entry->unit)) continue;
      For_Context context{};
      (void)for_flush(&context, entry->unit, connection_flags(entry->unit) | iof_iostat);
    }
  }
}

For_IO_Flags connection_flags(i32 unit) {
  For_IO_Flags flags = iof_extended | iof_f90_rtl | iof_buffered_io;
  if (keeps_sign_of_zero()) flags |= iof_minus_zero;
  if (unit == UNIT_STDOUT && g_buffers_stdout) flags |= iof_buffered_stdout;
  return flags;
}

For_IO_Flags specifier_flags(u32 gfc_flags) {
  For_IO_Flags flags = 0;
  if ((gfc_flags & GFC_ERR) != 0) flags |= iof_err;
  if ((gfc_flags & GFC_END) != 0) flags |= iof_end;
  if ((gfc_flags & GFC_EOR) != 0) flags |= iof_eor;
  if ((gfc_flags & GFC_IOSTAT) != 0) flags |= iof_iostat;
  return flags;
}

bool store_result(Gfc_Common& common, int result) {
  if (result == 0) return false;
  const u32 outcome = result == FOR_IOS_END   ? GFC_OUTCOME_END
                      : result == FOR_IOS_EOR ? GFC_OUTCOME_EOR
                                              : GFC_OUTCOME_ERROR;
  common.flags = (common.flags & ~static_cast<u32>(GFC_OUTCOME_MASK)) | outcome;
  if ((common.flags & GFC_IOSTAT) != 0) *common.iostat = result;
  return true;
}
