! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Files of other machines (data/README.md) are read, and written again: their bytes must come back.
! env: TAMRUN_GNU_FILES=1
! args: "$folder/data"
program foreign
  implicit none
  character(5), parameter :: conversions(6) = [character(5) :: 'VAXD', 'VAXG', 'IBM', 'CRAY', 'FDX', 'FGX']
  character(5), parameter :: files(6) = [character(5) :: 'vaxd', 'vaxg', 'ibm', 'cray', 'vaxd', 'vaxg']
  character(400) :: folder
  real(4) :: singles(5)
  real(8) :: doubles(5)
  integer :: number, i
  character(4) :: text
  call get_command_argument(1, folder)
  do i = 1, size(conversions)
    singles = -1
    doubles = -1
    open (21, file=trim(folder)//'/reals.'//files(i), form='unformatted', status='old', action='read', &
          convert=trim(conversions(i)))
    read (21) singles
    read (21) doubles
    read (21) number, text
    close (21)
    print '(a,5(1x,z8.8))', conversions(i), transfer(singles, [number])
    print '(5x,5(1x,z16.16))', transfer(doubles, [1_8])
    print '(6x,z8.8,1x,a)', number, text

    open (21, file='again', form='unformatted', status='replace', convert=trim(conversions(i)))
    write (21) singles(1), singles(2:)
    write (21) doubles(1:5:1)
    write (21) number, text
    close (21)
    call compare(trim(folder)//'/reals.'//files(i), 'again')
  end do
contains
  ! Tells the bytes that differ.
  subroutine compare(one, other)
    character(*), intent(in) :: one, other
    character(1) :: a, b
    integer :: at, ends(2)
    open (22, file=one, form='unformatted', access='stream', status='old', action='read')
    open (23, file=other, form='unformatted', access='stream', status='old', action='read')
    do at = 1, 1000
      read (22, iostat=ends(1)) a
      read (23, iostat=ends(2)) b
      if (any(ends /= 0)) exit
      if (a /= b) print '(6x,"byte ",i0,": ",z2.2," for ",z2.2)', at, ichar(b), ichar(a)
    end do
    if (any(ends /= -1)) print '(6x,a,2i4)', 'ends', ends
    close (22)
    close (23)
  end subroutine
end program
