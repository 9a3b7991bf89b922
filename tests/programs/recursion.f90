! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A recursive statement without IOSTAT= ends the program.
! status: 40
! stderr: recursive I/O operation, unit 6
program recursion
  implicit none
  print *, 'before'
  print *, 'outer', inner(1)
  print *, 'not reached'
contains
  integer function inner(n)
    integer, intent(in) :: n
    print *, 'inner', n
    inner = n
  end function
end program
