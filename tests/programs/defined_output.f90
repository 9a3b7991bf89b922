! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Defined output stays whole with libgfortran, children included; the statements around it do not.
module boxes
  implicit none
  type box
    integer :: content = 0
  contains
    procedure :: write_box
    generic :: write(formatted) => write_box
  end type
  type holder
    type(box) :: inner
    integer :: extra = 5
  end type
contains
  recursive subroutine write_box(dtv, unit, iotype, v_list, iostat, iomsg)
    class(box), intent(in) :: dtv
    integer, intent(in) :: unit
    character(*), intent(in) :: iotype
    integer, intent(in) :: v_list(:)
    integer, intent(out) :: iostat
    character(*), intent(inout) :: iomsg
    write (unit, '(a, i0, a)', iostat=iostat, iomsg=iomsg) '[', dtv%content, ']'
    if (dtv%content > 1) write (unit, *, iostat=iostat, iomsg=iomsg) box(dtv%content - 1)
  end subroutine
end module

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
