! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Where a file stands and what it is: FTELL, FSEEK, FNUM and ISATTY on units of the library. The number of a failed OPEN
! tells whose the units are.
program offsets
  implicit none
  integer :: u, i, status, small
  integer(8) :: place
  integer(1) :: tiny
  character(20) :: line
  open (newunit=u, file='lines', status='replace')
  do i = 1, 3
    write (u, '(a,i0)') 'line ', i
    print '(i0)', ftell(u)
  end do
  rewind (u)
  read (u, '(a)') line
  call ftell(u, small)
  print '(a,1x,i0)', trim(line), small
  call fseek(u, 14, 0, status)
  read (u, '(a)') line
  call ftell(u, place)
  print '(i0,1x,a,1x,i0)', status, trim(line), place
  call fseek(u, -14, 2)
  read (u, '(a)') line
  print '(a)', trim(line)
  call fseek(u, -7, 1)
  read (u, '(a)') line
  print '(a,1x,i0)', trim(line), ftell(u)
  call fseek(u, 0, 7, status)
  print '(l1)', status /= 0
  call fseek(u, 200, 0)
  call ftell(u, tiny)
  print '(i0)', tiny
  print '(3(l1,1x))', fnum(u) > 2, isatty(u), fnum(u) == fnum(u)
  close (u, status='delete')

  open (newunit=u, file='bytes', access='stream', status='replace')
  write (u) 'abcdef', 1
  print '(i0)', ftell(u)
  call fseek(u, 2, 0)
  read (u) line(1:2)
  print '(a,1x,i0)', line(1:2), ftell(u)
  close (u, status='delete')
  print '(i0)', ftell(77)
  open (newunit=u, file='missing', status='old', iostat=status)
  print '(i0)', status
end program
