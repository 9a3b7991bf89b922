! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Threads that print at the same time, through the library and through libgfortran: records stay whole.
! flags: -fopenmp
! sort: yes
program threads
  implicit none
  integer, parameter :: count = 400
  integer :: i
  !$omp parallel do num_threads(4) schedule(dynamic, 1)
  do i = 1, count
    if (mod(i, 4) == 0) then
      write (*, '(a, i6, a)') ' formatted', i, ' of another library'
    else
      print *, 'record', i, real(i), echo(i), 'complete'
    end if
  end do
  print *, 'all done'
contains
  integer function echo(n)
    integer, intent(in) :: n
    character(12) :: text
    write (text, '(i12)') n
    read (text, *) echo
  end function
end program
