! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! REWIND, BACKSPACE, ENDFILE and INQUIRE on formatted files. What is printed is the same on the library and its peer.
program positions
  implicit none
  integer :: u, i, n, status, width
  integer(8) :: place, bytes
  real(8) :: values(5)
  logical :: there, open, named
  character(1000) :: line
  character(40) :: word
  character(20) :: answers(6)

  ! A file is written, gone back over and cut.
  open (newunit=u, file='records', status='replace', action='readwrite')
  do i = 1, 5
    write (u, '(a,i0)') 'record ', i
  end do
  rewind (u)
  read (u, '(a)') line
  print '(a)', trim(line)
  do i = 1, 2
    read (u, '(a)') line
  end do
  backspace (u)
  read (u, '(a)') line
  print '(a)', trim(line)
  backspace (u)
  backspace (u)
  write (u, '(a)') 'replaced'
  rewind (u)
  n = 0
  do
    read (u, '(a)', iostat=status) line
    if (status /= 0) exit
    n = n + 1
    print '(i0,1x,a)', n, trim(line)
  end do
  print '(l1,1x,l1)', is_iostat_end(status), n == 2

  ! Appending behind the end of the file, and cutting it off.
  backspace (u)
  write (u, '(i4)') (i, i=1, 300)
  do i = 1, 100
    backspace (u)
  end do
  read (u, '(i4)') n
  print '(i0)', n
  endfile (u)
  rewind (u)
  n = 0
  do
    read (u, '(a)', end=10) line
    n = n + 1
  end do
10 print '(i0)', n
  backspace (u)
  backspace (u)
  read (u, '(a)') line
  print '(a)', trim(line)
  close (u)

  ! What is asked by unit and by file.
  inquire (file='records', exist=there, opened=open, number=n)
  print '(l1,1x,l1,1x,i0)', there, open, n
  open (31, file='records', status='old', action='read', position='rewind', delim='quote', blank='zero', form='formatted')
  inquire (31, exist=there, opened=open, named=named, number=n, name=line, access=answers(1), form=answers(2), &
    action=answers(3), delim=answers(4), blank=answers(5), position=answers(6))
  print '(3(l1,1x),i0,6(1x,a))', there, open, named, n, (trim(answers(i)), i=1, 6)
  print '(a)', trim(line(index(line, '/', back=.true.) + 1:))
  inquire (31, sequential=answers(1), direct=answers(2), formatted=answers(3), unformatted=answers(4), read=answers(5), &
    write=answers(6))
  print '(6(a,1x))', (trim(answers(i)), i=1, 6)
  inquire (file='./records', opened=open, number=n, size=bytes)
  print '(l1,1x,i0,1x,l1)', open, n, bytes > 1000
  inquire (file='absent', exist=there, opened=open, number=n)
  print '(l1,1x,l1,1x,i0)', there, open, n
  close (31)
  inquire (31, opened=open, number=n, form=word)
  print '(l1,1x,i0,1x,a)', open, n, trim(word)

  ! A stream tells and takes positions.
  open (32, file='records', access='stream', form='formatted', status='replace')
  write (32, '(a)') 'abc', 'defg'
  inquire (32, pos=place, size=bytes, access=word)
  print '(i0,1x,i0,1x,a)', place, bytes, trim(word)
  read (32, '(a)', pos=5) line
  print '(a)', trim(line)
  backspace (32)
  read (32, '(a)') line
  print '(a)', trim(line)
  close (32, status='delete')

  ! Lengths of lists come from the compiler's side.
  inquire (iolength=width) values, n
  print '(i0)', width

  ! Failures.
  inquire (unit=77, exist=there, iostat=status)
  print '(l1,1x,i0)', there, status
end program
