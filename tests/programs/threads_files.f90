! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Threads that open, write, read and close files of their own at the same time, and share one more.
! flags: -fopenmp
program threads_files
  implicit none
  integer, parameter :: turns = 40
  integer :: i, j, u, shared, value, wrong, lines(turns), status
  character(16) :: name
  real :: x
  wrong = 0
  open (newunit=shared, file='shared', status='replace')
  !$omp parallel do num_threads(4) schedule(dynamic, 1) private(u, name, value, x, j, status) reduction(+:wrong)
  do i = 1, turns
    write (name, '(a,i0)') 'own', i
    open (newunit=u, file=name, status='replace')
    do j = 1, 20
      write (u, '(i8,f8.2)') i * 1000 + j, j * 0.25
      if (mod(j, 5) == 0) write (shared, '(a,i3,i3,a)') 'turn', i, j, ' whole record'
    end do
    write (u, *) i, i * 0.5
    close (u)
    open (newunit=u, file=name, status='old', action='read')
    do j = 1, 20
      read (u, '(i8,f8.2)') value, x
      if (value /= i * 1000 + j .or. x /= j * 0.25) wrong = wrong + 1
    end do
    read (u, *, iostat=status) value, x
    if (status /= 0 .or. value /= i .or. x /= i * 0.5) wrong = wrong + 1
    close (u, status='delete')
  end do
  close (shared)
  open (newunit=shared, file='shared', status='old')
  lines = 0
  do
    read (shared, '(4x,i3,i3,a)', iostat=status) i, j, name
    if (status /= 0) exit
    if (name /= ' whole record') wrong = wrong + 1
    lines(i) = lines(i) + j
  end do
  print '(i0,1x,i0,l2)', wrong, status, all(lines == 50)
  close (shared, status='delete')
end program
