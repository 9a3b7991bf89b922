! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! With a buffer the library holds records back: until the peer writes, FLUSH, and the end of the program.
! env: FORT_BUFFER_STDOUT=true
! case: mixed 0
! case: flushed 0
! case: exit 3
program buffered
  implicit none
  character(20) :: how
  integer :: i
  call get_command_argument(1, how)
  do i = 1, 500
    print *, 'record', i
    if (mod(i, 100) == 0) write (*, '(a, i0)') 'formatted ', i
    if (how == 'flushed' .and. mod(i, 50) == 0) flush (6)
  end do
  print *, 'last'
  if (how == 'exit') call exit(3)
end program
