! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! GFORTRAN_STDOUT_UNIT gives standard output another number: unit 6 is then an ordinary unit of libgfortran.
! env: GFORTRAN_STDOUT_UNIT=8
program stdout_unit
  implicit none
  character(40) :: line
  write (6, *) 'in a file'
  rewind (6)
  read (6, '(a)') line
  write (8, '(a)') trim(adjustl(line))
  close (6, status='delete')
end program
