/* SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception */
/* Main program of from_c.f90. */
void greet(int n);

int main(void) {
  greet(1);
  greet(2);
  return 7;
}
