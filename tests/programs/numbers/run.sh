#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# run.sh TAMFC SOURCE WORK: prints random values of every kind through the library and through libgfortran, and checks
# each number of both against the value. TAMRUN_SOAK multiplies their count.
set -eu
tamfc=$1
source=$2
work=$3
compiler=${TAMRUN_FC:-gfortran}
count=$((1000 * ${TAMRUN_SOAK:-1}))
rm -rf "$work"
mkdir -p "$work"
cd "$work"
"$tamfc" -O1 "$source/values.f90" "$source/print_values.f90" -o ours
"$compiler" -O1 "$source/values.f90" "$source/print_values.f90" -o peers
"$compiler" -O1 "$source/values.f90" "$source/check_values.f90" -o check
LD_PRELOAD=${TAMRUN_PRELOAD:-} ./ours $count >ours.txt
./peers $count >peers.txt
./check $count ours.txt peers.txt
