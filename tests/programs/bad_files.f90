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
  character(32) :: what
  logical :: told, whole
  integer :: u, i, n, status, expected
  character(8) :: text
  call get_command_argument(1, what)
  told = index(what, '-told') > 0
  if (told) what = what(:index(what, '-told') - 1)
  u = 20
  status = 0
  select case (what)
  case ('binary-list', 'binary-format')
    open (u, file='bytes', access='stream', form='unformatted', status='replace')
    write (u) (char(mod(i * 37, 256)), i = 1, 4096)
    close (u)
    open (u, file='bytes', status='old', action='read')
    if (what == 'binary-list') then
      expected = 59
      if (.not. told) read (u, *) n
      if (told) read (u, *, iostat=status) n
    else
      expected = 64
      if (.not. told) read (u, '(i5)') n
      if (told) read (u, '(i5)', iostat=status) n
    end if
  case ('directory')
    call execute_command_line('mkdir -p folder')
    expected = 39
    open (u, file='folder', status='old', action='read')
    if (.not. told) read (u, *) n
    if (told) read (u, *, iostat=status) n
  case ('closed')
    expected = 108
    if (c_close(0) /= 0) error stop 'not closed'
    if (.not. told) read (*, *) n
    if (told) read (*, *, iostat=status) n
  case ('lost')
    expected = 39
    open (u, file='lines', status='replace', action='write')
    do i = 1, 20000
      write (u, '(i8)') i
    end do
    close (u)
    open (u, file='lines', status='old', action='read')
    do i = 1, 20000
      if (.not. told) read (u, '(i8)') n
      if (told) read (u, '(i8)', iostat=status) n
      if (status /= 0) exit
      if (i == 1) call lose_descriptors()
    end do
  case ('full')
    expected = 38
    open (u, file='/dev/full', action='write')
    call fill(told)
  case ('limit')
    expected = 38
    if (c_signal(25, 1_c_intptr_t) == -1) error stop 'not ignored'  ! SIGXFSZ
    if (c_setrlimit(1, [20000_c_long, 20000_c_long]) /= 0) error stop 'no limit'  ! RLIMIT_FSIZE
    open (u, file='limited', status='replace', action='write')
    call fill(told)
    call execute_command_line('test "$(stat -c %s limited)" = 20000', exitstat=n)
    if (n /= 0) error stop 'the limit is not used up'
  case ('fifo')
    expected = -1
    call execute_command_line('rm -f pipe2; mkfifo pipe2; (printf "7 8\n9" >pipe2) &')
    open (u, file='pipe2', status='old', action='read')
    read (u, *) n
    if (n /= 7) error stop 'not 7'
    read (u, *) n
    if (n /= 9) error stop 'not 9'
    if (.not. told) read (u, *) n
    if (told) read (u, *, iostat=status) n
  case ('endless')
    expected = -1
    open (u, file='line', access='stream', form='unformatted', status='replace')
    write (u) repeat('0123456789', 300000)
    close (u)
    open (u, file='line', status='old', action='read')
    read (u, '(a)') text
    if (text /= '01234567') error stop 'not the start of the line'
    read (u, '(a)', iostat=status) text
  case ('cut')
    expected = -1
    open (u, file='cut', status='replace', action='write')
    do i = 1, 20000
      write (u, '(i8)') i
    end do
    close (u)
    open (u, file='cut', status='old', action='read')
    do i = 1, 5000
      read (u, '(i8)') n
    end do
    call execute_command_line('truncate -s 100 cut')
    whole = .true.
    do while (status == 0)  ! what has been read ahead, and then the end
      if (.not. told) read (u, '(i8)') n
      if (told) read (u, '(i8)', iostat=status) n
      if (status /= 0) exit
      if (.not. whole) error stop 'more behind the cut'
      whole = n == i  ! the last line may be cut as well
      i = i + 1
    end do
    if (i > 20000) error stop 'the end has been read'
  end select
  if (status /= expected) then
    write (0, *) what, status, expected
    error stop 'another number'
  end if
contains
  !> Closes what the program has open beside the standard streams, behind the library's back.
  subroutine lose_descriptors()
    integer(c_int) :: fd, ignored
    do fd = 3, 20
      ignored = c_close(fd)
    end do
  end subroutine

  !> Writes until something fails.
  subroutine fill(told)
    logical, intent(in) :: told
    integer :: i
    do i = 1, 100000
      if (.not. told) write (u, '(i8)') i
      if (told) write (u, '(i8)', iostat=status) i
      if (status /= 0) return
    end do
  end subroutine
end program
