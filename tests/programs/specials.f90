! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Infinities and NaNs in fields of all widths.
program specials
  use, intrinsic :: ieee_arithmetic
  implicit none
  real(8) :: value(3)
  real(4) :: single
  integer :: width
  character(16) :: form
  value(1) = ieee_value(1d0, ieee_positive_inf)
  value(2) = ieee_value(1d0, ieee_negative_inf)
  value(3) = ieee_value(1d0, ieee_quiet_nan)
  do width = 1, 11
    write (form, '(a,i0,a)') '(3(f', width, '.0,"|"))'
    write (*, form) value
  end do
  write (*, '(3(e12.3,"|"))') value
  write (*, '(3(es9.1,"|"))') value
  write (*, '(3(g14.4,"|"))') value
  write (*, '(sp,3(f10.2,"|"))') value
  write (*, '(3(f0.2,"|"))') value
  single = real(value(2), 4)
  write (*, '(f10.1,"|",2f5.1)') single, cmplx(value(1), value(3), 4)
end program
