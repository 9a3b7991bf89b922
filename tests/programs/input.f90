! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Input of every type and shape, with and without a format, from standard input. The last line has no end.
! input: 1 -2 3000000000 4 5\n.true. F T\n1.5 2.5d0 (3.5,-4.5) 6\n7 7.0 3*8\n'it''s' "two words" bare\n3 10 20 30\n  1  2.50 T abc\n 1 2 3 4\n 5 6\nwidetext    99\n'four',,\n1,5;2\nlast one
program input
  implicit none
  type pair
    integer :: first
    real :: second
  end type
  integer(1) :: i1
  integer(2) :: i2
  integer(8) :: i8
  integer(16) :: i16 = -1
  logical(1) :: l1
  logical(16) :: l16 = .true.
  logical :: flag
  real(4) :: r4, a(2, 3)
  real(8) :: r8
  complex(8) :: z
  integer :: i, k(3, 2) = 0, n, status, list(5) = 0
  character(9) :: text(3)
  character(4, 4) :: wide, more
  type(pair) :: p
  read (*, *) i1, i2, i8, i16, list(1)
  print '(5(i0,1x))', i1, i2, i8, i16, list(1)
  read *, l1, l16, flag
  print *, l1, l16, flag
  read (5, *) r4, r8, z, a(1, 1)
  print '(5f6.2)', r4, r8, z, a(1, 1)
  read (*, *) p, k(:, 1)
  print *, p%first, p%second, k
  read (*, *) text
  print '(3a)', text
  read (*, *) n, (list(i), i=1, n)
  print '(6(i0,1x))', n, list
  read (*, '(i3,f6.2,l2,1x,a)') i, r4, flag, text(1)
  print '(i0,f6.2,l2,1x,a)', i, r4, flag, text(1)
  read (*, '(4f2.0)') a(2, 3:1:-1), a(1, 2:3)
  print '(6f4.0)', a
  read (*, '(2a,i6)') wide, more, i16
  print '(4a,i0)', wide, '|', more, '|', i16
  read (*, *) more, wide
  print '(3a)', wide, '|', more
  read (*, *, decimal='comma') r4, i
  print '(f4.1,i3)', r4, i
  read (*, *) text(1), text(2)
  print '(2a)', text(1:2)
  read (*, *, iostat=status) i
  print *, status
  read (*, '(i5)', end=10) i
  print *, 'not here'
10 print *, 'end'
end program
