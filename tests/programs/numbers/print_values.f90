! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! print_values COUNT: prints as many values of every kind, each in a record of its own.
program print_values
  use values
  implicit none
  integer :: i, count
  character(12) :: word
  real(16) :: parts(2)
  call get_command_argument(1, word)
  read (word, *) count
  do i = 1, count
    print *, int(random_integer(1), 1)
    print *, int(random_integer(2), 2)
    print *, int(random_integer(4), 4)
    print *, int(random_integer(8), 8)
    print *, random_integer(16)
    print *, real(random_real(4), 4)
    print *, real(random_real(8), 8)
    print *, random_real(16)
    parts = [random_real(4), random_real(4)]
    print *, cmplx(parts(1), parts(2), 4)
    parts = [random_real(8), random_real(8)]
    print *, cmplx(parts(1), parts(2), 8)
    parts = [random_real(16), random_real(16)]
    print *, cmplx(parts(1), parts(2), 16)
  end do
end program
