! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A log that several OPENs append to, in turns with units that other owners have.
program journal
  implicit none
  integer :: u, v, i, status
  character(40) :: line
  open (newunit=u, file='log', status='new')
  write (u, '(a)') 'begin'
  close (u)
  do i = 1, 3
    open (newunit=u, file='log', status='old', position='append', action='write')
    open (newunit=v, status='scratch', form='unformatted')
    write (v) i * 111
    rewind (v)
    read (v) status
    write (u, '(a,i0)', advance='no') 'entry ', i
    write (u, '(a,i0)') ' value ', status
    close (v)
    close (u)
  end do
  open (17, file='log', access='append')
  write (17, *) 'list-directed'
  open (17, file='other')  ! closes the log
  write (17, '(a)') 'other'
  close (17, status='delete')
  open (17, file='log', status='old')
  do
    read (17, '(a)', iostat=status) line
    if (status /= 0) exit
    print '(2a)', '>', trim(line)
  end do
  print '(i0)', status
  close (17, status='delete')
  open (18, file='log', status='old', err=10)
  print *, 'not here'
10 print '(a)', 'gone'
  write (19, '(a)') 'default name'
  close (19)
  open (20, file='fort.19', status='old')
  read (20, '(a)') line
  print '(a)', trim(line)
end program
