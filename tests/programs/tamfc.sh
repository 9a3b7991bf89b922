#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# tamfc.sh TAMFC WORK: the driver compiles, assembles and links as gfortran does, and refuses what cannot work.
set -eu
tamfc=$1
work=$2
compiler=${TAMRUN_FC:-gfortran}
rm -rf "$work"
mkdir -p "$work/a b"
cd "$work/a b"
fail() {
  echo "$*"
  exit 1
}
greeting=' hello   1.500000    ' # as the library writes it
needs() { # file, library: whether the file asks for it
  objdump -p "$1" | grep -q "NEEDED *$2"
}

printf 'subroutine greet\n  print *, "hello", 1.5\nend subroutine\n' >greet.f90
printf 'program main\n  call greet\nend program\n' >main.f90

"$tamfc" -c greet.f90 main.f90 && [ -e greet.o ] || fail "-c makes no object"
"$tamfc" -S greet.f90 && grep -q _gfortran_st_write greet.s || fail "-S makes no assembly"
"$tamfc" -E -cpp greet.f90 >greet.i && grep -q hello greet.i || fail "-E does not preprocess"
"$tamfc" -fsyntax-only main.f90 || fail "-fsyntax-only"
[ "$("$tamfc" -dumpversion)" = "$("$compiler" -dumpversion)" ] || fail "-dumpversion"

"$tamfc" main.o greet.o || fail "does not link objects"
[ "$(./a.out)" = "$greeting" ] || fail "the linked program prints: $(./a.out)"
for library in libtamgnu.so libgfortran.so.5; do
  needs a.out $library || fail "the program does not need $library"
done

"$tamfc" -shared -fPIC greet.f90 -o libgreet.so && needs libgreet.so libtamgnu.so || fail "-shared"
"$tamfc" main.f90 -L. -lgreet -Wl,-rpath,"$PWD" -o 'with space' && [ "$('./with space')" = "$greeting" ] ||
  fail "a library of its own"

"$compiler" main.o greet.o -o plain
[ "$(LD_PRELOAD=$TAMRUN_LIBDIR/libtamgnu.so ./plain)" = "$greeting" ] || fail "a preloaded libtamgnu.so"

ln -s "$tamfc" link && ./link main.o greet.o -o linked && ./linked >/dev/null || fail "does not work through a link"

for option in -static -static-libgfortran; do
  if "$tamfc" $option main.o greet.o -o refused 2>message; then fail "$option is not refused"; fi
  grep -q "^tamfc: $option is not possible" message || fail "$option: $(cat message)"
  [ ! -e refused ] || fail "$option: left a program"
done

if "$tamfc" missing.f90 2>message; then fail "a missing source is no error"; fi
grep -q missing.f90 message || fail "a missing source: $(cat message)"
TAMRUN_FC=no-such-compiler
export TAMRUN_FC
if "$tamfc" main.f90 2>message; then fail "TAMRUN_FC has no effect"; fi
