// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Taking units for statements and giving them back.

#include "units/unit_table.h"

#include <gtest/gtest.h>

#include <vector>

#include "acquire.h"
#include "core/locks.h"
#include "support/child.h"
#include "support/fail_malloc.h"
#include "tamrun/fmt_isb.h"
#include "tamrun/messages.h"
#include "units/lub_lock.h"

namespace {

using namespace tamrun_test;

int try_acquire(int unit, int statement) {
  For_Lub* lub = nullptr;
  const int status = for__acquire_lun(unit, &lub, nullptr, statement);
  if (status != 0) {
    EXPECT_EQ(nullptr, lub);
  }
  return status;
}

void expect_idle(const For_Lub& lub) {
  EXPECT_EQ(0u, lub.lub_thread);
  EXPECT_FALSE(lub.lub_f_busy);
  EXPECT_EQ(0u, lub.lub_resource.res_guard);
  EXPECT_EQ(0u, lub.lub_resource.res_holds);
  EXPECT_EQ(0u, lub.lub_resource.res_owned);
}

class UnitTable : public testing::TestWithParam<int> {
 protected:
  void SetUp() override { for__reentrancy_mode = GetParam(); }
  void TearDown() override { for__reentrancy_mode = FOR_K_REENTRANCY_THREADED; }
};
INSTANTIATE_TEST_SUITE_P(Modes, UnitTable, testing::Values(0, 1, 2));

TEST_P(UnitTable, AStatementHoldsItsUnitFromFirstToLastCall) {
  for (int unit : {7, 99, 100, 2147483647}) {
    For_Context ctx = {};
    For_Lub* lub = acquire(unit, STMT_WRITE_SEQ, &ctx);
    ASSERT_NE(nullptr, lub);
    EXPECT_EQ(unit, lub->lub_unit);
    EXPECT_EQ(lub, ctx.ctx_lub);
    EXPECT_EQ(&ctx, lub->lub_a_context);
    EXPECT_EQ(STMT_WRITE_SEQ, lub->lub_statement);
    EXPECT_EQ(DEFAULT_ORDINARY, lub->lub_default_state);
    EXPECT_EQ(MSG_RECURSIVE_IO, try_acquire(unit, STMT_READ));

    // An INQUIRE of the same thread shares the hold and leaves the statement as it was.
    For_Context inquire = {};
    EXPECT_EQ(lub, acquire(unit, STMT_INQUIRE, &inquire));
    EXPECT_EQ(lub, inquire.ctx_lub);
    EXPECT_EQ(0, for__release_lun(unit));
    EXPECT_EQ(STMT_WRITE_SEQ, lub->lub_statement);
    EXPECT_EQ(MSG_RECURSIVE_IO, try_acquire(unit, STMT_WRITE_SEQ));

    EXPECT_EQ(0, for__release_lun(unit));
    EXPECT_EQ(nullptr, ctx.ctx_lub);
    expect_idle(*lub);
    EXPECT_EQ(0, for__release_lun(unit)) << "a second release does nothing";
    expect_idle(*lub);
    EXPECT_EQ(lub, acquire(unit, STMT_READ)) << "the block stays";
    EXPECT_EQ(0, for__deallocate_lub(unit));
  }
}

TEST_P(UnitTable, NegativeUnitsExistOnlyByRequest) {
  EXPECT_EQ(MSG_INVALID_UNIT, try_acquire(-7, STMT_WRITE));
  EXPECT_EQ(MSG_INVALID_UNIT, try_acquire(-40000, STMT_OPEN));
  EXPECT_EQ(MSG_INVALID_UNIT, try_acquire(UNIT_INTERNAL_TOP, STMT_WRITE)) << "no internal file is open";
  For_Lub* lub = acquire(-7, STMT_OPEN_NEWUNIT);
  EXPECT_EQ(STMT_OPEN, lub->lub_statement);
  EXPECT_EQ(0, for__release_lun(-7));
  drop(-7);
  EXPECT_EQ(MSG_INVALID_UNIT, try_acquire(-7, STMT_WRITE));
}

TEST_P(UnitTable, StatementMarks) {
  For_Lub* lub = acquire(12, STMT_REWIND);
  EXPECT_TRUE(lub->lub_f_after_rewind);
  for (int statement : {STMT_INQUIRE, STMT_WAIT, STMT_EOF}) {
    EXPECT_EQ(0, for__release_lun(12));
    acquire(12, statement);
    EXPECT_TRUE(lub->lub_f_after_rewind) << statement;
  }
  lub->lub_f_nml_position = lub->lub_f_ldio_read = 1;
  EXPECT_EQ(0, for__release_lun(12));
  acquire(12, STMT_READ);
  EXPECT_FALSE(lub->lub_f_after_rewind);
  EXPECT_FALSE(lub->lub_f_nml_position);
  EXPECT_FALSE(lub->lub_f_ldio_read);
  EXPECT_EQ(0, for__deallocate_lub(12));
}

TEST_P(UnitTable, InternalFilesFormAStackPerThread) {
  For_Context outer_ctx = {}, inner_ctx = {}, child_ctx = {};
  acquire(UNIT_INTERNAL, STMT_WRITE);
  EXPECT_EQ(0, for__release_lun(UNIT_INTERNAL));
  const long blocks = vm_live_blocks();
  For_Lub* outer = acquire(UNIT_INTERNAL, STMT_WRITE, &outer_ctx);
  EXPECT_EQ(UNIT_INTERNAL, outer->lub_unit);
  ASSERT_NE(nullptr, outer->lub_a_fmt_isb);
  EXPECT_EQ(outer->lub_a_fmt_isb, outer->lub_a_ldir_isb);
  EXPECT_EQ(outer, outer->lub_a_fmt_isb->isb_lub);
  For_Lub* inner = acquire(UNIT_INTERNAL_TOP, STMT_READ, &inner_ctx);
  EXPECT_NE(outer, inner);
  EXPECT_EQ(outer, inner->lub_a_internal_next);
  inner->lub_udio_depth = 1;
  EXPECT_EQ(inner, acquire(UNIT_INTERNAL_TOP, STMT_READ, &child_ctx));
  EXPECT_EQ(0, for__release_lun(UNIT_INTERNAL));
  EXPECT_EQ(inner, acquire(UNIT_INTERNAL_TOP, STMT_READ, &child_ctx)) << "a child's end pops nothing";
  inner->lub_udio_depth = 0;
  inner->lub_a_context = &inner_ctx;
  EXPECT_EQ(0, for__release_lun(UNIT_INTERNAL));
  EXPECT_EQ(0, for__deallocate_lub(UNIT_INTERNAL)) << "the same";
  EXPECT_EQ(nullptr, inner_ctx.ctx_lub);
  EXPECT_EQ(nullptr, outer_ctx.ctx_lub);
  EXPECT_EQ(0, for__release_lun(UNIT_INTERNAL)) << "nothing left to pop";
  EXPECT_EQ(blocks, vm_live_blocks()) << "one unit is kept for the next statement";
}

TEST_P(UnitTable, EveryAllocationMayFail) {
  acquire(UNIT_INTERNAL, STMT_WRITE);
  EXPECT_EQ(0, for__release_lun(UNIT_INTERNAL));
  const long blocks = vm_live_blocks();
  for (int unit : {13, 500, int{UNIT_INTERNAL}}) {
    bool hit = true;
    for (long n = 1; hit; ++n) {
      For_Lub* lub = nullptr;
      Fail_Vm fail(n);
      int status = for__acquire_lun(unit, &lub, nullptr, STMT_OPEN);
      if (status == 0) status = for__deallocate_lub(unit);
      hit = fail.hit();
      EXPECT_EQ(hit ? MSG_NO_MEMORY : 0, status) << unit << " " << n;
      if (hit && lub != nullptr) expect_idle(*lub);
    }
    if (unit != UNIT_INTERNAL) drop(unit);
    EXPECT_EQ(blocks, vm_live_blocks()) << unit;
  }
}

TEST(UnitTableErrors, NullResultIsAnInternalError) {
  const auto child = run_child([] { (void)for__acquire_lun(1, nullptr, nullptr, STMT_READ); });
  EXPECT_EQ(MSG_INTERNAL_CONSISTENCY, child.status);
  EXPECT_EQ(MSG_UNIT_PROMPT, acquire_lub_resource(nullptr, STMT_READ));
}

}  // namespace
