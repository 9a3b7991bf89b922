! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A device without room and no specifier: the program ends with the number of the message, at the statement or when what is
! held back goes out.
! stdout: /dev/full
! env: FORT_NO_BUFFERING=true
! env: FORT_NO_BUFFERING=false
! status: 38
! stderr: error during write, unit 6
program full_fatal
  implicit none
  print *, 'lost'
  write (0, *) 'not reached'
end program
