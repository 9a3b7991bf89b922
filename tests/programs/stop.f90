! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Every way to end: what was printed is there, and the status is the program's.
! case: return 0
! case: stop 0
! case: number 3 STOP 3
! case: text 0 STOP reason
! case: error 1 ERROR STOP
! case: errornumber 4 ERROR STOP 4
! case: exit 5
! case: inside 6 STOP 6
! case: wide 5 STOP 5
! case: errorzero 0 ERROR STOP 0
! case: emptytext 0 STOP
! case: quiet 4
! case: quieterror 1
! case: exitwide 8
! case: exitnone 0
! case: raised 0 IEEE_DIVIDE_BY_ZERO is signaling
! case: onunit0 7 STOP 7
! case: recursive 40 recursive I/O operation, unit 6
program ending
  implicit none
  character(20) :: how
  real, volatile :: zero = 1, zero2 = 0
  call get_command_argument(1, how)
  print *, 'before'
  write (*, '(a)') 'formatted'
  print *, 'last'
  select case (how)
  case ('stop')
    stop
  case ('number')
    stop 3
  case ('text')
    stop 'reason'
  case ('error')
    error stop
  case ('errornumber')
    error stop 4
  case ('exit')
    call exit(5)
  case ('wide')
    stop 5_8
  case ('errorzero')
    error stop 0
  case ('emptytext')
    stop ''
  case ('quiet')
    stop 4, quiet=.true.
  case ('quieterror')
    error stop 'reason', quiet=.true.
  case ('exitwide')
    call exit(8_8)
  case ('exitnone')
    call exit
  case ('raised')
    zero = zero/zero2
    stop
  case ('onunit0')
    write (0, *) 'lost', leave() + later()
  case ('recursive')
    print *, 'outer', inner()
  case ('inside')
    print *, 'lost', leave()
  end select
contains
  integer function leave()
    leave = 1
    if (how == 'onunit0') return
    stop 6
  end function
  integer function inner()
    print *, 'inner'
    inner = 1
  end function
  integer function later()
    later = 1
    stop 7
  end function
end program
