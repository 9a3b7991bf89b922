// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Start-up and shutdown: what happens, in which order, and how often.

#include "core/start.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <string>
#include <thread>
#include <vector>

#include "core/failure.h"
#include "core/locks.h"
#include "doubles.h"
#include "support/child.h"
#include "tamrun/messages.h"

namespace {

using tamrun_test::doubles;
using tamrun_test::run_child;
using Calls = std::vector<std::string>;

char name[] = "a.out", argument[] = "file";
char* arguments[] = {name, argument, nullptr};

TAMRUN_CHILD_TEST(Start, EverythingOnceInOrder) {
  int argc = 2;
  const time_t before = time(nullptr);
  for_rtl_init_(&argc, arguments);
  const Calls first = doubles().calls;
  EXPECT_EQ(first, (Calls{"pgas_init 2", "init_locks", "handlers", "preconnected", "aio_init", "io_sizes",
                          "hbw_policy 2", "hbw_availability"}));
  EXPECT_EQ(for__l_argc, 2);
  EXPECT_EQ(for__a_argv, arguments);
  EXPECT_EQ(for__l_current_arg, 1);
  EXPECT_EQ(for__reentrancy_initialized, 1);
  ASSERT_NE(for__l_excpt_info, nullptr);
  EXPECT_EQ(for__l_excpt_info->excpt_flags, 0u);
  EXPECT_EQ(for__l_excpt_info->excpt_context, nullptr);
  EXPECT_GE(for_process_start_time, static_cast<double>(before));
  EXPECT_LE(for_process_start_time, static_cast<double>(time(nullptr) + 1));

  const double start = for_process_start_time;
  argc = 1;
  doubles() = {};
  for_rtl_init_(&argc, nullptr);
  EXPECT_EQ(doubles().calls, Calls{"pgas_init 1"});
  EXPECT_EQ(for_process_start_time, start);
  EXPECT_EQ(for__l_argc, 2);
}

TAMRUN_CHILD_TEST(Start, WithoutArgumentsAndWithoutHandlers) {
  setenv("FOR_IGNORE_EXCEPTIONS", "Y", 1);
  setenv("FOR_FASTMEM_NORETRY", "1", 1);
  setenv("FOR_FASTMEM_RETRY", "T", 1);
  for_rtl_init_(nullptr, nullptr);
  EXPECT_EQ(doubles().calls, (Calls{"init_locks", "preconnected", "aio_init", "io_sizes", "hbw_policy 2",
                                    "fastmem_policy 1", "fastmem_policy 3", "hbw_availability"}));
  EXPECT_EQ(for__l_argc, 0);
  EXPECT_EQ(for__a_argv, nullptr);
  EXPECT_NE(for__l_excpt_info, nullptr);
}

TAMRUN_CHILD_TEST(Finish, ClosesEveryUnitOnceAndTakesTheLocksDown) {
  int argc = 1;
  for_rtl_init_(&argc, arguments);
  For_Lub open = {}, idle = {}, held = {};
  open.lub_unit = 3;
  open.lub_f_connected = 1;
  idle.lub_unit = 5;
  held.lub_unit = 4;
  doubles() = {};
  doubles().units = {{3, &open}, {4, &held}, {5, &idle}};
  doubles().held = {4};
  for__l_exit_hand_decl = 1;
  EXPECT_EQ(for_rtl_finish_(), 0);
  EXPECT_EQ(doubles().calls,
            (Calls{"pgas_finalize 0 0", "aio_release", "next 11", "close 3 1 0", "deallocate 3", "next 11", "next 11",
                   "deallocate 5", "next 11", "forget_owners", "no_signal_stack"}));
  EXPECT_EQ(for__l_excpt_info, nullptr);
  EXPECT_EQ(for__l_exit_hand_decl, 0);
  EXPECT_EQ(for__l_exit_termination, 0);
  EXPECT_EQ(for__reentrancy_mode, FOR_K_REENTRANCY_ASYNCH);

  doubles() = {};
  EXPECT_EQ(for__exit_handler(1, 77), 77);
  EXPECT_EQ(doubles().calls, Calls{"pgas_finalize 1 77"});
  EXPECT_EQ(for__l_exit_termination, 1);
}

TAMRUN_CHILD_TEST(Finish, TheUnprotectedModeComesBack) {
  for__reentrancy_mode = FOR_K_REENTRANCY_NONE;
  for__l_exit_hand_decl = 1;
  EXPECT_EQ(for__exit_handler(0, 5), 0);
  EXPECT_EQ(for__reentrancy_mode, FOR_K_REENTRANCY_NONE);
}

TAMRUN_CHILD_TEST(Finish, AFailingCloseIsToldAndTheOthersAreClosed) {
  const auto child = run_child([] {
    For_Lub bad = {}, good = {};
    char bad_name[] = "bad.txt";
    bad.lub_unit = 3;
    bad.lub_a_file_name = bad_name;
    good.lub_unit = 4;
    bad.lub_f_connected = good.lub_f_connected = 1;
    doubles().units = {{3, &bad}, {4, &good}};
    doubles().close_result = {{3, MSG_OUTPUT_CONVERSION}};
    for__l_exit_hand_decl = 1;
    for__exit_handler(0, 0);
    EXPECT_EQ(bad.lub_f_connected, 0u);
    EXPECT_EQ(doubles().calls, (Calls{"pgas_finalize 0 0", "aio_release", "next 11", "close 3 1 0", "deallocate 3",
                                      "next 11", "close 4 1 0", "deallocate 4", "next 11", "forget_owners"}));
  });
  EXPECT_EQ(child.err, "tamrtl: error (63): output conversion error, unit 3, file bad.txt\n");
}

TAMRUN_CHILD_TEST(Finish, ExitGivesItsStatusAndSummarisesFloatingPoint) {
  const auto child = run_child([] {
    for__l_fpe_mask = FPE_MSG_UND | FPE_MSG_OVF | FPE_MSG_DIV0 | FPE_MSG_INE;
    for__l_undcnt = 1;
    for__l_ovfcnt = 2;
    for__l_div0cnt = 3;
    for__l_invcnt = 4;  // its bit is clear
    int status = 17;
    for_exit(&status);
  });
  EXPECT_EQ(child.status, 17);
  EXPECT_EQ(child.err,
            "tamrtl: info (300): 1 floating underflow traps\n"
            "tamrtl: info (298): 2 floating overflow traps\n"
            "tamrtl: info (299): 3 floating divide-by-zero traps\n");
}

TAMRUN_CHILD_TEST(Start, ThreadsMayEnterTogether) {
  std::vector<std::thread> threads;
  // The doubles are not locked: what they note is checked to happen in one thread only.
  for (int i = 0; i < 8; ++i) threads.emplace_back([] { for_rtl_init_(nullptr, nullptr); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(doubles().calls, (Calls{"init_locks", "handlers", "preconnected", "aio_init", "io_sizes", "hbw_policy 2",
                                    "hbw_availability"}));
}

}  // namespace
