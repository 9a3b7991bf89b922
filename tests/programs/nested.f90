! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Functions in the list of a statement that write and read themselves: other units are free, the same one is reported.
! merge: yes
module functions
  implicit none
  integer :: numbers, same
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
  integer function formatted(n) result(status)
    integer, intent(in) :: n
    character(40) :: message
    message = ''
    write (same, '(i0)', iostat=status, iomsg=message) n
    write (0, *) message(1:23)
  end function
  character(8) function internal(n)
    integer, intent(in) :: n
    write (internal, '(i8.8)') n
  end function
  integer function next()
    read (numbers, *) next
    write (0, '(a,i3)') 'read', next
  end function
end module

program nested
  use functions
  implicit none
  character(40) :: line
  integer :: u, i
  print *, 'start', traced(1), traced(2)
  print *, internal(77), internal(78)
  print *, 'status', deep(3)
  same = 6
  print *, 'status', formatted(5)
  write (*, '(2(a, i0))') 'format ', traced(3), ' and ', traced(4)

  open (newunit=numbers, file='numbers', status='replace')
  write (numbers, '(i0)') (i * 11, i=1, 9)
  rewind (numbers)
  open (newunit=u, file='result', status='replace')
  same = u
  write (u, '(3i4)') next(), next()
  write (u, *) next(), next(), [(next(), i=1, 2)]
  write (u, '(a,2i4)') 'status', formatted(1), formatted(2)
  rewind (u)
  do
    read (u, '(a)', end=10) line
    print '(a)', trim(line)
  end do
10 close (u)
end program
