! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! check_values COUNT OURS PEERS: reads what print_values printed through the library and through libgfortran. Every
! number in either must be the value, rounded to the digits that are there.
program check_values
  use values
  implicit none
  integer, parameter :: integer_kinds(5) = [1, 2, 4, 8, 16], real_kinds(3) = [4, 8, 16]
  integer :: i, k, count, files(2), wrong = 0
  character(300) :: word
  real(16) :: parts(2)
  call get_command_argument(1, word)
  read (word, *) count
  do i = 1, 2
    call get_command_argument(1 + i, word)
    open (newunit=files(i), file=word, status='old', action='read')
  end do
  do i = 1, count
    do k = 1, 5
      call check_integer(integer_kinds(k), random_integer(integer_kinds(k)))
    end do
    do k = 1, 3
      call check_reals(real_kinds(k), [random_real(real_kinds(k))])
    end do
    do k = 1, 3
      parts = [random_real(real_kinds(k)), random_real(real_kinds(k))]
      call check_reals(real_kinds(k), parts)
    end do
    if (wrong > 20) exit
  end do
  do i = 1, 2
    call next_token(files(i), word)
    if (word /= '') call complain('more output than values', word)
  end do
  write (*, '(i0, a, i0, a)') 11*count, ' records, ', wrong, ' wrong'
  if (wrong > 0) error stop 1
contains
  subroutine complain(what, text)
    character(*), intent(in) :: what, text
    wrong = wrong + 1
    write (*, '(4a)') what, ': "', trim(text), '"'
  end subroutine

  ! The next record that is not blank, and all of a pair that is split over records.
  subroutine next_token(file, text)
    integer, intent(in) :: file
    character(*), intent(out) :: text
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
  end subroutine

  subroutine check_integer(kind, expected)
    integer, intent(in) :: kind
    integer(16), intent(in) :: expected
    integer(16) :: found
    integer :: i, status
    character(300) :: text
    do i = 1, 2
      call next_token(files(i), text)
      read (text, *, iostat=status) found
      if (status /= 0 .or. found /= expected) then
        write (word, '(i0, a, i0)') kind, ' integer, expected ', expected
        call complain(word, text)
      end if
    end do
  end subroutine

  subroutine check_reals(kind, expected)
    integer, intent(in) :: kind
    real(16), intent(in) :: expected(:)
    integer :: i, j, comma
    character(300) :: text, part
    do i = 1, 2
      call next_token(files(i), text)
      do j = 1, size(expected)
        part = text
        comma = index(text, ',')
        if (size(expected) == 2 .and. j == 1) part = text(2:comma - 1)
        if (size(expected) == 2 .and. j == 2) part = text(comma + 1:index(text, ')') - 1)
        if (.not. is_rounded(part, expected(j))) then
          write (word, '(i0, a, es44.35e4)') kind, ' real, expected ', expected(j)
          call complain(word, text)
        end if
      end do
    end do
  end subroutine

  logical function is_rounded(text, expected)
    character(*), intent(in) :: text
    real(16), intent(in) :: expected
    real(16) :: found, unit
    integer :: point, letter, decimals, exponent, status
    is_rounded = .false.
    read (text, *, iostat=status) found
    if (status /= 0) return
    letter = scan(text, 'E')
    exponent = 0
    if (letter > 0) read (text(letter + 1:), *, iostat=status) exponent
    if (letter == 0) letter = len_trim(text) + 1
    point = index(text, '.')
    if (status /= 0 .or. point == 0) return
    decimals = letter - point - 1
    unit = 10.0_16**(exponent/2)*10.0_16**(exponent - exponent/2 - decimals)
    is_rounded = abs(found - expected) <= unit/2 + 2*spacing(expected)
  end function
end program
