#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# install.sh BUILD SOURCE CC: installs into an empty prefix, builds a C program against it by pkg-config alone, runs it;
# then compiles and runs the installed examples with the installed tamfc.
set -eu
build=$1
source=$2
cc=$3
prefix=$build/installed
rm -rf "$prefix"
mkdir -p "$prefix"
cmake --install "$build" --prefix "$prefix" >"$prefix/install.log"

pc=$(find "$prefix" -name tamrun.pc)
PKG_CONFIG_PATH=$(dirname "$pc")
LD_LIBRARY_PATH=$(cd "$PKG_CONFIG_PATH/.." && pwd)
export PKG_CONFIG_PATH LD_LIBRARY_PATH
cd "$prefix"
# shellcheck disable=SC2046
"$cc" -std=gnu11 -Wall -Wextra -Werror -o program "$source/tests/interface/installed_program.c" \
  $(pkg-config --cflags --libs tamrun)
./program >output
printf '          42 forty-two\n' >expected
cmp expected output || { cat output; exit 1; }
# shellcheck disable=SC2046
"$cc" -o c_descriptors "$source/tests/interface/c_descriptors.c" $(pkg-config --cflags --libs tamrun)
./c_descriptors
unset LD_LIBRARY_PATH

tried=0
for program in share/doc/tamrun/examples/*.f90; do
  [ -e "$program" ] || continue
  bin/tamfc "$program" -o example
  ./example </dev/null >"example.out" || { echo "$program: status $?"; cat example.out; exit 1; }
  tried=$((tried + 1))
done
echo "examples run: $tried"
[ -x bin/tamfc ] && [ "$tried" = 0 ] && exit 1
exit 0
