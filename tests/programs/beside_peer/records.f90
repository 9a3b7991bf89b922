! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! records write FILE CONVERT ACCESS: writes values of every type, alone, as arrays and as sections.
! records copy FILE CONVERT ACCESS COPY: reads the file into zeros, and writes what came to COPY in the machine's order.
program records
  implicit none
  type :: values
    integer(1) :: i1(5) = 0
    integer(2) :: i2(7) = 0
    integer(4) :: i4(3, 4) = 0
    integer(8) :: i8(33) = 0
    integer(16) :: i16(2) = 0
    logical(1) :: l1(2) = .false.
    logical(2) :: l2(3) = .false.
    logical(4) :: l4(2) = .false.
    logical(8) :: l8(5) = .false.
    real(4) :: r4(9) = 0
    real(8) :: r8(20000) = 0
    real(16) :: r16(4) = 0
    complex(4) :: c4(6) = 0
    complex(8) :: c8(5) = 0
    complex(16) :: c16(3) = 0
    character(7) :: text(3) = ''
    character(3, 4) :: wide(2) = 4_''
  end type
  character(200) :: args(5)
  type(values), save :: v, zeros
  integer :: step, i
  do i = 1, 5
    call get_command_argument(i, args(i))
  end do
  open (21, file=args(2), form='unformatted', convert=args(3), access=args(4))
  if (args(1) == 'copy') then
    open (22, file=args(5), form='unformatted', status='replace', access='stream')
  else
    call fill(v)
  end if
  do step = 1, 6
    if (args(1) == 'write') then
      call put(21, step)
    else
      v = zeros
      call get(step)
      call put(22, step)
    end if
  end do
contains
  subroutine fill(x)
    type(values), intent(out) :: x
    x%i1 = [(int(17 * i, 1), i = -2, 2)]
    x%i2 = [(int(4660 * i + 7, 2), i = -3, 3)]
    x%i4 = reshape([(305419896 - 1000003 * i, i = 1, 12)], [3, 4])
    x%i8 = [(1311768467463790320_8 / i, i = 1, 33)]
    x%i16 = [2_16**100 + 1, -3_16**70]
    x%l1 = [.true., .false.]
    x%l2 = [.true., .false., .true.]
    x%l4 = [.false., .true.]
    x%l8 = [.true., .true., .false., .true., .false.]
    x%r4 = [(1.0 / i, i = 1, 9)]
    x%r8 = [(sqrt(real(i, 8)), i = 1, 20000)]
    x%r16 = [(sqrt(real(i, 16)), i = 2, 5)]
    x%c4 = [(cmplx(i, 1.0 / i), i = 1, 6)]
    x%c8 = [(cmplx(1.0d0 / i, -i, 8), i = 1, 5)]
    x%c16 = [(cmplx(-i, 1.0_16 / i, 16), i = 1, 3)]
    x%text = [character(7) :: 'one', 'seven', 'letters']
    x%wide = [4_'abc', 4_'de ']
  end subroutine

  subroutine put(unit, step)
    integer, intent(in) :: unit, step
    select case (step)
    case (1)
      write (unit) v%i1, v%i2, v%i4, v%i8, v%i16, v%l1, v%l2, v%l4, v%l8, v%r4, v%r16, v%c4, v%c8, v%c16, v%text, v%wide
    case (2)
      write (unit) v%r8
    case (3)
      write (unit)
    case (4)
      write (unit) v%text(1), v%r8(1:19999:2), v%i2(7:1:-3), v%c8(2:5:3), v%i4(2:3, 1:4:3), v%r16(2), v%i1(1)
    case (5)
      write (unit) v%i1(1:3), v%r8, v%c16(3:1:-1), (v%i8(i), v%c4(i), i = 1, 6)
    case (6)
      write (unit) v%i2(1), v%i4(1, 1), v%i8(1), v%r4(1), v%r8(1), v%r16(1), v%c4(1), v%c8(1), v%c16(1), v%l4(2), v%i16(2)
    end select
  end subroutine

  subroutine get(step)
    integer, intent(in) :: step
    select case (step)
    case (1)
      read (21) v%i1, v%i2, v%i4, v%i8, v%i16, v%l1, v%l2, v%l4, v%l8, v%r4, v%r16, v%c4, v%c8, v%c16, v%text, v%wide
    case (2)
      read (21) v%r8
    case (3)
      read (21)
    case (4)
      read (21) v%text(1), v%r8(1:19999:2), v%i2(7:1:-3), v%c8(2:5:3), v%i4(2:3, 1:4:3), v%r16(2), v%i1(1)
    case (5)
      read (21) v%i1(1:3), v%r8, v%c16(3:1:-1), (v%i8(i), v%c4(i), i = 1, 6)
    case (6)
      read (21) v%i2(1), v%i4(1, 1), v%i8(1), v%r4(1), v%r8(1), v%r16(1), v%c4(1), v%c8(1), v%c16(1), v%l4(2), v%i16(2)
    end select
  end subroutine
end program
