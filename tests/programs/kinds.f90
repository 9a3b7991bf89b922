! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Every type and kind as a scalar: widths of the fields, both forms of reals, signs, zeros, NaN and infinity.
program kinds
  use, intrinsic :: iso_fortran_env, only: int8, int16, int32, int64, real32, real64, real128
  use, intrinsic :: ieee_arithmetic, only: ieee_value, ieee_quiet_nan, ieee_positive_inf, ieee_negative_inf
  implicit none
  integer(16) :: wide
  logical(16) :: truth
  print *, 1_int8, -huge(1_int8) - 1_int8, 127_int8
  print *, 1_int16, -huge(1_int16) - 1_int16
  print *, 42, -huge(1) - 1, huge(1)
  print *, -huge(1_int64) - 1_int64, 7_int64
  wide = huge(wide)
  print *, wide
  print *, -wide - 1
  print *, 5, 12_16, -12_16, 'end'
  print *, .true., .false., .true._1, .false._2, .true._8
  truth = .true.
  print *, truth, .not. truth
  print *, 1.0, -0.5, 0.1, 0.09999999, 123456.78, 9999999.0
  print *, 1.0e7, -1.5e-30, huge(1.0), tiny(1.0), 0.0, -0.0
  print *, 1.0d0, -0.1d0, 123456789.125d0
  print *, 1.0d15, 1.0d-300, huge(1.0d0), 0.0d0
  print *, 1.0_real128 / 3
  print *, -huge(1.0_real128)
  print *, 0.0_real128
  print *, (1.0, -2.5), (0.0, 1.0e20)
  print *, (1.0d0, -2.5d0), (0.1d0, 3.0d200)
  print *, (-1.5d-200, -2.5d200)
  print *, (1.0_real128, -1.0e-4000_real128)
  print *, ieee_value(1.0, ieee_quiet_nan), ieee_value(1.0, ieee_positive_inf), ieee_value(1.0d0, ieee_negative_inf)
  print *, 'plain', 'text', 1, 'after a number', 2.5
  print *, ''
  print *
end program
