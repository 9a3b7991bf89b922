! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Prompts without a line end stand in front of what comes next, on either stream.
! input: 12\nAda 3.5\n
! pipe: yes
! merge: yes
program prompts
  implicit none
  integer :: i
  character(10) :: name
  real :: x
  write (*, '(a)', advance='no') 'number? '
  read (*, '(i5)') i
  write (*, '(i0)') i
  write (*, '(a)', advance='no') 'name and value? '
  write (0, '(a)') '(waiting)'
  read (*, '(a4,f3.1)') name, x
  write (0, '(a)') '(read)'
  write (*, '(a,f4.1)') name, x
  write (*, '(a)', advance='no') 'open '
  print '(a)', 'end'
  write (*, '(a)', advance='no') 'last'
end program
