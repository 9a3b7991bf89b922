! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! numbers write FILE COUNT: prints as many random values of every kind to FILE, list-directed, each in a record of its own.
! numbers check FILE COUNT: every number in FILE must be the value, rounded to the digits that are there.
program numbers
  use, intrinsic :: iso_fortran_env, only: int64
  implicit none
  integer(int64) :: state = 88172645463325252_int64
  integer :: file, i, k, count, wrong = 0
  character(200) :: args(3)
  integer(16) :: whole
  real(16) :: parts(2)
  do i = 1, 3
    call get_command_argument(i, args(i))
  end do
  read (args(3), *) count
  open (newunit=file, file=args(2))
  do i = 1, count
    do k = 0, 4
      whole = random_integer(2**k)
      if (args(1) == 'check') call check(next_token(), 2**k, integer_value=whole)
      if (args(1) == 'check') cycle
      select case (k)
      case (0)
        write (file, *) int(whole, 1)
      case (1)
        write (file, *) int(whole, 2)
      case (2)
        write (file, *) int(whole, 4)
      case (3)
        write (file, *) int(whole, 8)
      case (4)
        write (file, *) whole
      end select
    end do
    do k = 2, 4
      parts = [random_real(2**k), random_real(2**k)]
      if (args(1) == 'check') then
        call check(next_token(), 2**k, real_values=parts(1:1))
        call check(next_token(), 2**k, real_values=parts)
        cycle
      end if
      select case (k)
      case (2)
        write (file, *) real(parts(1), 4)
        write (file, *) cmplx(parts(1), parts(2), 4)
      case (3)
        write (file, *) real(parts(1), 8)
        write (file, *) cmplx(parts(1), parts(2), 8)
      case (4)
        write (file, *) parts(1)
        write (file, *) cmplx(parts(1), parts(2), 16)
      end select
    end do
  end do
  if (args(1) == 'check') then
    if (next_token() /= '') error stop 'more output than values'
    if (wrong > 0) error stop 'wrong numbers'
  end if
contains
  integer(int64) function random_bits()
    state = ieor(state, ishft(state, 13))
    state = ieor(state, ishft(state, -7))
    state = ieor(state, ishft(state, 17))
    random_bits = state
  end function

  integer(16) function random_integer(kind)
    integer, intent(in) :: kind
    integer(16) :: all_bits
    all_bits = transfer([random_bits(), random_bits()], all_bits)
    random_integer = shifta(all_bits, 128 - 8*kind + int(mod(random_bits(), int(8*kind, int64)) + 8*kind)/2)
  end function

  !> Half of them any bits that are a number, half with a small decimal exponent, where the layout changes.
  real(16) function random_real(kind) result(x)
    integer, intent(in) :: kind
    integer(int64) :: bits(2), choice
    choice = random_bits()
    bits = [random_bits(), random_bits()]
    if (mod(choice, 2_int64) == 0) then
      x = real(bits(1), 16)/2.0_16**63*10.0_16**int(mod(ishft(choice, -20), 24_int64) - 6)
    else if (kind == 4) then
      x = transfer(bits(1), 1.0)
    else if (kind == 8) then
      x = transfer(bits(1), 1.0d0)
    else
      x = transfer(bits, 1.0_16)
    end if
    if (kind == 4) x = real(x, 4)
    if (kind == 8) x = real(x, 8)
    if (.not. abs(x) < 0.99_16*merge(real(huge(1.0), 16), merge(real(huge(1.0d0), 16), huge(x), kind == 8), kind == 4)) x = 0
  end function

  !> The next record that is not blank, and all of a pair that is split over records.
  function next_token() result(text)
    character(300) :: text
    character(200) :: line
    integer :: status
    text = ''
    do
      read (file, '(a)', iostat=status) line
      if (status /= 0) return
      text = trim(text)//adjustl(line)
      if (text == '') cycle
      if (text(1:1) /= '(' .or. index(text, ')') > 0) return
    end do
  end function

  subroutine check(text, kind, integer_value, real_values)
    character(*), intent(in) :: text
    integer, intent(in) :: kind
    integer(16), intent(in), optional :: integer_value
    real(16), intent(in), optional :: real_values(:)
    integer(16) :: found
    integer :: comma, status
    logical :: right
    if (present(integer_value)) then
      read (text, *, iostat=status) found
      right = status == 0 .and. found == integer_value
    else if (size(real_values) == 1) then
      right = is_rounded(text, real_values(1))
    else
      comma = index(text, ',')
      right = is_rounded(text(2:comma - 1), real_values(1)) .and. &
              is_rounded(text(comma + 1:index(text, ')') - 1), real_values(2))
    end if
    if (right) return
    wrong = wrong + 1
    if (wrong > 10) return
    print '(a,i0,2a)', 'kind ', kind, ': ', trim(text)
    if (present(real_values)) print '(2es46.35e4)', real_values
  end subroutine

  logical function is_rounded(text, expected)
    character(*), intent(in) :: text
    real(16), intent(in) :: expected
    real(16) :: found, unit
    integer :: point, letter, exponent, status
    is_rounded = .false.
    read (text, *, iostat=status) found
    if (status /= 0) return
    letter = scan(text, 'E')
    exponent = 0
    if (letter > 0) read (text(letter + 1:), *, iostat=status) exponent
    if (letter == 0) letter = len_trim(text) + 1
    point = index(text, '.')
    if (status /= 0 .or. point == 0) return
    exponent = exponent - (letter - point - 1)  ! of the last digit
    unit = 10.0_16**(exponent/2)*10.0_16**(exponent - exponent/2)
    is_rounded = abs(found - expected) <= unit/2 + 2*spacing(expected)
  end function
end program
