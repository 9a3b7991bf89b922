#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# run.sh TAMFC SOURCE WORK: one program runs on the library and on libgfortran. In each byte order and access both write
# the same bytes, and each reads what the other wrote.
set -eu
tamfc=$1
source=$2
work=$3
rm -rf "$work"
mkdir -p "$work"
cd "$work"
"$tamfc" -O1 "$source/records.f90" -o ours
"${TAMRUN_FC:-gfortran}" -O1 "$source/records.f90" -o peers
run() { # program, arguments
  TAMRUN_GNU_FILES=1 LD_PRELOAD=${TAMRUN_PRELOAD:-} "./$@"
}
for convert in native little_endian big_endian swap; do
  for access in sequential stream; do
    case=$convert.$access
    run ours write $case.ours $convert $access
    ./peers write $case.peers $convert $access
    cmp $case.ours $case.peers
    run ours copy $case.peers $convert $access $case.copy
    ./peers copy $case.ours $convert $access $case.peers_copy
    cmp $case.copy $case.peers_copy
  done
done
# The copies do not depend on the order of the files.
cmp native.stream.copy big_endian.sequential.copy
# Without CONVERT= the environment decides.
F_UFMTENDIAN=big run ours write environment native sequential
cmp environment big_endian.sequential.peers
FORT_CONVERT21=big_endian run ours copy big_endian.sequential.peers native sequential environment.copy
cmp environment.copy big_endian.sequential.copy
