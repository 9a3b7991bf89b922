! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A text restart file gives back every bit of what was written, whatever the modes of the connection, and the end of the
! file is found where it is.
program restart
  implicit none
  integer, parameter :: n = 100
  real(8) :: x(n), y(n)
  real(4) :: s(n), t(n)
  integer(8) :: k(n), l(n)
  complex(8) :: z, w
  logical :: flag
  character(10) :: name
  integer :: u, i, step, status
  do i = 1, n
    x(i) = sin(real(i, 8)) * 10d0**(3 * (i - n / 2))
    s(i) = real(cos(real(i)) * 10.0**(i / 4 - 12))
    k(i) = 9_8**mod(i, 20) * (-1)**i
  end do
  z = (0.1d0, -1d300)

  open (newunit=u, file='restart', status='replace', form='formatted', access='sequential', recl=8000)
  write (u, '(a10,i6,l2)') 'restart', 42, .true.
  write (u, '(4es25.16e3)') x
  write (u, '(5es16.8)') s
  write (u, '(3i22)') k
  write (u, '(2es25.16e3)') z
  close (u)

  open (newunit=u, file='restart', status='old', action='read', pad='no', blank='null', position='rewind')
  read (u, '(a10,i6,l2)') name, step, flag
  read (u, '(4es25.16e3)') y
  read (u, '(5e16.8)') t
  read (u, '(3i22)') l
  read (u, '(2f25.16)') w
  print *, adjustl(name), step, flag
  print *, count(x == y), count(s == t), count(k == l), z == w
  do i = 1, 3
    read (u, '(a)', iostat=status) name
    print *, status
  end do
  close (u)

  open (newunit=u, file='restart', status='old', decimal='comma', round='nearest', sign='plus', delim='quote')
  close (u, status='delete', iostat=status)
  print *, status
  open (newunit=u, file='restart', status='old', iostat=status)
  print *, status > 0
end program
