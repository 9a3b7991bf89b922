! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A table with commas is written by a format, read back list-directed with null values, repeat counts and quoted names,
! and written again with semicolons and decimal commas.
program csv
  implicit none
  integer, parameter :: rows = 4
  character(16), parameter :: names(rows) = [character(16) :: 'plain', 'two words', 'comma, inside', "it's"]
  character(16) :: name
  character(40) :: line
  integer :: u, i, count, status
  real(8) :: value, sum
  open (newunit=u, file='table.csv', status='replace')
  write (u, '(*(a,:,","))') 'name', 'count', 'value'
  do i = 1, rows
    write (u, '(3a,*(",",g0.4))') '"', trim(names(i)), '"', i * 10, i * 0.25d0
  end do
  write (u, '(a)') ',,7.5', '"last" 2*9 /', '"never'
  close (u)

  open (newunit=u, file='table.csv', status='old', action='read')
  read (u, '(a)') line
  print '(a)', trim(line)
  sum = 0
  do i = 1, rows + 2
    name = '(null)'
    count = -1
    read (u, *) name, count, value
    sum = sum + value
    print '(i1,3a,i4,f6.2,l2)', i, ' ', name, '|', count, value, i <= rows .and. name == names(min(i, rows))
  end do
  read (u, *, iostat=status) name
  print '(l1,f7.2)', status /= 0, sum
  close (u)

  open (newunit=u, file='table.csv', status='replace', decimal='comma', delim='quote')
  do i = 1, 3
    write (u, '(i0,*(:,";",f0.2))') i, i / 4d0, -i / 8d0
  end do
  close (u)
  open (newunit=u, file='table.csv', status='old', decimal='comma')
  do
    read (u, *, end=10) i, value, sum
    print *, i, value * 100, sum * 1000
  end do
10 close (u, status='delete')
end program
