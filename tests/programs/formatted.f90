! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Formatted output on the console: formats as text, as labels and as variables, every type, arrays, ADVANCE=.
program formatted
  implicit none
  type point
    integer :: id
    real :: at(2)
  end type
  integer :: i, j, table(3, 4), status
  real(8) :: x(5) = [1.5d0, -2.25d0, 1d10, 0d0, 1d-5]
  character(12) :: form, yes = 'YES'
  character(3) :: words(4) = ['one', 'two', 'six', 'ten']
  logical :: truth(3) = [.true., .false., .true.]
  type(point) :: p(2) = [point(1, [0.5, 1.5]), point(2, [2.5, 3.5])]
  write (*, '(a)') 'plain'
  write (*, '(a,i4,f8.3,l3,1x,a)') 'mixed', 42, 3.14159, .true., 'end'
  write (*, 10) (i, i=1, 7)
10 format ('row:', 3i5)
  form = '(2(i3,a))'
  write (*, form) 1, 'x', 2, 'y', 3, 'z'
  write (*, trim(form)//' ') 4, 'v', 5, 'w'
  write (6, '(5es12.3)') x
  write (6, '(5es12.3e3)') x(5:1:-2)
  write (*, '(f8.3,e12.4,d12.4,en12.3,g12.4)') x(1), x(1), x(2), x(3), x(1)
  table = reshape([(i, i=1, 12)], [3, 4])
  do j = 1, 3
    write (*, '(4i4)') table(j, :)
  end do
  write (*, '(4i4)') transpose(table(2:3, 1:4:2))
  write (*, '(4(a,:,","))') words
  write (*, '(*(a,:,","))') words(4:1:-1), words(2:3)
  write (*, '(3l2)') truth
  write (*, '(i3,2f6.2)') p
  write (*, '(2f7.2)') (1.0, -2.0), (3.0d0, 4.0d0)
  write (*, '(i5.3,1x,z6.4,1x,o5,1x,b8.8)') 7, 255, 8, 37
  write (*, '(i0,1x,i0,1x,i0,1x,i0,1x,i0)') 1_1, -2_2, 3_4, 4000000000_8, -5_16
  write (*, '(1x,a,t20,a,tl5,a,tr3,a)') 'tab', 'X', 'Y', 'Z'
  write (*, '(i4,/,i4,//,a)') 1, 2, 'after an empty line'
  write (*, '(sp,i5,ss,i5,s,i5)') 1, 2, 3
  write (*, '(i5)', sign='plus') 7
  write (*, '(f8.2)', decimal='comma') 3.14
  write (*, '(f6.1)', round='up') 2.34d0
  write (*, '(a)', advance='no') 'one '
  write (*, '(a)', advance='no') 'line '
  write (*, '(a)', advance=yes) 'ends'
  write (*, '(a)', advance='no') 'list-directed output'
  print *, 'ends it'
  write (*, '(a,i3)', advance='no') ('item', i, i=1, 3)
  write (*, '()')
  write (*, '(i2,1x,i2)', iostat=status) 1, 1000
  write (*, '(a,f5.1)') 'scale ', 1234.5e0, 'back ', 1.0
  write (*, '(2pf8.2,1x,1pe12.4)') 1.25, 1.25
  write (*, '(''it''''s'',1x,"""quoted""",5hhello)')
  print '(a10,a2,a)', 'right', 'left', 'as is'
  write (*, '(a)') (words(i), i=1, 0)
  write (*, '(dc,f6.2,dp,f6.2)') 1.5, 2.5
  write (*, '(a)') 'long: '//repeat('0123456789', 20)
end program
