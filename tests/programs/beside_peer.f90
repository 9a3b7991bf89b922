! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! What a format makes of a value, and of a text, does not depend on who edits it: the library does on an external unit,
! libgfortran on an internal one.
program beside_peer
  use, intrinsic :: iso_fortran_env, only: int64, real64, real32, output_unit
  implicit none
  integer :: u, differences = 0, cases = 0
  integer(int64) :: seed = 20240229

  call open_scratch
  call reals
  call integers
  call input
  write (output_unit, '(i0,a,l2)') differences, ' differences', cases > 22000
  close (u, status='delete')

contains

  subroutine open_scratch
    open (newunit=u, file='scratch', status='replace', recl=1000)
  end subroutine

  !> 31 pseudo-random bits.
  integer function random() result(r)
    seed = iand(seed * 6364136223846793005_int64 + 1442695040888963407_int64, huge(seed))
    r = int(ishft(seed, -32))
  end function

  integer function pick(low, high)
    integer, intent(in) :: low, high
    pick = low + mod(random(), high - low + 1)
  end function

  function number(i) result(text)
    integer, intent(in) :: i
    character(:), allocatable :: text
    character(12) :: digits
    write (digits, '(i0)') i
    text = trim(digits)
  end function

  subroutine compare(form, ours, peers)
    character(*), intent(in) :: form, ours, peers
    cases = cases + 1
    if (ours == peers) return
    differences = differences + 1
    if (differences <= 10) write (output_unit, '(5a)') form, ' |', trim(ours), '| |', trim(peers)//'|'
  end subroutine

  !> A value whose magnitude and number of digits vary.
  real(real64) function any_real() result(x)
    integer :: k
    k = pick(0, 9)
    x = real(random(), real64) * 10d0**pick(-12, 5)
    if (k < 4) x = anint(x * 100) / 2**pick(0, 6)
    if (k == 4) x = pick(0, 3)
    if (k == 5) x = x * 10d0**pick(-290, 280)
    if (k == 6) x = 10d0**pick(-8, 8) * (1 - 2d0**(-pick(4, 52)))
    if (k > 7) x = pick(0, 20000) / 16d0
    if (random() > huge(0) / 2) x = -x
  end function

  !> A descriptor for reals.
  function real_form() result(form)
    character(:), allocatable :: form
    integer :: d, w
    d = pick(0, 15)
    w = d + pick(0, 12)
    select case (pick(0, 12))
    case (0, 1, 2)
      form = 'f'//number(w)//'.'//number(d)
    case (3)
      form = 'f0.'//number(d)
    case (4, 5)
      form = 'es'//number(w + 4)//'.'//number(d)
    case (6)
      form = 'e'//number(w + 5)//'.'//number(max(d, 1))
    case (7)
      form = 'en'//number(w + 6)//'.'//number(d)
    case (8)
      form = 'es'//number(w + 5)//'.'//number(d)//'e'//number(pick(1, 4))
    case (9)
      form = 'g'//number(w + 5)//'.'//number(max(d, 1))
    case (10)
      form = 'd'//number(w + 5)//'.'//number(max(d, 1))
    case (11)
      form = number(pick(-2, 4))//'p,f'//number(w + 6)//'.'//number(d)
    case (12)
      form = number(pick(-2, 3))//'p,e'//number(w + 9)//'.'//number(max(d, 4))
    end select
    select case (pick(0, 8))
    case (0)
      form = 'sp,'//form
    case (1)
      form = 'dc,'//form
    case (2)
      form = 'rc,'//form
    end select
    form = '('//form//',"|")'
  end function

  !> False where the two differ by rule: zero with an exponent, G below 0.1, and digits behind the 17th.
  logical function is_alike(form, x)
    character(*), intent(in) :: form
    real(real64), intent(in) :: x
    integer :: d
    if (index(form, 'g') > 0) then
      is_alike = abs(x) >= 0.1_real64 .and. abs(x) < 1e15_real64
    else if (index(form, 'f') > 0) then
      read (form(index(form, '.') + 1:scan(form, '0123456789', back=.true.)), *) d
      is_alike = abs(x) < 10d0**(12 - d)
    else
      is_alike = abs(x) > 1e-30_real64 .and. abs(x) < 1e30_real64
    end if
  end function

  subroutine reals
    character(80), allocatable :: forms(:)
    character(400), allocatable :: peers(:)
    real(real64) :: x
    integer :: i
    allocate (forms(12000), peers(12000))
    do i = 1, size(forms)
      forms(i) = real_form()
      do
        x = any_real()
        if (is_alike(forms(i), x)) exit
      end do
      if (mod(i, 4) == 0 .and. index(forms(i), 'en') == 0) then
        write (peers(i), forms(i)) real(x, real32)
        write (u, forms(i)) real(x, real32)
      else
        write (peers(i), forms(i)) x
        write (u, forms(i)) x
      end if
    end do
    call compare_lines(forms, peers)
  end subroutine

  subroutine integers
    character(80), allocatable :: forms(:)
    character(400), allocatable :: peers(:)
    character(1), parameter :: letters(4) = ['i', 'z', 'o', 'b']
    character(:), allocatable :: form
    integer(int64) :: k
    integer :: i, w, m
    allocate (forms(6000), peers(6000))
    do i = 1, size(forms)
      w = pick(0, 24)
      form = letters(pick(1, 4))//number(w)
      if (pick(0, 2) == 0) then
        m = pick(0, 20)
        if (w > 0) m = min(m, w)
        form = form//'.'//number(m)
      end if
      if (pick(0, 4) == 0) form = 'sp,'//form
      forms(i) = '('//form//',"|")'
      k = ishft(int(random(), int64), pick(0, 32)) / 2_int64**pick(0, 40)
      if (pick(0, 1) == 0) k = -k
      select case (pick(0, 3))
      case (0)
        write (peers(i), forms(i)) k
        write (u, forms(i)) k
      case (1)
        write (peers(i), forms(i)) int(ibits(k, 0, 31))
        write (u, forms(i)) int(ibits(k, 0, 31))
      case (2)
        write (peers(i), forms(i)) -int(ibits(k, 0, 15), 2)
        write (u, forms(i)) -int(ibits(k, 0, 15), 2)
      case (3)
        write (peers(i), forms(i)) int(ibits(k, 0, 7), 1)
        write (u, forms(i)) int(ibits(k, 0, 7), 1)
      end select
    end do
    call compare_lines(forms, peers)
  end subroutine

  !> The lines of the file are the library's, the texts the peer's.
  subroutine compare_lines(forms, peers)
    character(*), intent(in) :: forms(:), peers(:)
    character(400) :: ours
    integer :: i
    close (u)
    open (newunit=u, file='scratch', status='old')
    do i = 1, size(forms)
      read (u, '(a)') ours
      call compare(trim(forms(i)), ours, peers(i))
    end do
    close (u)
    call open_scratch
  end subroutine

  !> Fields that both take: incomplete exponents and the like are a matter of taste.
  subroutine input
    character(24), allocatable :: forms(:), fields(:)
    character(24) :: ours, peers
    real(real64) :: x, y
    integer(int64) :: k, l
    integer :: i, status, peers_status
    allocate (forms(6000), fields(6000))
    do i = 1, size(forms)
      fields(i) = any_field()
      select case (pick(0, 3))
      case (0, 1)
        forms(i) = '(f'//number(pick(1, 20))//'.'//number(pick(0, 6))//')'
      case (2)
        forms(i) = '(i'//number(pick(1, 18))//')'
      case (3)
        forms(i) = '(a'//number(pick(1, 12))//')'
      end select
      if (pick(0, 5) == 0) forms(i) = '(bz,'//forms(i)(2:)
      write (u, '(a)') fields(i)
    end do
    close (u)
    open (newunit=u, file='scratch', status='old')
    do i = 1, size(forms)
      ours = ''
      peers = ''
      if (index(forms(i), 'f') > 0) then
        read (u, forms(i), iostat=status) x
        read (fields(i), forms(i), iostat=peers_status) y
        if (status == 0) write (ours, '(es23.16)') x
        if (peers_status == 0) write (peers, '(es23.16)') y
      else if (index(forms(i), 'i') > 0) then
        read (u, forms(i), iostat=status) k
        read (fields(i), forms(i), iostat=peers_status) l
        if (status == 0) write (ours, '(i0)') k
        if (peers_status == 0) write (peers, '(i0)') l
      else
        read (u, forms(i), iostat=status) ours(:12)
        read (fields(i), forms(i), iostat=peers_status) peers(:12)
      end if
      if (status == 0 .and. peers_status == 0) call compare(trim(forms(i))//' '//fields(i), ours, peers)
    end do
    close (u)
    call open_scratch
  end subroutine

  function any_field() result(field)
    character(24) :: field
    integer :: kind
    kind = pick(0, 5)
    field = ''
    select case (kind)
    case (0, 1)
      write (field, '(es18.8)') any_real()
    case (2)
      write (field, '(f18.5)') real(random(), real64) / 10d0**pick(0, 8)
    case (3)
      write (field, '(i12)') random() - huge(0) / 2
    case (4)
      write (field, '(i0,1x,i0)') pick(0, 99), pick(0, 999)
    case (5)
      write (field, '(i0,a,i0)') pick(-99, 99), 'e', pick(-20, 20)
    end select
  end function
end program
