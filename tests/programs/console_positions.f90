! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Standard input and output as files that BACKSPACE, REWIND and ENDFILE move in, before and behind a statement that the
! peer serves.
!
! input: one\ntwo\nthree\n
program console_positions
  implicit none
  integer :: i
  character(20) :: line
  namelist /number/ i

  print '(a)', 'is overwritten', 'is cut off'
  rewind 6
  do i = 1, 3
    read (*, '(a)') line
    print '(a)', trim(line)
  end do
  backspace 5
  read (*, '(a)') line
  print '(2a)', 'again ', trim(line)
  rewind 5
  read (*, '(a)') line
  print '(2a)', 'from the start ', trim(line)
  endfile 6
  i = 7
  write (*, nml=number)
  endfile 6
  print '(a)', 'behind both'
end program
