! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Files that cannot give or take what the program wants: with IOSTAT= it gets the number of the message, without any
! specifier it ends with that number as its status.
! case: binary-list 59 list-directed I/O syntax error
! case: binary-list-told 0
! case: directory-told 0
! case: directory 39 error during read
! case: closed 108 cannot stat file
! case: closed-told 0
! case: closed-output 108 cannot stat file
! case: closed-output-told 0
! case: full 38 error during write
! case: full-told 0
! case: cut 24 end-of-file during read
! case: cut-told 0
program bad_files
  use, intrinsic :: iso_c_binding, only: c_int
  implicit none
  interface
    integer(c_int) function c_close(fd) bind(c, name='close')
      import :: c_int
      integer(c_int), value :: fd
    end function
  end interface
  integer, parameter :: lines = 20000
  character(32) :: what
  logical :: told, whole
  integer :: u = 20, i, n, status = 0, expected
  call get_command_argument(1, what)
  told = index(what, '-told') > 0
  if (told) what = what(:index(what, '-told') - 1)
  select case (what)
  case ('binary-list')
    expected = 59
    open (u, file='data', access='stream', form='unformatted', status='replace')
    write (u) (char(mod(i * 37, 256)), i = 1, 4096)
    close (u)
    open (u, file='data', status='old', action='read')
    call get_number(u)
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
  case ('full')
    expected = 38
    open (u, file='/dev/full', action='write')
    call fill()
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

  !> Writes until something fails.
  subroutine fill()
    do while (status == 0)
      if (.not. told) write (u, '(i8)') n
      if (told) write (u, '(i8)', iostat=status) n
    end do
  end subroutine
end program
