! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Functions in an output list that write themselves: other units are free, the same unit is reported.
! merge: yes
module functions
  implicit none
contains
  integer function traced(n)
    integer, intent(in) :: n
    write (0, *) 'in traced', n
    traced = 2 * n
  end function
  recursive integer function deep(n) result(value)
    integer, intent(in) :: n
    integer :: status
    status = -99
    value = n
    if (n > 0) write (*, *, iostat=status) 'never seen', deep(n - 1)
    value = status
  end function
  integer function formatted(n)
    integer, intent(in) :: n
    integer :: status
    character(40) :: message
    message = ''
    write (*, '(i0)', iostat=status, iomsg=message) n
    write (0, *) message(1:23)
    formatted = status
  end function
  character(8) function internal(n)
    integer, intent(in) :: n
    write (internal, '(i8.8)') n
  end function
end module

program nested
  use functions
  implicit none
  print *, 'start', traced(1), traced(2)
  print *, internal(77), internal(78)
  print *, 'status', deep(3)
  print *, 'status', formatted(5)
  write (*, '(2(a, i0))') 'format ', traced(3), ' and ', traced(4)
  print *, 'end'
end program
