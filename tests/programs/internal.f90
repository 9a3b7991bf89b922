! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Internal files as programs use them: numbers and text into each other, names of files, arrays as files, and
! what IOSTAT= tells of a variable that is too short or over.
program internal
  use, intrinsic :: iso_fortran_env, only: int8, real32, real64
  implicit none
  character(12) :: rows(3)
  character(8) :: grid(2, 2)
  character(:), allocatable :: line
  character(40) :: buffer, message
  character(10) :: words(3)
  integer :: i, n, status, numbers(5)
  logical :: flag
  real(real64) :: x
  complex(real32) :: z

  ! A number as text, also inside the list of another statement.
  print '(4(a,1x))', to_text(0), to_text(-huge(0)), to_text(7) // 'th', trim(name_of('run', 42))
  write (buffer, '(2a)') to_text(12), to_text(34)
  print '(a)', trim(buffer)
  write (buffer, '(f0.3,1x,es10.3,1x,l1,1x,z4.4,1x,b8.8)') 3.14159_real64, 6.02e23, .true., 48879, 5_int8
  print '(a)', trim(buffer)
  write (buffer, *) 42, 'is', .false., 1.5
  print '(3a)', '[', buffer, ']'

  ! Text as numbers.
  line = '  12, 3.25 T (1.5,-2) ''two words'' plain'
  read (line, *) n, x, flag, z, words(1), words(2)
  print '(i0,1x,f0.2,1x,l1,1x,2f5.1,1x,2a)', n, x, flag, z, words(1:2)
  line = '2026-11-23T04:05'
  read (line, '(i4,2(1x,i2),1x,i2,1x,i2)') numbers
  print '(*(i0,:,"/"))', numbers
  line = '1;2;3,5'
  read (line, *, decimal='comma') numbers(1:2), x
  print '(2i2,f4.1)', numbers(1:2), x

  ! Arrays are files with a record in each element.
  write (rows, '(a,i3)') 'row', 1, 'row', 2, 'row', 3
  print '(*("[",a,"]"))', rows
  rows = 'untouched'
  write (rows, '(i2/i2)') 10, 20
  print '(*("[",a,"]"))', rows
  read (rows(1:2), *) numbers(1:2)
  read (rows, '(i2)') i
  print '(3(i0,1x))', numbers(1:2), i
  write (grid, '(a,i0)') ('g', i, i=1, 4)
  print '(*("[",a,"]"))', grid
  write (grid(1, :), '(a)') 'first', 'row'
  print '(*("[",a,"]"))', grid

  ! What does not fit, and what is not there.
  write (buffer(1:3), '(i5)', iostat=status, iomsg=message) 5
  print '(i0,1x,a)', status, message
  write (rows, '(i2)', iostat=status) (i, i=1, 4)
  print '(i0)', status
  write (buffer, '(a)', iostat=status) buffer(2:3)
  print '(i0)', status
  read (rows(1:2), *, iostat=status) numbers(1:3)
  print '(i0,l2)', status, is_iostat_end(status)
  read (rows, '(i2)', end=10) numbers
  print '(a)', 'not reached'
10 line = '12x'
  read (line, *, iostat=status, iomsg=message) n
  print '(i0,1x,a)', status, message
  line = '12'
  read (line, '(i5)', pad='no', iostat=status) n
  print '(i0)', status
  line = '(1;2)'
  read (line, *, err=20) z
  print '(a)', 'not reached'
20 print '(a)', 'done'

contains

  function to_text(number) result(text)
    integer, intent(in) :: number
    character(:), allocatable :: text
    character(24) :: digits
    write (digits, '(i0)') number
    text = trim(digits)
  end function

  function name_of(stem, number) result(name)
    character(*), intent(in) :: stem
    integer, intent(in) :: number
    character(40) :: name
    write (name, '(a,"_",i4.4,".dat")') stem, number
  end function
end program
