! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Reads a file of a file system that cannot be written, then tries to write to it and to make another one: with IOSTAT=
! when the argument is "told".
program read_only
  implicit none
  character(8) :: what
  integer :: n, status
  call get_command_argument(1, what)
  open (20, file='old', status='old', action='read')
  read (20, *) n
  close (20)
  print '(a,1x,i0)', 'read', n
  if (what == 'told') then
    open (20, file='old', status='old', action='write', iostat=status)
    print '(a,1x,i0)', 'old', status
    open (20, file='new', status='new', iostat=status)
    print '(a,1x,i0)', 'new', status
  else
    open (20, file='new', status='new')
    print '(a)', 'not reached'
  end if
end program
