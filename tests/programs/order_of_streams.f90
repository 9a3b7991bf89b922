! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Standard output and standard error in one file.
! merge: yes
program order_of_streams
  implicit none
  integer :: i
  do i = 1, 3
    write (6, *) 'output', i
    write (0, *) 'error', i
    write (0, '(a)') 'formatted error'
    write (0, *) 'error again'
  end do
end program
