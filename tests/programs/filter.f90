! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A filter, in a pipe and on files: every line is numbered and goes out with its length. The last line has no end, the second ends with
! CR LF.
! input: first\nsecond\r\n\n  fourth  \nlast
! pipe: both
program filter
  implicit none
  character(20) :: line
  integer :: n, length, status
  n = 0
  do
    read (*, '(a)', advance='no', size=length, iostat=status) line
    if (is_iostat_end(status)) exit
    n = n + 1
    write (*, '(i2,i3,3a)') n, length, ' |', line(:length), '|'
  end do
  write (*, '(i0,a)') n, ' lines'
  read (*, '(a)', end=10) line
  write (*, '(a)') 'not here'
10 write (*, '(a)') 'end'
end program
