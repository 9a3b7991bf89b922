! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Records by number cost what they should: read in their order a call of the system for each 128 KiB, read anywhere few
! bytes each. Without /proc there is nothing to count.
program direct_reads
  use, intrinsic :: iso_fortran_env, only: int64
  implicit none
  integer, parameter :: records = 40000, record_bytes = 100, jumps = 500, few = 8192
  integer(int64) :: first
  integer :: u, i, number, value
  open (newunit=u, file='data', access='direct', form='unformatted', recl=record_bytes)
  do i = 1, records
    write (u, rec=i) i
  end do
  first = counted('syscr')
  do i = 1, records
    read (u, rec=i) value
    if (value /= i) error stop 'a record came back changed'
  end do
  print '(a,l2)', 'in order', counted('syscr') - first < records * record_bytes / 131072 + 16 .or. first < 0
  first = counted('rchar')
  do i = 1, jumps
    number = mod(i * 7919, records) + 1
    read (u, rec=number) value
    if (value /= number) error stop 'a record came back changed'
  end do
  print '(a,l2)', 'anywhere', counted('rchar') - first < (jumps + 16) * few .or. first < 0
contains
  integer(int64) function counted(kind)
    character(*), intent(in) :: kind
    character(30) :: name
    integer(int64) :: count
    integer :: io, code
    counted = -1
    open (newunit=io, file='/proc/self/io', status='old', action='read', iostat=code)
    if (code /= 0) return
    do
      read (io, *, iostat=code) name, count
      if (code /= 0) exit
      if (name == kind//':') counted = count
    end do
    close (io)
  end function
end program
