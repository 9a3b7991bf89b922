! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Compiled without the sign of zero.
! flags: -fno-sign-zero
program zero_signs
  implicit none
  print *, -0.0, -0.0d0, (-0.0, 0.0), -1.0
end program
