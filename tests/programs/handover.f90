! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A namelist behind other input: nothing has been read ahead of a pipe, what was of a file goes back, and the rest is the
! peer's.
! pipe: both
! input: 1 2\n3.5\n&group value = 42 /\n&group name = 'abc' /\n7 8\n
program handover
  implicit none
  integer :: i, j, value = 0
  real :: x
  character(5) :: name = '-'
  namelist /group/ value, name
  read (*, *) i, j
  read (*, '(f5.0)') x
  print *, i, j, x
  read (*, nml=group)
  read (*, group)
  print *, value, name
  read (*, *) i, j
  print *, i, j
end program
