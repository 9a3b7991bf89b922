! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A program with a namelist group has all its files served by libgfortran, so that namelist transfers may follow other
! statements on the same unit. The number of a failed OPEN tells whose the files are.
program peers_files
  implicit none
  integer :: u, i = 7, status
  real(8) :: x = 2.5d0
  character(20) :: line
  namelist /group/ i, x
  open (newunit=u, file='mixed', status='replace')
  write (u, '(a)') 'heading'
  write (u, nml=group)
  write (u, '(a)') 'behind'
  rewind (u)
  i = 0
  x = 0
  read (u, '(a)') line
  print '(a,1x,i0)', trim(line), ftell(u)
  read (u, nml=group)
  read (u, '(a)') line
  print '(i0,f4.1,1x,a)', i, x, trim(line)
  close (u, status='delete')
  open (newunit=u, file='missing', status='old', iostat=status)
  print '(i0)', status
end program
