! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A simulation dumps its state unformatted and goes on from the dump: several arrays in one record and in records of
! their own, sections, all kinds, a record with the length of the next one in it, foreign byte order.
program dump
  use, intrinsic :: iso_fortran_env
  implicit none
  integer, parameter :: n = 60
  real(real64) :: field(n, n, n), back(n, n, n), section(n)
  real(real32) :: small(7), small_back(7)
  real(real128) :: quad, quad_back
  complex(real64) :: wave(50), wave_back(50)
  integer(int64) :: steps(3), steps_back(3)
  integer(int8) :: bytes(5), bytes_back(5)
  integer(16) :: huge_number, huge_back
  logical :: flags(4), flags_back(4)
  character(9) :: name, name_back
  character(kind=4, len=3) :: wide, wide_back
  integer, allocatable :: list(:)
  integer :: u, i, m, status, count_back
  real(real64) :: x

  call random_number(field)
  call random_number(small)
  wave = [(cmplx(i, -i, real64), i=1, 50)]
  steps = [1_int64, -2_int64, 2_int64**40]
  bytes = [1, 2, 3, -4, 5]
  flags = [.true., .false., .true., .false.]
  huge_number = 2_16**100 + 1
  quad = 1 / 3.0_real128
  name = 'restarted'
  wide = 4_'abc'

  call write_all('big_endian')
  call write_all('native')

  open (newunit=u, file='dump', form='unformatted', status='old', action='readwrite')
  do i = 1, 4
    read (u)
  end do
  write (u) 'after'
  close (u)
  open (newunit=u, file='dump', form='unformatted', action='read')
  m = 0
  do
    read (u, iostat=status) name(1:1)
    if (status /= 0) exit
    m = m + 1
  end do
  print *, 'records behind a write in the middle', m, status == iostat_end
  close (u)

  open (7, file='fort.77', form='unformatted')
  write (7, iostat=status) 1
  print *, status
  read (7, *, iostat=status) i
  print *, 'formatted read refused', status > 0
  close (7, status='delete')

contains

  subroutine write_all(convert)
    character(*), intent(in) :: convert
    open (newunit=u, file='dump', form='unformatted', status='replace', convert=convert)
    write (u) name, n, steps, bytes, flags, huge_number, quad, wide
    write (u) field
    write (u) wave, small
    write (u) (field(i, 3, 4), i=1, n, 2), field(5, :, 6)
    write (u) 5, (10*i, i=1, 5)
    write (u)
    write (u) 1.5_real64
    close (u)

    open (newunit=u, file='dump', form='unformatted', status='old', action='read', convert=convert)
    read (u) name_back, count_back, steps_back, bytes_back, flags_back, huge_back, quad_back, wide_back
    print *, name_back, count_back, all(steps == steps_back), all(bytes == bytes_back), all(flags .eqv. flags_back), &
      huge_back == huge_number, quad_back == quad, wide_back == wide
    read (u) back
    print *, all(back == field)
    read (u) wave_back, small_back
    print *, all(wave == wave_back), all(small == small_back)
    read (u) section(1:n/2)                  ! less than the record
    print *, all(section(1:n/2) == field(1:n:2, 3, 4))
    read (u) m
    print *, m
    read (u)
    read (u, iostat=status) x, i             ! more than the record
    print *, x, status > 0
    read (u, iostat=status)
    print *, status == iostat_end
    close (u)

    open (newunit=u, file='dump', form='unformatted', action='read', convert=convert)
    do i = 1, 4
      read (u)
    end do
    read (u) m
    close (u)
    open (newunit=u, file='dump', form='unformatted', action='read', convert=convert)
    do i = 1, 4
      read (u)
    end do
    allocate (list(m))
    read (u) m, list
    print *, list
    deallocate (list)
    close (u)
  end subroutine

end program
