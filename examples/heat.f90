! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! A metal bar of which one end is heated: the temperature along it, step by step, until it no longer changes.
program heat
  implicit none
  integer, parameter :: points = 21
  integer, parameter :: wide = selected_real_kind(15)
  real(wide), parameter :: hot = 100.0_wide, cold = 20.0_wide, conductivity = 0.4_wide
  real(wide) :: bar(points), next(points), change
  integer :: step, i

  bar = cold
  bar(1) = hot
  print *, 'Heating a bar of', points, 'points'
  do step = 1, 2000
    next = bar
    do i = 2, points - 1
      next(i) = bar(i) + conductivity*(bar(i - 1) - 2*bar(i) + bar(i + 1))
    end do
    change = maxval(abs(next - bar))
    bar = next
    if (step == 1 .or. mod(step, 250) == 0) then
      print *, 'step', step, 'middle', bar((points + 1)/2), 'change', change
    end if
    if (change < 1.0e-6_wide) exit
  end do

  print *, 'steady after', step, 'steps:'
  print *, bar
  print *, 'straight line?', all(abs(bar - [(hot + (cold - hot)*(i - 1)/(points - 1), i=1, points)]) < 1.0e-3_wide)
  print *, 'ends', cmplx(bar(1), bar(points), wide)
end program heat
