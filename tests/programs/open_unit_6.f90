! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A program that connects unit 6 to a file leaves the library out of it from then on.
! compare: stderr
program open_unit_6
  implicit none
  character(40) :: line
  integer :: i
  print *, 'to standard output'
  open (6, file='unit6.txt')
  print *, 'to the file', 1
  write (6, '(a)') 'formatted'
  close (6)
  open (newunit=i, file='unit6.txt')
  read (i, '(a)') line
  write (0, *) index(line, 'to the file') > 0
  read (i, '(a)') line
  write (0, *) trim(line)
  close (i, status='delete')
end program
