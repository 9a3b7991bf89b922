! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A report in fixed columns goes to a file and is read back column by column.
program report
  implicit none
  type entry
    character(12) :: name
    integer :: pieces
    real(8) :: price
  end type
  type(entry) :: stock(4) = [entry('bolt', 1200, 0.05d0), entry('nut', 15, 0.0325d0), entry('engine', 3, 1234.5d0), &
                             entry('a longer name', -7, 99999999d0)]
  type(entry) :: back
  character(60) :: line
  integer :: u, i, status, total
  open (newunit=u, file='report.txt', status='replace', action='write')
  write (u, 10) 'name', 'pieces', 'price'
  write (u, '(33("-"))')
  do i = 1, size(stock)
    write (u, 20) stock(i)
  end do
  write (u, '(/,a,t13,i8,/)') 'total', sum(stock%pieces)
  close (u)
10 format (a12, a8, a13)
20 format (a12, i8, f13.4)

  open (newunit=u, file='report.txt', status='old', action='read', iostat=status)
  if (status /= 0) stop 1
  do
    read (u, '(a)', end=30) line
    write (*, '(3a)') '|', trim(line), '|'
  end do
30 close (u)

  open (newunit=u, file='report.txt', status='old', action='read')
  read (u, '(/)')
  total = 0
  do i = 1, size(stock)
    read (u, 20, iostat=status) back
    if (i < 4 .and. back%price /= stock(i)%price) print *, 'price', i
    if (status == 0) total = total + back%pieces
    print '(a,1x,i0,1x,l1)', trim(back%name), back%pieces, status == 0
  end do
  read (u, '(/,t13,i8)') i
  print '(2(i0,1x))', i, total
  close (u, status='delete')
end program
