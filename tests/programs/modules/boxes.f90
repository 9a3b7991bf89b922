! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A type with defined output, alone and as a component.
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
  type late_holder
    integer :: before = 0
    type(box) :: inner
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
