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

std::atomic<Owned_Unit*> g_owners[kOwnerBuckets];
bool g_peers_unformatted;
For_IO_Flags g_connection_flags = iof_extended | iof_f90_rtl | iof_buffered_io | iof_minus_zero;

namespace {

std::atomic<int> g_ours;
pthread_mutex_t g_mutex = PTHREAD_MUTEX_INITIALIZER;
bool g_serves_files;
bool g_buffers_stdout;

/// The caller holds the mutex.
Owned_Unit& find_or_make(i32 unit) {
  if (Owned_Unit* entry = find_owned_unit(unit)) return *entry;
  auto* entry = static_cast<Owned_Unit*>(calloc(1, sizeof(Owned_Unit)));
  if (entry == nullptr) refuse("no memory for unit %d", unit);
  std::atomic<Owned_Unit*>& bucket = owner_bucket(unit);
  entry->unit = unit;
  entry->next = bucket.load(std::memory_order_relaxed);
  bucket.store(entry, std::memory_order_release);
  return *entry;
}

/// The caller holds the mutex.
void change_owner(Owned_Unit& entry, Owner owner) {
  const Owner before = entry.owner.exchange(owner, std::memory_order_release);
  g_ours += (owner == Owner::ours) - (before == Owner::ours);
}

}  // namespace

bool serves_files() { return g_serves_files; }

void leave_unformatted_to_peer() { __atomic_store_n(&g_peers_unformatted, true, __ATOMIC_RELAXED); }

void read_files_environment() {
  if (getenv("GFORTRAN_CONVERT_UNIT") != nullptr) leave_unformatted_to_peer();
  constexpr const char* kFiles = "TAMRUN_GNU_FILES";
  g_serves_files = getenv(kFiles) != nullptr ? for_check_env_name(kFiles) : !program_needs_peers_files();
  g_buffers_stdout = isatty(STDOUT_FILENO) == 0;
}

void set_owner(i32 unit, Owner owner) {
  pthread_mutex_lock(&g_mutex);
  change_owner(find_or_make(unit), owner);
  pthread_mutex_unlock(&g_mutex);
}

Owner claim(i32 unit, Owner owner) {
  if (const Owner now = owner_of(unit); now != Owner::none) return now;
  pthread_mutex_lock(&g_mutex);
  Owned_Unit& entry = find_or_make(unit);
  if (entry.owner == Owner::none) change_owner(entry, owner);
  const Owner settled = entry.owner;
  pthread_mutex_unlock(&g_mutex);
  return settled;
}

bool any_unit_is_ours() { return g_ours > 0; }

void flush_our_files(const i32* unit) {
  if (!any_unit_is_ours()) return;
  for (std::atomic<Owned_Unit*>& bucket : g_owners) {
    for (const Owned_Unit* entry = bucket.load(std::memory_order_acquire); entry != nullptr; entry = entry->next) {
      if (entry->owner != Owner::ours || (unit != nullptr && *unit != entry->unit)) continue;
      For_Context context{};
      (void)for_flush(&context, entry->unit, connection_flags(entry->unit) | iof_iostat);
    }
  }
}

For_IO_Flags connection_flags_of_stdout() {
  return g_buffers_stdout ? g_connection_flags | iof_buffered_stdout : g_connection_flags;
}

void store_outcome(Gfc_Common& common, int result) {
  const u32 outcome = result == FOR_IOS_END   ? GFC_OUTCOME_END
                      : result == FOR_IOS_EOR ? GFC_OUTCOME_EOR
                                              : GFC_OUTCOME_ERROR;
  common.flags = (common.flags & ~static_cast<u32>(GFC_OUTCOME_MASK)) | outcome;
  if ((common.flags & GFC_IOSTAT) != 0) *common.iostat = result;
}
