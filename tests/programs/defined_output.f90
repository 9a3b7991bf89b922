! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Defined output stays whole with libgfortran, children included; the statements around it do not.
! with: modules/boxes.f90
program defined_output
  use boxes
  implicit none
  type(box) :: first = box(3)
  class(box), allocatable :: any_box
  type(holder) :: h
  print *, 'before', 1
  print *, first
  print *, 'between', 2
  write (*, '(DT)') first
  print *, 'again', 3
  allocate (any_box, source=box(1))
  print *, any_box
  h%inner%content = 7
  print *, h
  print *, 'after', 4
end program
