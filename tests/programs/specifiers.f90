! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! DECIMAL=, SIGN= and ROUND= act on their statement only; IOSTAT= and IOMSG= of a statement that succeeds.
program specifiers
  implicit none
  integer :: status
  integer(8) :: wide_status, no_unit = 2_8**32 + 6
  character(40) :: message = 'untouched'
  character(10) :: word = 'sideways'
  real(8), parameter :: third = 1.0d0 / 3.0d0
  write (*, *, decimal='comma') 1.5, (1.0, 2.0), 3
  write (*, *) 1.5, (1.0, 2.0)
  write (*, *, sign='plus') 1, 2.5d0, 3_16, (1.0, -1.0)
  write (*, *, sign='suppress') 1, 2.5
  write (*, *, round='up') third, -third
  write (*, *, round='down') third, -third
  write (*, *, round='zero') 2 * third, -2 * third
  write (*, *, round='nearest') third, -2 * third
  write (*, *, decimal='point', sign='plus', round='up', delim='quote', iostat=status, iomsg=message) third, 'x'
  write (*, *, iostat=wide_status) status, message
  print *, wide_status
  status = 1
  write (unit=*, fmt=*, err=10) 'no error'
  print *, 'went on'
  write (*, *, sign=word, iostat=status, iomsg=message) 1
  print *, status
  print *, message
  write (*, *, delim=word, err=10) 1
  print *, 'not here'
10 print *, 'branched'
  write (no_unit, *, iostat=status) 'the low bits are unit 6'
  print *, status > 5000
end program
