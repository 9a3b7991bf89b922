! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A unit is closed while a repeated constant that had to be copied still has values left.
program repeated_text
  implicit none
  character(300) :: s
  open (9, file='text')
  write (9, '(a)') "7*'"//repeat("ab''", 60)//"'"
  close (9)
  open (9, file='text')
  read (9, *) s
  close (9)
  print '(a,i4)', s(1:7), len_trim(s)
end program
