! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Prints what the character intrinsics make of random texts.
program strings
  implicit none
  character(*), parameter :: letters = 'ab c'//char(9)//char(228)
  character(:), allocatable :: a, b
  character(0) :: none
  character(4, kind=4) :: wide
  integer :: round, state = 12345
  do round = 1, 2000
    a = text(mod(round, 80))
    b = text(next(6))
    print '(7(i0,1x),6l2)', index(a, b), index(a, b, .true.), scan(a, b), scan(a, b, .true.), verify(a, b), &
      verify(a, b, .true.), len_trim(a), a == b, a /= b, a < b, a <= b, a > b, a >= b
    print '(15a)', '[', trim(a), '][', adjustl(a), '][', adjustr(a), '][', a//b//'x', '][', max(a, b), '][', &
      min(b, a, 'ab'), '][', max(a, a//' '), ']'
  end do
  deallocate (a, b)
  print '(i0)', len(min(none, none))
  wide = 4_'a'//4_'bc '
  print '(2i3)', len_trim(wide), index(wide, 4_'b')
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
end program
