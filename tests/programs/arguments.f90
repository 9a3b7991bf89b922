! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! The argument vector reaches the library's start and libgfortran.
! args: one "two words"
program arguments
  implicit none
  character(20) :: word
  character(5) :: short
  character(0) :: none
  integer :: i, length, status
  print *, command_argument_count()
  do i = 1, command_argument_count()
    call get_command_argument(i, word)
    print *, trim(word)
  end do
  do i = -1, 3, 2  ! what is not there
    call get_command_argument(i, short, length, status)
    print '(i0,3a,2(1x,i0))', i, '[', short, ']', length, status
  end do
  call get_command_argument(2, short, length, status)
  print '(3a,2(1x,i0))', '[', short, ']', length, status
  call get_command_argument(2, none, length, status)
  print '(i0,1x,i0)', length, status
  call get_command_argument(1, length=length)
  print '(i0)', length
  call get_command(length=length, status=status)
  call get_command_argument(0, length=i)
  print '(i0,1x,i0)', length - i, status
  call getarg(2, short)
  print '(3a,1x,i0)', '[', short, ']', iargc()
  call getarg(7, short)
  print '(3a)', '[', short, ']'
end program
