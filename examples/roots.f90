! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! All roots of z**5 - z - 1 at once, by the method of Weierstrass in quadruple precision.
program roots
  implicit none
  integer, parameter :: quad = selected_real_kind(33), double = selected_real_kind(15), degree = 5
  complex(quad) :: z(degree), step(degree)
  integer :: i, j, turn

  z = [((0.4_quad, 0.9_quad)**i, i=0, degree - 1)]
  do turn = 1, 100
    do i = 1, degree
      step(i) = value(z(i))/product([(z(i) - z(j), j=1, i - 1), (z(i) - z(j), j=i + 1, degree)])
      z(i) = z(i) - step(i)
    end do
    if (maxval(abs(step)) < 1.0e-30_quad) exit
  end do
  where (abs(aimag(z)) < 1.0e-30_quad) z = real(z)

  print *, 'Roots of z**5 - z - 1:'
  do i = 1, degree
    print *, i, cmplx(z(i), kind=double)
  end do
  print *, 'in single precision'
  print *, cmplx(z)
  print *, 'the real one with all its digits'
  print *, real(z(minloc(abs(aimag(z)), 1)))
  print *, 'good?', all(abs([(value(z(i)), i=1, degree)]) < 1.0e-30_quad)
contains
  pure complex(quad) function value(x)
    complex(quad), intent(in) :: x
    value = x**5 - x - 1
  end function
end program
