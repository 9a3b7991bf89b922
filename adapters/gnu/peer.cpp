// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Finding the peer's entry points.

#include "adapters/gnu/peer.h"

#include <dlfcn.h>
#include <pthread.h>

#include "adapters/gnu/refuse.h"

namespace {

Peer g_peer;
pthread_once_t g_once = PTHREAD_ONCE_INIT;

void* find(const char* name) {
  void* found = dlsym(RTLD_NEXT, name);
  if (found == nullptr) refuse("the shared libgfortran behind libtamgnu has no %s", name);
  return found;
}

void find_all() {
#define TAMGNU_FIND(name, result, arguments) \
  g_peer.name = reinterpret_cast<result(*) arguments>(find("_gfortran_" #name));
  TAMGNU_PEER_LIST(TAMGNU_FIND)
#undef TAMGNU_FIND
}

}  // namespace

const Peer& peer() {
  pthread_once(&g_once, find_all);
  return g_peer;
}
