! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A stream file with a header that is written last, read back by C, and a file of C read by POS=. C also looks at the
! bytes of sequential records.
! with: stream_reader.c
program stream
  use, intrinsic :: iso_c_binding
  implicit none
  interface
    integer(c_int) function check_stream(name) bind(c)
      import
      character(kind=c_char), intent(in) :: name(*)
    end function
    integer(c_int) function check_records(name) bind(c)
      import
      character(kind=c_char), intent(in) :: name(*)
    end function
  end interface
  integer(c_int32_t) :: header(2), number
  real(c_double) :: values(1000), one
  character(4) :: word
  integer :: u, i, status
  values = [(i / 8.0_c_double, i=1, 1000)]

  open (newunit=u, file='stream', access='stream', form='unformatted', status='replace')
  write (u, pos=9) values
  header = [int(z'12345678'), 1000]
  write (u, pos=1) header
  write (u, pos=9 + 8000) 'tail'
  write (u, pos=9) 0.5_c_double
  close (u)
  print *, 'C finds', check_stream('stream'//c_null_char)

  open (newunit=u, file='stream', access='stream', status='old')
  read (u, pos=9 + 8*499) one
  print *, one
  read (u) one
  print *, one
  read (u, pos=5) number
  read (u, pos=9 + 8000) word
  print *, number, word
  read (u, iostat=status) number
  print *, is_iostat_end(status)
  read (u, pos=1) number
  write (u) 2000                              ! goes on behind what was read
  read (u, pos=1) header
  print '(z8,i6)', header
  read (u, pos=0, iostat=status) number
  print *, status > 0
  close (u)

  open (newunit=u, file='records', form='unformatted', status='replace')
  write (u) 1_c_int32_t, 2.0_c_double
  write (u)
  write (u) values
  close (u)
  print *, 'C finds', check_records('records'//c_null_char)
end program
