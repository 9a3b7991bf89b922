/* SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception */
/* PRINT *, 42, 'forty-two', as a C program that knows the installed library only. */
#include <tamrun/tamrun.h>

int main(int argc, char** argv) {
  static const u8 items[] = {ITM_INTEGER4, ACC_INLINE, ITM_CHARACTER, ACC_SCALAR, ITM_END_STATEMENT, 0};
  u64 words[] = {42, 9, (u64) "forty-two"};
  For_Context context = {0};
  for_rtl_init_(&argc, argv);
  int status = for_write_seq_lis(&context, 6, iof_f90_rtl, items, words);
  return for_rtl_finish_() != 0 ? 99 : status;
}
