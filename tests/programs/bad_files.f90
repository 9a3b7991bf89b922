! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Files that cannot give or take what the program wants: with IOSTAT= it gets the number of the message, without any
! specifier it ends with that number as its status. A descriptor that is lost cannot be closed either, which is the last
! failure then.
! case: binary-list 59 list-directed I/O syntax error
! case: binary-list-told 0
! case: binary-format 64 input conversion error
! case: binary-format-told 0
! case: directory-told 0
! case: directory 39 error during read
! case: closed 108 cannot stat file
! case: closed-told 0
! case: closed-output 108 cannot stat file
! case: closed-output-told 0
! case: lost 28 error during read
! case: lost-told 28 CLOSE error
! case: full 38 error during write
! case: full-told 0
! case: limit 38 error during write
! case: limit-told 0
! case: fifo 24 end-of-file during read
! case: fifo-told 0
! case: endless 0
! case: cut 24 end-of-file during read
! case: cut-told 0
program bad_files
  use, intrinsic :: iso_c_binding, only: c_int, c_long, c_intptr_t
  implicit none
  interface
    integer(c_int) function c_close(fd) bind(c, name='close')
      import :: c_int
      integer(c_int), value :: fd
    end function
    integer(c_int) function c_setrlimit(resource, limits) bind(c, name='setrlimit')
      import :: c_int, c_long
      integer(c_int), value :: resource
      integer(c_long), intent(in) :: limits(2)
    end function
    integer(c_intptr_t) function c_signal(number, handler) bind(c, name='signal')
      import :: c_int, c_intptr_t
      integer(c_int), value :: number
      integer(c_intptr_t), value :: handler
    end function
  end interface
  integer, parameter :: lines = 20000
  character(32) :: what
  logical :: told, whole
  integer :: u = 20, i, n, status = 0, expected
  character(8) :: text
  call get_command_argument(1, what)
  told = index(what, '-told') > 0
  if (told) what = what(:index(what, '-told') - 1)
  select case (what)
  case ('binary-list', 'binary-format')
    call make_stream([(char(mod(i * 37, 256)), i = 1, 4096)])
    expected = merge(59, 64, what == 'binary-list')
    if (what == 'binary-list') call get_number(u)
    if (what == 'binary-format') call get_line()
  case ('directory')
    expected = 39
    call execute_command_line('mkdir -p folder')
    open (u, file='folder', status='old', action='read')
    call get_number(u)
  case ('closed')
    expected = 108
    if (c_close(0) /= 0) error stop 'not closed'
    call get_number(5)
  case ('closed-output')
    expected = 108
    if (c_close(1) /= 0) error stop 'not closed'
    if (.not. told) print *, 'lost'
    if (told) write (*, *, iostat=status) 'lost'
  case ('lost')
    expected = 39
    call make_lines()
    do while (status == 0)
      call get_line()
      if (n == 1) call lose_descriptors()
    end do
  case ('full')
    expected = 38
    open (u, file='/dev/full', action='write')
    call fill()
  case ('limit')
    expected = 38
    if (c_signal(25, 1_c_intptr_t) == -1) error stop 'not ignored'  ! SIGXFSZ
    if (c_setrlimit(1, [20000_c_long, 20000_c_long]) /= 0) error stop 'no limit'  ! RLIMIT_FSIZE
    open (u, file='limited', status='replace', action='write')
    call fill()
    call execute_command_line('test "$(stat -c %s limited)" = 20000', exitstat=n)
    if (n /= 0) error stop 'the limit is not used up'
  case ('fifo')
    expected = -1
    call execute_command_line('rm -f pipe2; mkfifo pipe2; (printf "7 8\n9" >pipe2) &')
    open (u, file='pipe2', status='old', action='read')
    do i = 7, 9, 2
      call get_number(u)
      if (n /= i) error stop 'another number read'
    end do
    call get_number(u)
  case ('endless')
    expected = -1
    call make_stream([(repeat('0123456789', 3000), i = 1, 100)])
    read (u, '(a)') text
    if (text /= '01234567') error stop 'not the start of the line'
    read (u, '(a)', iostat=status) text
  case ('cut')
    expected = -1
    call make_lines()
    do i = 1, 5000
      call get_line()
    end do
    call execute_command_line('truncate -s 100 data')
    whole = .true.
    do i = i, lines + 1  ! what has been read ahead, and then the end
      call get_line()
      if (status /= 0) exit
      if (.not. whole) error stop 'more behind the cut'
      whole = n == i  ! the last line may be cut as well
    end do
    if (i > lines) error stop 'the end has been read'
  end select
  if (status /= expected) then
    write (0, *) what, status, expected
    error stop 'another number'
  end if
contains
  subroutine make_stream(bytes)
    character(*), intent(in) :: bytes(:)
    open (u, file='data', access='stream', form='unformatted', status='replace')
    write (u) bytes
    close (u)
    open (u, file='data', status='old', action='read')
  end subroutine

  subroutine make_lines()
    open (u, file='data', status='replace', action='write')
    write (u, '(i8)') (i, i = 1, lines)
    close (u)
    open (u, file='data', status='old', action='read')
  end subroutine

  subroutine get_number(unit)
    integer, intent(in) :: unit
    if (.not. told) read (unit, *) n
    if (told) read (unit, *, iostat=status) n
  end subroutine

  subroutine get_line()
    if (.not. told) read (u, '(i8)') n
    if (told) read (u, '(i8)', iostat=status) n
  end subroutine

  !> Closes what the program has open beside the standard streams, behind the library's back.
  subroutine lose_descriptors()
    integer(c_int) :: fd, ignored
    do fd = 3, 20
      ignored = c_close(fd)
    end do
  end subroutine

  !> Writes until something fails.
  subroutine fill()
    do while (status == 0)
      if (.not. told) write (u, '(i8)') n
      if (told) write (u, '(i8)', iostat=status) n
    end do
  end subroutine
end program
