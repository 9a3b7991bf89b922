! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Unformatted records and streams: values that say what is read next, records that end too early or reach beyond the buffer,
! a write in the middle of a file, positions in a stream. (beside_peer/records.f90 has the bytes of all types.)
program unformatted
  use, intrinsic :: iso_fortran_env
  implicit none
  integer, parameter :: many = 70000
  integer :: u, i, j, n, status
  integer :: index(25), filled(50)
  integer, allocatable :: numbers(:), list(:)
  real(real64), allocatable :: values(:)
  real(real64) :: x
  character(5) :: word

  ! Each value says where the next one goes, or how many there are.
  open (newunit=u, file='pairs', form='unformatted')
  write (u) 25, (51 - 2*i, i*i, i=1, 25)
  write (u) 3, 1, 2, 3
  rewind (u)
  filled = -1
  read (u) n, (index(i), filled(index(i)), i=1, n)
  print *, n, all(filled(1:49:2) == [((25 - i)**2, i=0, 24)]), all(filled(2:50:2) == -1)
  read (u) n
  backspace (u)
  allocate (list(n))
  read (u) n, list
  print *, list
  backspace (u)

  ! A list longer than its record: what is there arrives, and the next READ begins behind the record.
  read (u, iostat=status) n, filled(1), filled(2), filled(3), filled(4), x
  print *, status > 0, n, filled(1:4)
  read (u, iostat=status) n
  print *, status == iostat_end
  backspace (u)
  backspace (u)
  x = -1
  read (u, iostat=status) n, i, j, x  ! eight bytes where four are left
  print *, status > 0, n, i, j
  rewind (u)
  read (u)
  write (u) 'after'  ! the end of the file is behind it
  rewind (u)
  read (u)
  read (u) word
  read (u, iostat=status)
  print *, word, status == iostat_end
  read (u, *, iostat=status) i
  print *, 'formatted read refused', status > 0
  close (u, status='delete')

  ! A record that is longer than the buffer, value by value.
  allocate (numbers(many), values(many))
  open (newunit=u, file='long', form='unformatted')
  write (u) (i, 2d0*i, i=1, many), 'ended'
  write (u) many
  rewind (u)
  read (u) (numbers(i), values(i), i=1, many), word
  read (u) n
  print *, all(numbers == [(i, i=1, many)]), all(values == [(2d0*i, i=1, many)]), word, n
  close (u, status='delete')

  ! A stream whose header is written last.
  open (newunit=u, file='stream', access='stream', form='unformatted', status='replace')
  write (u, pos=9) values(:1000)
  write (u, pos=1) int(z'12345678'), 1000
  write (u, pos=8009) 'tail'
  write (u, pos=9) 0.5_real64
  close (u)
  call execute_command_line('od -An -tx4 -N8 stream; od -An -tf8 -j8 -N16 stream; od -An -c -j8008 stream')
  open (newunit=u, file='stream', access='stream', status='old')
  read (u, pos=9 + 8*499) x
  read (u) values(1)
  print *, x, values(1)
  read (u, pos=8009) word(:4)
  read (u, iostat=status) n
  print *, word(:4), is_iostat_end(status)
  read (u, pos=1) n
  write (u) 2000                              ! goes on behind what was read
  read (u, pos=1) filled(1:2)
  print '(z8,i6)', filled(1:2)
  read (u, pos=0, iostat=status) n
  print *, status > 0
  close (u)
  deallocate (numbers, values, list)
end program
