// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Long chains of objects must not take a frame each.
#ifndef TAMRUN_TESTS_OBJECTS_SMALL_STACK_H
#define TAMRUN_TESTS_OBJECTS_SMALL_STACK_H

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>

namespace tamrun_test {

/// Runs `body` in a thread with a stack of 256 KiB.
inline void on_small_stack(std::function<void()> body) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 256 << 10);
  pthread_t thread;
  const auto run = [](void* function) -> void* { return (*static_cast<std::function<void()>*>(function))(), nullptr; };
  ASSERT_EQ(pthread_create(&thread, &attributes, run, &body), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

}  // namespace tamrun_test

#endif
