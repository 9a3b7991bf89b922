! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Unformatted records of single values: more than fit one call, of all kinds in one record, records that end too early or
! reach beyond the buffer, values that decide what is read next, in both byte orders and in stream access.
program scalars
  use, intrinsic :: iso_fortran_env
  implicit none
  integer, parameter :: many = 70000
  integer :: u, i, j, n, status
  integer :: index(25), filled(50)
  integer, allocatable :: numbers(:)
  real(real64), allocatable :: values(:)
  real(real64) :: x
  character(5) :: word

  call all_kinds('native', 'sequential')
  call all_kinds('big_endian', 'sequential')
  call all_kinds('native', 'stream')

  ! Each value says where the next one goes.
  open (newunit=u, file='pairs', form='unformatted')
  write (u) 25, (51 - 2*i, i*i, i=1, 25)
  write (u) 3, 1, 2, 3
  rewind (u)
  filled = -1
  read (u) n, (index(i), filled(index(i)), i=1, n)
  print *, n, all(filled(1:49:2) == [((25 - i)**2, i=0, 24)]), all(filled(2:50:2) == -1)

  ! A list longer than its record: what is there arrives, and the next READ begins behind the record.
  read (u, iostat=status) n, filled(1), filled(2), filled(3), filled(4), x
  print *, status > 0, n, filled(1:4)
  read (u, iostat=status) n
  print *, status == iostat_end
  backspace (u)
  backspace (u)
  read (u) n, i
  print *, n, i
  backspace (u)
  x = -1
  read (u, iostat=status) n, i, j, x  ! eight bytes where four are left
  print *, status > 0, n, i, j
  close (u, status='delete')

  ! A record that is longer than the buffer, value by value.
  allocate (numbers(many), values(many))
  open (newunit=u, file='long', form='unformatted')
  write (u) (i, 2d0*i, i=1, many), 'ended'
  write (u) many
  rewind (u)
  read (u) (numbers(i), values(i), i=1, many), word
  read (u) n
  print *, all(numbers == [(i, i=1, many)]), all(values == [(2d0*i, i=1, many)]), word, n
  close (u, status='delete')
  deallocate (numbers, values)

contains

  subroutine all_kinds(order, access)
    character(*), intent(in) :: order, access
    integer :: u, k, first, last, n
    integer(int64) :: wide
    integer(int16) :: short
    integer(int8) :: byte
    real(real32) :: r
    real(real128) :: quad
    complex(real32) :: z
    complex(real64) :: zz
    logical :: flag
    character(3) :: text
    real(real64) :: x, pair(2)

    open (newunit=u, file='kinds', form='unformatted', convert=order, access=access)
    do k = 1, 3
      write (u) k, k + 0.5d0, int(k, int64)*2_int64**40, int(-k, int16), int(k, int8), real(k, real32)/3, &
        1/real(k, real128), cmplx(k, -k), cmplx(k, -k, real64), k == 2, 'abc', [1d0*k, 2d0*k], -k
      write (u) (k*i, i=1, 60)
    end do
    rewind (u)
    do k = 1, 3
      read (u) first, x, wide, short, byte, r, quad, z, zz, flag, text, pair, last
      if (first /= k .or. x /= k + 0.5d0 .or. wide /= int(k, int64)*2_int64**40 .or. short /= -k .or. byte /= k .or. &
          r /= real(k, real32)/3 .or. quad /= 1/real(k, real128) .or. z /= cmplx(k, -k) .or. &
          zz /= cmplx(k, -k, real64) .or. (flag .neqv. k == 2) .or. text /= 'abc' .or. any(pair /= [1d0*k, 2d0*k]) .or. &
          last /= -k) print *, 'values differ', k
      read (u) (filled(i), i=1, 50)
      if (any(filled /= [(k*i, i=1, 50)])) print *, 'numbers differ', k
      if (access == 'stream') read (u) (n, i=51, 60)
    end do
    inquire (u, pos=n)
    print *, order, ' ', access, merge(n, 0, access == 'stream')
    close (u, status='delete')
  end subroutine

end program
