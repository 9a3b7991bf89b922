! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A procedure of a C program: nobody has started the library before its first statement.
! with: from_c_main.c
! status: 7
subroutine greet(n) bind(c)
  use, intrinsic :: iso_c_binding, only: c_int
  implicit none
  integer(c_int), value :: n
  print *, 'called from C', n
end subroutine
