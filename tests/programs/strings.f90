! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! The character intrinsics through GNU Fortran's entry points: checked against loops over single characters.
program strings
  implicit none
  character(*), parameter :: letters = 'ab c'
  character(:), allocatable :: a, b, s
  character(0) :: none
  character(4, kind=4) :: wide
  integer :: round, faults, state
  faults = 0
  state = 12345
  do round = 1, 20000
    a = text(mod(round, 80))
    b = text(next(6))
    call check(index(a, b) == first(a, b), 'index')
    call check(index(a, b, .true.) == last(a, b), 'index back')
    call check(scan(a, b) == search(a, b, .true., 1), 'scan')
    call check(scan(a, b, .true.) == search(a, b, .true., -1), 'scan back')
    call check(verify(a, b) == search(a, b, .false., 1), 'verify')
    call check(verify(a, b, .true.) == search(a, b, .false., -1), 'verify back')
    call check(len_trim(a) == search(a, ' ', .false., -1), 'len_trim')
    s = trim(a)
    call check(len(s) == len_trim(a), 'trim')
    call check(same(s, a), 'trim')
    s = adjustl(a)
    call check(len(s) == len(a) .and. search(s, ' ', .false., 1) <= 1 .and. index(a, trim(s)) > 0, 'adjustl')
    s = adjustr(a)
    call check(len(s) == len(a) .and. len_trim(s) == merge(len(a), 0, len_trim(a) > 0), 'adjustr')
    s = a // b // 'x'
    call check(len(s) == len(a) + len(b) + 1 .and. same(s(:len(a)), a) .and. same(s(len(a) + 1:), b // 'x'), 'concat')
    call check((a == b) .eqv. same(a, b), '==')
    call check((a < b) .eqv. (.not. same(a, b) .and. min(a, b) == a), '<')
    call check((a > b) .eqv. (.not. same(a, b) .and. max(a, b) == a), '>')
    call check(len(max(a, b)) == max(len(a), len(b)), 'max')
  end do

  print '(2(a, 1x), i0, 1x, i0)', max('abc', 'ab   ', 'zz'), min('abc', 'ab   ', 'zz') // '|', ichar(max('z', char(228))), &
    len(min(none, none))
  print '(4l2)', 'a' < 'a' // char(9), 'a' > 'a' // char(9), 'A' < char(228), 'x' == 'x   '
  wide = 4_'a' // 4_'bc '
  print '(2i3)', len_trim(wide), index(wide, 4_'b')
  print '(i0, a)', faults, ' faults'
  deallocate (a, b, s)
contains
  integer function next(n)
    integer, intent(in) :: n
    state = iand(state * 1103515 + 12345, 1048575)
    next = mod(state / 64, n)
  end function
  function text(n)
    integer, intent(in) :: n
    character(n) :: text
    integer :: i, k
    do i = 1, n
      k = next(len(letters)) + 1
      text(i:i) = letters(k:k)
    end do
  end function
  ! One character at a time, which gfortran compares in line.
  logical function same(x, y)
    character(*), intent(in) :: x, y
    integer :: i
    character :: c, d
    same = .true.
    do i = 1, max(len(x), len(y))
      c = ' '
      d = ' '
      if (i <= len(x)) c = x(i:i)
      if (i <= len(y)) d = y(i:i)
      same = same .and. ichar(c) == ichar(d)
    end do
  end function
  integer function first(x, y)
    character(*), intent(in) :: x, y
    do first = 1, len(x) - len(y) + 1
      if (same(x(first:first + len(y) - 1), y)) return
    end do
    first = 0
  end function
  integer function last(x, y)
    character(*), intent(in) :: x, y
    do last = len(x) - len(y) + 1, 1, -1
      if (same(x(last:last + len(y) - 1), y)) return
    end do
    last = 0
  end function
  integer function search(x, set, wanted, direction)
    character(*), intent(in) :: x, set
    logical, intent(in) :: wanted
    integer, intent(in) :: direction
    integer :: i, from
    logical :: member
    from = merge(1, len(x), direction > 0)
    do search = from, len(x) + 1 - from, direction
      member = .false.
      do i = 1, len(set)
        member = member .or. ichar(x(search:search)) == ichar(set(i:i))
      end do
      if (member .eqv. wanted) return
    end do
    search = 0
  end function
  subroutine check(good, what)
    logical, intent(in) :: good
    character(*), intent(in) :: what
    if (good) return
    faults = faults + 1
    if (faults < 10) print '(a, " [", a, "] [", a, "]")', what, a, b
  end subroutine
end program
