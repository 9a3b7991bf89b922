! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! The argument vector reaches the library's start and libgfortran.
! args: one "two words"
program arguments
  implicit none
  character(20) :: word
  integer :: i
  print *, command_argument_count()
  do i = 1, command_argument_count()
    call get_command_argument(i, word)
    print *, trim(word)
  end do
end program
