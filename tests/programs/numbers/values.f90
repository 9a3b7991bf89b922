! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! The random values of this test: every bit pattern of a kind that is a number, and numbers of everyday size.
module values
  use, intrinsic :: iso_fortran_env, only: int64
  implicit none
  integer(int64), private :: state = 88172645463325252_int64
contains
  integer(int64) function random_bits()
    state = ieor(state, ishft(state, 13))
    state = ieor(state, ishft(state, -7))
    state = ieor(state, ishft(state, 17))
    random_bits = state
  end function

  ! All exponents in turn with values whose decimal exponent is small, where the layout changes.
  real(16) function random_real(kind)
    integer, intent(in) :: kind
    integer(int64) :: bits(2), choice
    real(16) :: size
    choice = random_bits()
    bits = [random_bits(), random_bits()]
    if (mod(choice, 2_int64) == 0) then
      size = real(bits(1), 16)/2.0_16**63
      random_real = size*10.0_16**int(mod(ishft(choice, -20), 24_int64) - 6)
    else
      select case (kind)
      case (4)
        random_real = transfer(bits(1), 1.0)
      case (8)
        random_real = transfer(bits(1), 1.0d0)
      case (16)
        random_real = transfer(bits, 1.0_16)
      end select
    end if
    select case (kind)
    case (4)
      random_real = real(random_real, 4)
      if (.not. abs(random_real) < 0.99*real(huge(1.0), 16)) random_real = 0
    case (8)
      random_real = real(random_real, 8)
      if (.not. abs(random_real) < 0.99*real(huge(1.0d0), 16)) random_real = 0
    case (16)
      if (.not. abs(random_real) < 0.99*huge(1.0_16)) random_real = 0
    end select
  end function

  integer(16) function random_integer(kind)
    integer, intent(in) :: kind
    integer(int64) :: bits(2)
    integer(16) :: all_bits
    bits = [random_bits(), random_bits()]
    all_bits = transfer(bits, all_bits)
    random_integer = shifta(all_bits, 128 - 8*kind + int(mod(random_bits(), int(8*kind, int64)) + 8*kind)/2)
  end function
end module
