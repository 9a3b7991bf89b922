! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Large files written and read back, as text and by record number: what comes back is what went out, in few calls of the
! system. A buffer holds 128 KiB.
program large_files
  use, intrinsic :: iso_fortran_env, only: int64, real64
  implicit none
  integer(int64), parameter :: line_bytes = 64
  integer, parameter :: records = 40000, record_bytes = 100, jumps = 500, few = 8192
  character(*), parameter :: form = '(i12,es24.16,1x,a26)', letters = 'abcdefghijklmnopqrstuvwxyz'
  integer(int64), parameter :: lines = 32768, bytes = lines * line_bytes, block = 131072
  integer(int64) :: i, number, first
  real(real64) :: value
  character(26) :: text
  integer :: u, k, record, status
  open (newunit=u, file='large', status='replace', action='write')
  first = calls('syscw')
  do i = 1, lines
    write (u, form) i * 7, value_of(i), letters
  end do
  close (u)
  call judge('write calls', calls('syscw') - first)
  inquire (file='large', size=number)
  print '(a,l2)', 'size as told', number == bytes

  open (newunit=u, file='large', status='old', action='read')
  first = calls('syscr')
  do i = 1, lines
    read (u, form) number, value, text
    if (number /= i * 7 .or. value /= value_of(i) .or. text /= letters) error stop 'a record came back changed'
  end do
  call judge('read calls', calls('syscr') - first)
  read (u, form, iostat=status) number
  print '(a,l2)', 'end behind the last record', is_iostat_end(status)

  close (u, status='delete')

  ! Records in their order cost a call for each block, anywhere few bytes each.
  open (newunit=u, file='records', access='direct', form='unformatted', recl=record_bytes)
  do k = 1, records
    write (u, rec=k) k
  end do
  first = calls('syscr')
  do k = 1, records
    read (u, rec=k) record
    if (record /= k) error stop 'a record came back changed'
  end do
  print '(a,l2)', 'in order', calls('syscr') - first < records * record_bytes / block + 16 .or. first < 0
  first = calls('rchar')
  do k = 1, jumps
    read (u, rec=mod(k * 7919, records) + 1) record
    if (record /= mod(k * 7919, records) + 1) error stop 'a record came back changed'
  end do
  print '(a,l2)', 'anywhere', calls('rchar') - first < (jumps + 16) * few .or. first < 0
  close (u, status='delete')
contains
  real(real64) function value_of(i)
    integer(int64), intent(in) :: i
    value_of = (mod(i * 7919, 1000003_int64) - 500000) * 1.2345678901234567e-3_real64
  end function

  !> What the process has done of one kind: calls of the system, bytes.
  integer(int64) function calls(kind)
    character(*), intent(in) :: kind
    character(30) :: name
    integer(int64) :: count
    integer :: io, code
    open (newunit=io, file='/proc/self/io', status='old', action='read', iostat=code)
    calls = -1
    if (code /= 0) return
    do
      read (io, *, iostat=code) name, count
      if (code /= 0) exit
      if (name == kind//':') calls = count
    end do
    close (io)
  end function

  !> A call for each full block, and a few for what is not full. Without /proc there is nothing to count.
  subroutine judge(what, count)
    character(*), intent(in) :: what
    integer(int64), intent(in) :: count
    integer(int64) :: blocks
    logical :: right
    blocks = bytes / block
    right = first < 0 .or. (count >= blocks .and. count <= blocks + blocks / 16 + 8)
    print '(a,l2)', what//' as blocks', right
    if (.not. right) print *, count, blocks
  end subroutine
end program
