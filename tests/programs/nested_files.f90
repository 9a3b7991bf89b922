! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Functions in the list of a statement on a file: other files are free, the same one is reported.
module functions
  implicit none
  integer :: numbers, log, same
contains
  integer function next()
    read (numbers, *) next
    write (log, '(a,i3)') 'read', next
  end function
  integer function recursive_write(n)
    integer, intent(in) :: n
    character(40) :: message
    message = ''
    write (same, '(i0)', iostat=recursive_write, iomsg=message) n
    write (log, '(a)') message(1:23)
  end function
end module

program nested_files
  use functions
  implicit none
  character(40) :: line
  integer :: u, i, k(3) = 0
  open (newunit=numbers, file='numbers', status='replace')
  write (numbers, '(i0)') (i * 11, i=1, 9)
  close (numbers)
  open (newunit=numbers, file='numbers', status='old', action='read')
  open (newunit=log, file='log', status='replace')
  open (newunit=u, file='result', status='replace')
  same = u
  write (u, '(3i4)') next(), next()
  write (u, *) next(), next(), [(next(), i=1, 2)]
  write (u, '(a,2i4)') 'status', recursive_write(1), recursive_write(2)
  write (u, '(a)') 'end'
  close (u)
  close (log)
  open (newunit=u, file='result', status='old')
  do i = 1, 2
    do
      read (u, '(a)', end=10) line
      print '(a)', trim(line)
    end do
10  close (u)
    open (newunit=u, file='log', status='old')
  end do
  open (newunit=log, file='rest', status='replace')
  open (newunit=u, file='numbers', status='old')
  read (u, *) k(next() / 66:)
  print '(3i4)', k
end program
