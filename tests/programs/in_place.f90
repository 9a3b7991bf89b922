! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Unformatted lists of every kind of item, in every order that changes the road they take into the record and out of it.
! The bytes of the file are those of the values, told by TRANSFER.
program in_place
  implicit none
  integer, parameter :: byte = selected_int_kind(2), room = 600
  integer(byte) :: i1 = -7
  integer(2) :: i2 = 1234
  integer :: i4 = 87654321, five(5) = [1, 2, 3, 4, 5], many(40), none(0), u, v, k
  integer(8) :: i8 = -9876543210123_8
  integer(16) :: i16 = -5
  real :: r4 = 1.5
  real(8) :: r8 = 2.25d100, eight(8)
  complex :: c8 = (1.25, -2.5)
  complex(8) :: c16 = (3.5d0, -4.5d-5)
  logical :: l4 = .true.
  logical(1) :: l1 = .false.
  character(3) :: s3 = 'abc'
  character(30) :: s30 = 'a text that is not so short'
  character(2) :: pairs(3) = ['ab', 'cd', 'ef']
  integer(byte), allocatable :: wanted(:)

  many = [(k*k, k=1, 40)]
  eight = [(k/8d0, k=1, 8)]
  wanted = [bytes(i4), bytes(r8), bytes_of(five), bytes(i1), bytes(i2), transfer(s3, wanted), bytes_of(many(1:39:2)), &
            transfer(s30, wanted), bytes(r4), transfer(c8, wanted), transfer(c16, wanted), transfer(l4, wanted), &
            transfer(l1, wanted), transfer(i16, wanted), transfer(pairs, wanted), transfer(eight, wanted), bytes(i8)]
  open (newunit=v, file='other', form='unformatted', status='replace')

  call check('sequential', 'sequential', 'native', 4)
  call check('stream', 'stream', 'native', 0)
  call check('direct', 'direct', 'native', 0)
  call check('swapped', 'stream', 'swap', 0)
  print '(i0,a)', size(wanted), ' bytes'
  call too_long
  close (v, status='delete')
  deallocate (wanted)

contains

  function bytes(value)
    class(*), intent(in) :: value
    integer(byte), allocatable :: bytes(:)
    select type (value)
    type is (integer(byte))
      bytes = [value]
    type is (integer(2))
      bytes = transfer(value, bytes)
    type is (integer)
      bytes = transfer(value, bytes)
    type is (integer(8))
      bytes = transfer(value, bytes)
    type is (real)
      bytes = transfer(value, bytes)
    type is (real(8))
      bytes = transfer(value, bytes)
    end select
  end function

  function bytes_of(values)
    integer, intent(in) :: values(:)
    integer(byte), allocatable :: bytes_of(:)
    bytes_of = transfer(values, bytes_of)
  end function

  !> Writes to another unit while the list is under way.
  integer function noisy(value)
    integer, intent(in) :: value
    write (v) value, r8, five
    noisy = value
  end function

  subroutine check(what, access, convert, lead)
    character(*), intent(in) :: what, access, convert
    integer, intent(in) :: lead
    integer(byte) :: found(room)
    integer :: length
    if (access == 'direct') then
      open (newunit=u, file='items', access=access, form='unformatted', recl=room, status='replace')
      write (u, rec=1) noisy(i4), r8, five, i1, i2, s3, many(1:39:2), s30, r4, none, c8, c16, l4, l1, i16, pairs, eight, i8
    else
      open (newunit=u, file='items', access=access, form='unformatted', convert=convert, status='replace')
      write (u) noisy(i4), r8, five, i1, i2, s3, many(1:39:2), s30, r4, none, c8, c16, l4, l1, i16, pairs, eight, i8
      if (access == 'sequential') then
        ! An array first, then one value behind it; and a value behind an empty array.
        write (u) five, i4
        write (u) none, s3
        rewind u
        call again(access)
        read (u) many(1:5), many(6)
        print *, all(many(1:6) == [five, i4])
        read (u) none, pairs(1)
        print *, pairs(1)
        many = [(k*k, k=1, 40)]
        pairs(1) = 'ab'
      end if
    end if
    if (access /= 'sequential') call again(access)
    inquire (u, size=length)
    close (u)

    open (newunit=u, file='items', access='stream', form='unformatted', status='old')
    found = 0
    read (u) found(:min(length, room))
    close (u, status='delete')
    found = eoshift(found, lead)
    if (convert == 'swap') then
      print *, what, all(found(1:4) == wanted(4:1:-1)), all(found(5:12) == wanted(12:5:-1)), &
        all(found(36:38) == wanted(36:38))
    else
      print *, what, all(found(:size(wanted)) == wanted)
    end if
  end subroutine

  !> The same values back, by the same list and by others.
  subroutine again(access)
    character(*), intent(in) :: access
    integer(byte) :: j1, rest(room)
    integer(2) :: j2
    integer :: j4, fives(5), twenty(20)
    integer(8) :: j8
    integer(16) :: j16
    real :: q4
    real(8) :: q8, eights(8)
    complex :: d8
    complex(8) :: d16
    logical :: m4
    logical(1) :: m1
    character(3) :: t3
    character(30) :: t30
    character(2) :: twos(3)
    logical :: same
    if (access == 'direct') then
      read (u, rec=1) j4, q8, fives, j1, j2, t3, twenty, t30, q4, none, d8, d16, m4, m1, j16, twos, eights, j8
    else if (access == 'stream') then
      read (u, pos=1) j4, q8, fives, j1, j2, t3, twenty, t30, q4, none, d8, d16, m4, m1, j16, twos, eights, j8
    else
      read (u) j4, q8, fives, j1, j2, t3, twenty, t30, q4, none, d8, d16, m4, m1, j16, twos, eights, j8
    end if
    same = j4 == i4 .and. q8 == r8 .and. all(fives == five) .and. j1 == i1 .and. j2 == i2 .and. t3 == s3 .and. &
      all(twenty == many(1:39:2)) .and. t30 == s30 .and. q4 == r4 .and. d8 == c8 .and. d16 == c16 .and. (m4 .eqv. l4) &
      .and. (m1 .eqv. l1) .and. j16 == i16 .and. all(twos == pairs) .and. all(eights == eight) .and. j8 == i8
    if (access == 'direct') then
      read (u, rec=1) rest(:4), t3(1:1), rest(6:size(wanted))
      same = same .and. all(rest(6:size(wanted)) == wanted(6:)) .and. t3(1:1) == transfer(wanted(5), 'a')
    end if
    if (.not. same) print *, access, ' lost something'
  end subroutine

  !> Lists that the record has no room for keep what came before, and the next record is whole.
  subroutine too_long
    integer :: a, b, status(4)
    open (newunit=u, file='short', access='direct', form='unformatted', recl=10, status='replace')
    write (u, rec=1, iostat=status(1)) i4, i4, i4
    write (u, rec=2) 5, 6
    a = 0
    b = 0
    read (u, rec=2, iostat=status(2)) a, b, r8
    print *, a, b, status(1:2) > 0
    close (u, status='delete')
    open (newunit=u, file='short', form='unformatted', status='replace')
    write (u) 1_2, 2
    write (u) 3
    rewind u
    read (u, iostat=status(3)) i2, a, b
    read (u, iostat=status(4)) b
    print *, i2, a, b, status(3) > 0, status(4)
    close (u, status='delete')
  end subroutine

end program
