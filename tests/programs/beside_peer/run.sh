#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# run.sh TAMFC SOURCE WORK: programs run on the library and on libgfortran, side by side.
set -eu
tamfc=$1
source=$2
work=$3
rm -rf "$work"
mkdir -p "$work"
cd "$work"
for name in formats records strings; do
  "$tamfc" -O1 "$source/$name.f90" -o $name.ours
  "${TAMRUN_FC:-gfortran}" -O1 "$source/$name.f90" -o $name.peers
done
ours() { # program, arguments
  program=./$1.ours
  shift
  TAMRUN_GNU_FILES=1 LD_PRELOAD=${TAMRUN_PRELOAD:-} "$program" "$@"
}

for name in formats strings; do
  ours $name >$name.txt
  ./$name.peers | cmp - $name.txt
done

# In each byte order and access both write the same bytes, and each reads what the other wrote.
for convert in native little_endian big_endian swap; do
  for access in sequential stream; do
    case=$convert.$access
    ours records write $case.ours $convert $access
    ./records.peers write $case.peers $convert $access
    cmp $case.ours $case.peers
    ours records copy $case.peers $convert $access $case.copy
    ./records.peers copy $case.ours $convert $access $case.peers_copy
    cmp $case.copy $case.peers_copy
  done
done
# The copies do not depend on the order of the files.
cmp native.stream.copy big_endian.sequential.copy
# Without CONVERT= the environment decides.
F_UFMTENDIAN=big ours records write environment native sequential
cmp environment big_endian.sequential.peers
FORT_CONVERT21=big_endian ours records copy big_endian.sequential.peers native sequential environment.copy
cmp environment.copy big_endian.sequential.copy
