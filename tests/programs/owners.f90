! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Units of both owners side by side, and units that change their owner with an OPEN. The namelist group would leave all of
! them to libgfortran.
! env: TAMRUN_GNU_FILES=1
program owners
  implicit none
  integer :: u, v, w, i, status, length
  integer(8) :: place
  real(8) :: x
  character(20) :: line
  character(60) :: message
  logical :: there
  namelist /group/ i, x
  open (newunit=u, file='ours', status='replace')
  open (newunit=v, file='direct', access='direct', asynchronous='yes', recl=10, &
        form='formatted', status='replace')
  open (newunit=w, file='unformatted', form='unformatted', status='replace')
  print '(l1)', u /= v .and. v /= w .and. u /= w .and. max(u, v, w) < -1
  do i = 1, 3
    write (u, '(i3)') i
    write (v, '(i10)', rec=4 - i) i
    write (w) i * 1.5d0
  end do
  rewind (w)
  read (w) x
  inquire (v, recl=length)
  read (v, '(i10)', rec=1) i
  print '(f4.1,2i3)', x, length, i
  close (u)
  close (v, status='delete')
  close (w, status='delete')

  ! One number, four connections.
  open (31, file='peers', asynchronous='yes', status='replace')
  write (31, '(a)') 'held back'
  open (31, file='ours')
  inquire (file='peers', size=length)
  print '(i0)', length
  read (31, '(i3)') i
  open (31, file='stream', access='stream', status='replace')
  write (31) 'abc', 7
  inquire (31, pos=place)
  open (31, file='ours', position='append')
  write (31, '(i3)') 4
  open (31, file='stream', access='stream', status='old', form='unformatted')
  read (31, pos=4) length
  close (31, status='delete')
  print '(4(i0,1x))', i, length, place
  open (31, file='ours', access='stream', form='formatted')
  read (31, '(i3)', pos=9) i
  read (31, *) length
  print '(2(i0,1x))', i, length
  close (31, status='delete')

  ! The first statement decides.
  i = 5
  x = 2.5d0
  write (32, nml=group)
  rewind (32)
  i = 0
  read (32, nml=group)
  print '(i0)', i
  write (33, '(a)') 'ours'
  close (32, status='delete')
  close (33)
  inquire (file='fort.33', exist=there)
  open (33, file='fort.33', status='old')
  read (33, '(a)', iostat=status) line
  close (33, status='delete')
  print '(2l2,1x,a)', there, status == 0, trim(line)

  ! Failures reach IOSTAT=, IOMSG= and ERR=.
  open (34, file='missing/file', iostat=status, iomsg=message)
  print '(i0,1x,a)', status, message(1:14)
  open (34, file='fort.34', status='new', action='write')
  read (34, '(i3)', iostat=status, iomsg=message) i
  print '(l1)', status > 0
  close (34, status='remove', iostat=status)
  print '(i0)', status
  close (34, status='delete')
  open (34, file='fort.34', status='old', err=10)
  print '(a)', 'not here'
10 close (35, iostat=status)
  print '(i0)', status
end program
