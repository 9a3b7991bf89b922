! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! The sieve of Eratosthenes: primes, twins, and how they thin out.
program primes
  use, intrinsic :: iso_fortran_env, only: int64
  implicit none
  integer, parameter :: limit = 100000
  logical :: is_prime(2:limit)
  integer, allocatable :: list(:)
  integer :: i, power, bound
  integer(int64) :: product

  is_prime = .true.
  do i = 2, int(sqrt(real(limit)))
    if (is_prime(i)) is_prime(i*i:limit:i) = .false.
  end do
  list = pack([(i, i=2, limit)], is_prime)

  print *, 'Primes below 100:'
  print *, list(1:25)
  print *, 'the last five below', limit, ':', list(size(list):size(list) - 4:-1)
  do i = 1, 24
    if (list(i + 1) - list(i) == 2) print *, 'twins', list(i), list(i + 1)
  end do
  do power = 1, 5
    bound = 10**power
    print *, 'up to', bound, count(list <= bound), 'primes, expected about', bound/log(real(bound))
  end do
  product = 1
  do i = 1, 15
    product = product*list(i)
  end do
  print *, 'product of the first 15:', product, 'even?', mod(product, 2_int64) == 0
end program
