! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Kinds without a counterpart in the library.
! case: real 152 REAL, kind 10
! case: complex 152 COMPLEX, kind 10
! case: array 152 REAL, kind 10
! case: component 152 a component with defined output behind other items
! case: delim 152 INTEGER, kind 16, with DELIM=
module boxes
  implicit none
  type box
    integer :: content = 1
  contains
    procedure :: write_box
    generic :: write(formatted) => write_box
  end type
  type holder
    integer :: before = 0
    type(box) :: inner
  end type
contains
  subroutine write_box(dtv, unit, iotype, v_list, iostat, iomsg)
    class(box), intent(in) :: dtv
    integer, intent(in) :: unit
    character(*), intent(in) :: iotype
    integer, intent(in) :: v_list(:)
    integer, intent(out) :: iostat
    character(*), intent(inout) :: iomsg
    write (unit, '(i0)', iostat=iostat, iomsg=iomsg) dtv%content
  end subroutine
end module

program refused
  use boxes
  implicit none
  character(20) :: how
  real(10) :: a(2) = 1
  type(holder) :: h
  call get_command_argument(1, how)
  print *, 'before'
  select case (how)
  case ('real')
    print *, 1, a(1)
  case ('complex')
    print *, cmplx(a(1), a(2), 10)
  case ('array')
    print *, a
  case ('component')
    print *, h
  case ('delim')
    write (*, *, delim='quote') 1_16
  end select
  print *, 'not reached'
end program
