! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! True is 1 in what a READ stores, of every kind and shape and on every sort of file: compiled code negates it by its
! lowest bit and compares it as a number. Null values and what is no part of the list stay as they are.
! input:  T F T T F\n T F T T T\n T F T\n
program truth
  use, intrinsic :: iso_fortran_env, only: int8, int16, int32, int64
  implicit none
  logical(1) :: a = .false.
  logical(2) :: b = .true.
  logical(4) :: c = .false.
  logical(8) :: d = .false.
  logical(16) :: e = .true.
  logical(2) :: rows(3)
  logical :: grid(4, 5) = .false., small(2, 2) = .false.
  character(12) :: text = 'T,,F,.true.'
  integer(16) :: wide = 2_16**100
  integer :: u, i
  read (*, *) a, b, c, d, e
  call judge('list')
  a = .false.
  b = .true.
  c = .false.
  d = .false.
  e = .true.
  read (*, '(5l2)') a, b, c, d, e
  call judge('format')
  read (*, '(3l2)') rows
  print '(a,3i3)', 'array', transfer(rows, [0_int16])
  read (text, *) small(1, :), c, small(2, 1)
  print '(a,2i3)', 'internal', transfer(small(1, 1), 0), transfer(c, 0)
  text = ',7'
  read (text, *) wide, i
  print '(a,l2,i3)', 'kept', wide == 2_16**100, i
  open (newunit=u, status='scratch')
  write (u, '(8l2)') [(.true., i=1, 8)]
  rewind (u)
  read (u, *) grid(1:3:2, 2:5:2), grid(4, 5:4), small
  print '(20i2)', transfer(grid, [0])
  print '(a,l2)', 'negated', any(.not. small)
contains
  subroutine judge(what)
    character(*), intent(in) :: what
    print '(a,5i3,5l2)', what, transfer(a, 0_int8), transfer(b, 0_int16), transfer(c, 0_int32), transfer(d, 0_int64), &
      int(transfer(e, 0_16), int64), .not. a, .not. b, .not. c, .not. d, .not. e
  end subroutine
end program
