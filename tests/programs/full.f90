! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A device without room: IOSTAT=, IOMSG= and ERR= receive the failure; what went to the other unit is compared.
! stdout: /dev/full
! env: FORT_NO_BUFFERING=true
! compare: stderr
program full
  implicit none
  integer :: status, i
  character(60) :: message
  write (*, *, iostat=status) 'lost'
  write (0, *) status
  message = 'untouched'
  write (*, *, iostat=status, iomsg=message) 1, 2, 3
  write (0, *) status, message(1:32)
  write (*, *, err=10) (i, i = 1, 1000)
  write (0, *) 'not here'
10 write (0, *) 'branched'
  message = 'untouched'
  write (*, *, err=20, iomsg=message) 'text', 1.5
  write (0, *) 'not here'
20 write (0, *) message(1:32)
  write (*, *, iostat=status, err=30) 'text'
  write (0, *) 'not here'
30 write (0, *) status
end program
