! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Every way to end: what was printed is there, and the status is the program's.
! case: return 0
! case: stop 0
! case: number 3 STOP 3
! case: text 0 STOP reason
! case: error 1 ERROR STOP
! case: errornumber 4 ERROR STOP 4
! case: errortext 1 ERROR STOP reason
! case: exit 5
! case: inside 6 STOP 6
program ending
  implicit none
  character(20) :: how
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
  case ('errortext')
    error stop 'reason'
  case ('exit')
    call exit(5)
  case ('inside')
    print *, 'lost', leave()
  end select
contains
  integer function leave()
    leave = 1
    stop 6
  end function
end program
