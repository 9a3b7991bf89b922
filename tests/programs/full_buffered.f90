! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A device without room and output that is held back: the failure comes when it goes out, and names the unit.
! stdout: /dev/full
! status: 38
! stderr: error during write, unit 6
program full_buffered
  implicit none
  print *, 'lost'
  write (0, *) 'not reached'
end program
