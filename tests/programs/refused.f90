! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! What the library does not serve ends the program: kinds without a counterpart, and statements on its units that would mix
! two buffers.
! with: modules/boxes.f90
! env: TAMRUN_GNU_FILES=1
! case: namelist 152 this form of WRITE is not served on unit 21
! case: unformatted 0 severe (256): unformatted I/O to unit open for formatted transfers, unit 21
! case: direct 42 severe (554): direct I/O not consistent with OPEN options
! case: fputc 152 FPUTC is not served on unit 21
! case: ttynam 152 TTYNAM is not served on unit 21
! case: integer 152 INTEGER, kind 16, with a value that INTEGER(8) does not stand for
! case: bits 152 INTEGER, kind 16, with a value that INTEGER(8) does not stand for
! case: real 152 REAL, kind 10
! case: complex 152 COMPLEX, kind 10
! case: array 152 REAL, kind 10
! case: component 152 a component with defined output behind other items
! case: delim 152 INTEGER, kind 16, with DELIM=
program refused
  use boxes
  implicit none
  character(20) :: how
  integer :: value = 1
  real(10) :: a(2) = 1
  type(late_holder) :: h
  namelist /group/ value
  call get_command_argument(1, how)
  print '(a)', 'before'
  open (21, file='data', status='replace')
  write (21, '(a)') 'record'
  select case (how)
  case ('namelist')
    write (21, nml=group)
  case ('unformatted')
    write (21) value
  case ('direct')
    read (21, '(i4)', rec=1) value
  case ('fputc')
    call fputc(21, 'x')
  case ('ttynam')
    print '(a)', ttynam(21)
  case ('integer')
    write (21, '(i40)') 2_16**64
  case ('bits')
    write (21, '(z40)') -1_16
  case ('real')
    print *, 1, a(1)
  case ('complex')
    print *, cmplx(a(1), a(2), 10)
  case ('array')
    print *, a
  case ('component')
    print *, h
  case ('delim')
    write (*, *, delim='quote') 1_16
  end select
  print '(a)', 'not reached'
end program
