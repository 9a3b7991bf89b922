! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A database of direct access records: written in random order, updated in place; then the same with text.
! The files themselves are read as streams at the end.
program database
  implicit none
  type account
    integer :: number
    real(8) :: balance
    character(12) :: owner
  end type
  integer, parameter :: total = 600, length = 24, line = 32, absent = 301
  type(account) :: a
  integer :: i, k, u, v, next, size_of_file, status(6)
  character(line) :: text
  character(60) :: message
  character(length) :: bytes

  open (newunit=u, file='accounts', access='direct', form='unformatted', recl=length, status='replace')
  do i = 0, total - 1
    k = modulo(i*277, total) + 1
    if (k /= absent) write (u, rec=k) account(k, k*0.5d0, name(k))
  end do
  inquire (u, nextrec=next)
  print '(a,i0)', 'next ', next
  do k = 3, total, 3
    read (u, rec=k) a
    a%balance = a%balance + 1
    write (u, rec=k) a
    read (u, rec=k) i  ! what was written is seen at once
    if (i /= k .or. a%owner /= name(k)) print *, 'lost', k, i, a%owner
  end do
  read (u, rec=absent) a
  print '(a,i0,1x,f3.1,1x,i0)', 'never written: ', a%number, a%balance, iachar(a%owner(1:1))

  message = ''
  read (u, rec=total + 1, iostat=status(1), iomsg=message) a
  read (u, rec=0, iostat=status(2)) a
  write (u, rec=-1, iostat=status(3)) a
  write (u, rec=1, iostat=status(4)) a, a
  read (u, rec=2, iostat=status(5)) a, a
  read (u, '(i4)', rec=2, iostat=status(6)) i
  print '(6(i0,1x),a)', status, message(1:38)
  ! A shorter record is filled, the last one lies behind a hole.
  write (u, rec=2) 2
  write (u, rec=total + 2) account(total + 2, 0, 'last')
  close (u)
  open (newunit=v, file='accounts', access='stream', form='unformatted', status='old')
  inquire (v, size=size_of_file)
  read (v, pos=length + 5) bytes(1:length - 4)
  print '(i0,1x,l1)', size_of_file - (total + 2)*length, bytes(1:length - 4) == repeat(char(0), length - 4)
  close (v, status='delete')

  open (newunit=u, file='lines', access='direct', form='formatted', recl=line, status='replace')
  do k = 20, 30
    write (u, '(i6,1x,a,f10.2)', rec=k) k, name(k), k/4.0
  end do
  write (u, '(a/a)', rec=10) 'ten', 'eleven'
  inquire (u, nextrec=next)
  read (u, '(i6/tr7,a)', rec=20) i, text
  print '(3(i0,1x),a)', next, i, len_trim(text), trim(text)
  read (u, '(a)', rec=31, iostat=status(1)) text
  write (u, '(a40)', rec=30, iostat=status(2)) 'long'
  read (u, '(a)', rec=30) text
  print '(2(i0,1x),a)', status(1:2), trim(text)
  close (u)
  open (newunit=v, file='lines', access='stream', form='formatted', status='old')
  read (v, '(a)', pos=9*line + 1) text
  print '(3a)', '[', text, ']'
  close (v, status='delete')
contains
  function name(k)
    integer, intent(in) :: k
    character(12) :: name
    write (name, '(a,i0)') 'owner', k
  end function
end program
