! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Prints random values in random formats.
program formats
  use, intrinsic :: ieee_arithmetic, only: ieee_value, ieee_positive_inf, ieee_negative_inf, ieee_quiet_nan
  use, intrinsic :: iso_fortran_env, only: int64, real64, real32
  implicit none
  integer(int64) :: seed = 20240229
  integer :: i
  do i = 1, 12000
    call put_real(real_form(), single=mod(i, 4) == 0)
  end do
  do i = 1, 6000
    call put_integer(integer_form())
  end do
  call put_specials
contains
  !> 31 pseudo-random bits.
  integer function random() result(r)
    seed = iand(seed * 6364136223846793005_int64 + 1442695040888963407_int64, huge(seed))
    r = int(ishft(seed, -32))
  end function

  integer function pick(low, high)
    integer, intent(in) :: low, high
    pick = low + mod(random(), high - low + 1)
  end function

  function number(i) result(text)
    integer, intent(in) :: i
    character(:), allocatable :: text
    character(12) :: digits
    write (digits, '(i0)') i
    text = trim(digits)
  end function

  !> The format that tells what it is in front of the value.
  function telling(form)
    character(*), intent(in) :: form
    character(:), allocatable :: telling
    telling = '("'//form//' |",'//form//',"|")'
  end function

  !> A value whose magnitude and number of digits vary.
  real(real64) function any_real() result(x)
    integer :: k
    k = pick(0, 9)
    x = real(random(), real64) * 10d0**pick(-12, 5)
    if (k < 4) x = anint(x * 100) / 2**pick(0, 6)
    if (k == 4) x = pick(0, 3)
    if (k == 5) x = x * 10d0**pick(-290, 280)
    if (k == 6) x = 10d0**pick(-8, 8) * (1 - 2d0**(-pick(4, 52)))
    if (k > 7) x = pick(0, 20000) / 16d0
    if (random() > huge(0) / 2) x = -x
  end function

  function real_form() result(form)
    character(:), allocatable :: form
    character(3), parameter :: modes(0:2) = ['sp,', 'dc,', 'rc,']
    character(2), parameter :: letters(10) = [character(2) :: 'f', 'f', 'f', 'es', 'es', 'e', 'd', 'g', 'en', 'es']
    integer, parameter :: more(10) = [0, 0, 0, 4, 4, 5, 5, 5, 6, 5]  ! columns beside the digits
    integer :: d, w, k
    d = pick(0, 15)
    w = d + pick(0, 12)
    k = pick(1, size(letters) + 3)
    select case (k)
    case default
      if (scan(letters(k), 'edg') == 1 .and. len_trim(letters(k)) == 1) d = max(d, 1)
      form = trim(letters(k))//number(w + more(k))//'.'//number(d)
      if (k == 10) form = form//'e'//number(pick(1, 4))
    case (11)
      form = 'f0.'//number(d)
    case (12)
      form = number(pick(-2, 4))//'p,f'//number(w + 6)//'.'//number(d)
    case (13)
      form = number(pick(-2, 3))//'p,e'//number(w + 9)//'.'//number(max(d, 4))
    end select
    k = pick(0, 8)
    if (k <= 2) form = modes(k)//form
  end function

  !> False where the two differ by rule: zero with an exponent, G below 0.1, and digits behind the 17th.
  logical function is_alike(form, x)
    character(*), intent(in) :: form
    real(real64), intent(in) :: x
    integer :: d
    if (index(form, 'g') > 0) then
      is_alike = abs(x) >= 0.1_real64 .and. abs(x) < 1e15_real64
    else if (index(form, 'f') > 0) then
      read (form(index(form, '.') + 1:), *) d
      is_alike = abs(x) < 10d0**(12 - d)
    else
      is_alike = abs(x) > 1e-30_real64 .and. abs(x) < 1e30_real64
    end if
  end function

  subroutine put_real(form, single)
    character(*), intent(in) :: form
    logical, intent(in) :: single
    real(real64) :: x
    do
      x = any_real()
      if (is_alike(form, x)) exit
    end do
    if (single .and. index(form, 'en') == 0) then
      print telling(form), real(x, real32)
    else
      print telling(form), x
    end if
  end subroutine

  subroutine put_specials
    real(real64) :: values(4)
    integer :: width, k
    values = [ieee_value(1d0, ieee_positive_inf), ieee_value(1d0, ieee_negative_inf), ieee_value(1d0, ieee_quiet_nan), -0d0]
    do width = 1, 11
      do k = 1, size(values)
        print telling('f'//number(width)//'.0'), values(k)
        print telling('sp,e'//number(width + 6)//'.3'), real(values(k), real32)
      end do
    end do
    print telling('f0.2'), values(:3)
    print telling('g14.4'), values(:3)
    print telling('f10.1,2f5.1'), values(1), cmplx(values(2), values(3), real32)
  end subroutine

  function integer_form() result(form)
    character(:), allocatable :: form
    character(1), parameter :: letters(4) = ['i', 'z', 'o', 'b']
    integer :: w, m
    w = pick(0, 24)
    form = letters(pick(1, 4))//number(w)
    if (pick(0, 2) == 0) then
      m = pick(0, 20)
      if (w > 0) m = min(m, w)
      form = form//'.'//number(m)
    end if
    if (pick(0, 4) == 0) form = 'sp,'//form
  end function

  subroutine put_integer(form)
    character(*), intent(in) :: form
    integer(int64) :: k
    k = ishft(int(random(), int64), pick(0, 32)) / 2_int64**pick(0, 40)
    if (pick(0, 1) == 0) k = -k
    select case (pick(0, 3))
    case (0)
      print telling(form), k
    case (1)
      print telling(form), int(ibits(k, 0, 31))
    case (2)
      print telling(form), -int(ibits(k, 0, 15), 2)
    case (3)
      print telling(form), int(ibits(k, 0, 7), 1)
    end select
  end subroutine
end program
