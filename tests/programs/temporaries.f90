! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Specifiers and formats that are temporaries, which compiled code frees before the items come; blocks of the same
! sizes take their place.
program temporaries
  implicit none
  character(20) :: start = '(i5', yes = 'yes', plus = 'plus', quote = 'quote', comma = 'comma', up = 'up'
  call show(1)
  call show(22)
contains
  subroutine show(n)
    integer, intent(in) :: n
    write (*, trim(start)//')', advance=trim(yes), sign=trim(plus)) overwrite(n)
    write (*, *, delim=trim(quote), sign=trim(plus)) text(n), overwrite(n)
    write (*, trim(start)//',1x,f4.1,1x,a)', sign=trim(plus), decimal=trim(comma), round=trim(up)) &
      overwrite(n), 0.125d0, 'a text that is longer than what the adapter copies'
  end subroutine
  integer function overwrite(n)
    integer, intent(in) :: n
    character(:), allocatable :: blocks(:)
    integer :: i
    do i = 1, 8
      allocate (character(i) :: blocks(4))
      blocks = repeat('?', i)
      deallocate (blocks)
    end do
    overwrite = n
  end function
  function text(n)
    integer, intent(in) :: n
    character(:), allocatable :: text
    text = repeat('ab', n)
  end function
end program
