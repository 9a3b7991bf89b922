! SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
!
! Character items: what stands between them, delimiters, characters of kind 4 as UTF-8.
! flags: -fbackslash
program characters
  implicit none
  character(:), allocatable :: text
  character(4) :: fixed = 'ab'
  character(5, kind=4) :: greek = 4_'\u03b1\u03b2\u03b3\u20ac\U0001F600'
  character(2, kind=4) :: two(2) = [4_'\u00e9t', 4_'\u00e0 ']
  character(1, kind=4) :: half(1)
  text = 'allocated'
  print *, text, fixed, '|'
  deallocate (text)
  print *, fixed(2:3) // 'x', 1, fixed(:1), 2.5, 'y'
  print *, greek
  print *, two, 1, two(2:1:-1)
  half(1) = transfer(55296, half(1))
  print *, half, '|'
  write (*, *, delim='quote') 'it is "so"', 'and', 1, 'so'
  write (*, *, delim='apostrophe') "it's", ['a', 'b']
  write (*, *, delim='none') "it's", 'plain'
  write (*, *, delim='Quote   ') greek
  print *, repeat('long ', 30)
end program
