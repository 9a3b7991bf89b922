! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Standard output closed by the caller of the program.
! stdout: closed
! compare: stderr
program closed
  implicit none
  integer :: status
  write (*, *, iostat=status) 'lost'
  write (0, *) status
end program
