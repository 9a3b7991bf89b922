! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! io_forms prepare N: writes the files that are read. io_forms run N: N records in each form; prints for each form its
! name and the nanoseconds of processor time that one record took. Internal files have ten times as many.
program io_forms
  use, intrinsic :: iso_fortran_env, only: int64, real64
  implicit none
  integer, parameter :: reals_file = 1, integers_file = 2, list_file = 3, small_file = 4, large_file = 5
  character(8), parameter :: files(5) = [character(8) :: 'reals', 'integers', 'list', 'small', 'large']
  integer, parameter :: large = 2**20, per_large = 1000
  integer, parameter :: internal_records = 10
  character(5), parameter :: label = 'label'
  character(16) :: word
  character(32) :: text
  integer :: n, u, i, numbers(10)
  real(real64) :: start
  real(real64) :: x(8)
  real(real64), allocatable :: array(:)
  logical :: prepares

  call get_command_argument(1, word)
  prepares = word == 'prepare'
  call get_command_argument(2, word)
  read (word, '(i16)') n
  allocate (array(large))
  array = 1
  if (prepares) then
    call begin_write(files(reals_file))
    do i = 1, n
      call make(i)
      write (u, '(5es24.16)') x(1:5)
    end do
    close (u)
    call begin_write(files(integers_file))
    do i = 1, n
      call make(i)
      write (u, '(10i12)') numbers
    end do
    close (u)
    call begin_write(files(list_file))
    do i = 1, n
      call make(i)
      write (u, '(i0,1x,es23.16)') numbers(1), x(1)
    end do
    close (u)
    call begin_write(files(small_file), 'unformatted')
    do i = 1, n
      write (u) i, 1.5_real64
    end do
    close (u)
    call begin_write(files(large_file), 'unformatted')
    do i = 1, n, per_large
      write (u) array
    end do
    close (u)
    stop
  end if

  call begin_write('scratch')
  do i = 1, n
    call make(i)
    write (u, '(5es24.16)') x(1:5)
  end do
  call finish('write (5ES24.16)')

  call begin_write('scratch')
  do i = 1, n
    call make(i)
    write (u, '(8f12.4)') x
  end do
  call finish('write (8F12.4)')

  call begin_write('scratch')
  do i = 1, n
    call make(i)
    write (u, '(10i12)') numbers
  end do
  call finish('write (10I12)')

  call begin_write('scratch')
  do i = 1, n
    call make(i)
    write (u, *) numbers(1), x(1)
  end do
  call finish('write * integer, double')

  call begin_write('scratch')
  do i = 1, n
    call make(i)
    write (u, '(i8,1x,a,1x,f10.3)') i, label, x(1)
  end do
  call finish('write (I8,1X,A,1X,F10.3)')

  call begin_read(files(reals_file))
  do i = 1, n
    read (u, '(5es24.16)') x(1:5)
    if (abs(x(1)) > 1e6_real64) stop 1
  end do
  call finish('read (5ES24.16)')

  call begin_read(files(integers_file))
  do i = 1, n
    read (u, '(10i12)') numbers
    if (numbers(1) < 0) stop 1
  end do
  call finish('read (10I12)')

  call begin_read(files(list_file))
  do i = 1, n
    read (u, *) numbers(1), x(1)
    if (numbers(1) < 0) stop 1
  end do
  call finish('read * integer, double')

  call begin_write('scratch', 'unformatted')
  do i = 1, n
    write (u) i, x(1)
  end do
  call finish('write unformatted int, double')

  call begin_read(files(small_file), 'unformatted')
  do i = 1, n
    read (u) numbers(1), x(1)
    if (numbers(1) /= i) stop 1
  end do
  call finish('read unformatted int, double')

  call begin_read(files(large_file), 'unformatted')
  do i = 1, n, per_large
    read (u) array
  end do
  call finish('read unformatted 8 MB / 1000')

  call begin_write('scratch', 'unformatted')
  do i = 1, n, per_large
    write (u) array
  end do
  call finish('write unformatted 8 MB / 1000')

  call begin_direct('replace')
  do i = 1, n
    write (u, rec=i) i, x(1)
  end do
  call finish('write direct 16 bytes')

  call begin_direct('old')
  do i = 1, n
    read (u, rec=i) numbers(1), x(1)
    if (numbers(1) /= i) stop 1
  end do
  call finish('read direct forwards')

  call begin_direct('old')
  do i = n, 1, -1
    read (u, rec=i) numbers(1), x(1)
    if (numbers(1) /= i) stop 1
  end do
  call finish('read direct backwards')

  call begin_direct('old')
  do i = 1, n
    read (u, rec=modulo(i*7919_int64, n) + 1) numbers(1), x(1)
  end do
  call finish('read direct at random')

  call cpu_time(start)
  do i = 1, internal_records * n
    write (text, '(i0)') i
  end do
  call report('write internal (I0)', internal_records)

  call make(n)
  call cpu_time(start)
  do i = 1, internal_records * n
    write (text, '(es24.16)') x(mod(i, 8) + 1)
  end do
  call report('write internal (ES24.16)', internal_records)

  text = ' 12345'
  call cpu_time(start)
  do i = 1, internal_records * n
    read (text, *) numbers(1)
  end do
  call report('read internal * integer', internal_records)

contains

  !> Values of record i, of all magnitudes that fit the fields.
  subroutine make(i)
    integer, intent(in) :: i
    integer :: k
    do k = 1, 8
      x(k) = (mod(i * 7919_int64 * k, 1000003_int64) - 500000) * 1.2345678901234567e-3_real64 * k
    end do
    do k = 1, 10
      numbers(k) = int(mod(i * 104729_int64 * k * k, 10_int64**(mod(k, 9) + 1)))
    end do
  end subroutine

  subroutine begin_write(name, form)
    character(*), intent(in) :: name
    character(*), intent(in), optional :: form
    character(11) :: form_word
    form_word = 'formatted'
    if (present(form)) form_word = form
    open (newunit=u, file=name, form=form_word, status='replace', action='write')
    call cpu_time(start)
  end subroutine

  !> Records of 16 bytes, of which 12 have values.
  subroutine begin_direct(status)
    character(*), intent(in) :: status
    open (newunit=u, file='scratch', access='direct', form='unformatted', recl=16, status=status)
    call cpu_time(start)
  end subroutine

  subroutine begin_read(name, form)
    character(*), intent(in) :: name
    character(*), intent(in), optional :: form
    character(11) :: form_word
    form_word = 'formatted'
    if (present(form)) form_word = form
    open (newunit=u, file=name, form=form_word, status='old', action='read')
    call cpu_time(start)
  end subroutine

  subroutine finish(form)
    character(*), intent(in) :: form
    close (u)
    call report(form, 1)
  end subroutine

  subroutine report(form, times)
    character(*), intent(in) :: form
    integer, intent(in) :: times
    real(real64) :: finish_time
    call cpu_time(finish_time)
    print '(a,t32,i12)', form, nint((finish_time - start) * 1e9_real64 / n / times)
  end subroutine

end program
