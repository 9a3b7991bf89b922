! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Statements of the library and of libgfortran on one unit: the order of the bytes is the order of the program.
program mixed
  implicit none
  integer :: i
  real :: x = 2.5
  character(30) :: line
  namelist /group/ i
  print *, 'list', 1
  write (*, '(a, i0)') 'format ', 2
  print *, 'list', 3
  do i = 4, 9
    if (mod(i, 2) == 0) then
      write (6, '(a, i0)') 'format ', i
    else
      write (6, *) 'list', i
    end if
  end do
  write (*, '(a)', advance='no') 'prompt:'
  print *, 'answer'
  i = 10
  write (*, nml=group)
  print *, 'after namelist'
  write (line, *) 11, x
  print *, trim(line)
  flush (6)
  print '(a)', 'short format'
  call flush(6)
  write (*, '(i5)', iostat=i) 'not an integer'
  print *, i > 0, 1.5
  write (*, '(a)', err=10, iostat=i) 'no', 'error'
  print *, i, 2.5
10 print *, 'end'
  write (*, '(a)') 'last'
end program
