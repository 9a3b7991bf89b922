! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Records of 80 columns: where a list is longer, values go on in the next record.
program folding
  implicit none
  integer :: i
  print *, [(i, i = 1, 8)]
  print *, (i, i = 1, 45)
  print *, [(real(i), i = 1, 12)]
  print *, (i, 'item', i = 1, 6)
  print *, [(cmplx(i, -i), i = 1, 6)]
  print *, [(i > 3, i = 1, 45)]
  print *, repeat('x', 79)
  print *, 1, repeat('y', 70)
  print *, 1.0_16, 2.0_16, (1.0e-4000_16, -1.0e-4000_16)
end program
