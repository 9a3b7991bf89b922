! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! What other programs and libgfortran's character procedures print stands between what the library holds back.
! merge: yes
! env: TAMRUN_GNU_FILES=1
program commands
  implicit none
  integer :: status, u
  print '(a)', 'first'
  call execute_command_line('echo from a command', exitstat=status)
  write (*, '(a)', advance='no') 'open '
  call system('echo ended by a command')
  print '(a)', 'next'
  call fput('x')
  call fputc(6, 'y')
  print '(a)', 'z'
  write (*, '(a)', advance='no') 'flushed '
  flush (6)
  call system('echo and ended')
  open (newunit=u, file='data', status='replace')
  write (u, '(a)') 'in a file'
  call execute_command_line('cat data')
  write (u, '(a)', advance='no') 'and more '
  call flush (u)
  call execute_command_line('cat data; echo')
  wait (u)
  close (u, status='delete')
  write (0, '(a)') 'on the other stream'
  print '(a)', 'end'
end program
