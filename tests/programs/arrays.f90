! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Arrays of every rank and layout: whole, sections, negative strides, no elements, by dummy argument and pointer.
program arrays
  implicit none
  type pair
    integer :: first
    integer :: second
  end type
  integer :: i, j
  integer :: m(3, 4) = reshape([(i, i = 1, 12)], [3, 4])
  integer(8) :: none(0)
  integer(16) :: wide(2, 2) = reshape([1_16, 2_16, 3_16, 4_16], [2, 2])
  real(16) :: q(3) = [1.25_16, 2.25_16, 3.25_16]
  complex(8) :: z(2, 2) = reshape([(1d0, 2d0), (3d0, 4d0), (5d0, 6d0), (7d0, 8d0)], [2, 2])
  logical(1) :: flags(5) = [.true._1, .false._1, .true._1, .true._1, .false._1]
  logical(16) :: truths(3) = [.true._16, .false._16, .true._16]
  character(3) :: words(4) = ['one', 'two', 'thr', 'fou']
  character(0) :: empty(3)
  integer :: deep(2, 1, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2)
  type(pair), target :: pairs(3) = [pair(1, -1), pair(2, -2), pair(3, -3)]
  integer, pointer :: component(:)
  integer, allocatable :: grown(:)
  print *, m
  print *, m(1:3:2, 4:1:-1)
  print *, m(3:1:-1, 2:3)
  print *, none
  print *, 'none:', none, m(3:2, :), m(1, 4:1), 'empty:', empty, 'end'
  print *, wide(2, :)
  print *, q(3:1:-2)
  print *, z(2, :)
  print *, flags
  print *, truths(3:1:-1)
  print *, words, words(2::2), words(:)(2:2)
  deep = reshape([(i, i = 1, 8)], shape(deep))
  print *, deep
  print *, deep(2:1:-1, :, 2, :, :, :, :, :, :, :, :, :, :, :, :)
  component => pairs(3:1:-1)%second
  print *, pairs, pairs%second, component
  allocate (grown(-2:2), source=[(10 * i, i = -2, 2)])
  print *, grown(-2:2:2) + 1
  deallocate (grown)
  print *, ((m(i, j), i = 1, 3, 2), j = 1, 2)
  call assumed(m(:, 4:2:-1), words)
contains
  subroutine assumed(a, c)
    integer, intent(in) :: a(:, :)
    character(*), intent(in) :: c(:)
    print *, a
    print *, c(size(c):1:-2)
  end subroutine
end program
