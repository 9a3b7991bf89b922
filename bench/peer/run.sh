#!/bin/sh
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# run.sh [RUNS [RECORDS]]: the same object of io_forms.f90 linked with plain gfortran and with tamfc, run in turns RUNS
# times (default 7) with RECORDS records a form. Prints the medians of the processor time of a record, in nanoseconds, and
# their ratio: above 1 the library is the faster one.
set -eu
runs=${1:-7}
records=${2:-20000}
here=$(cd "$(dirname "$0")" && pwd)
top=$(cd "$here/../.." && pwd)
work=${TMPDIR:-/tmp}/tamrun-bench-peer.$$
mkdir -p "$work"
trap 'rm -rf "$work"' EXIT
cd "$work"

compiler=${TAMRUN_FC:-gfortran}
"$compiler" -O2 -c "$here/io_forms.f90" -o io_forms.o
"$compiler" io_forms.o -o peer
"$top/tamfc" io_forms.o -o tamrun
./peer prepare "$records"
run=1
while [ "$run" -le "$runs" ]; do
  ./peer run "$records" >>peer.out
  ./tamrun run "$records" >>tamrun.out
  run=$((run + 1))
done

for side in peer tamrun; do
  sed 's/ *\([0-9]*\)$/|\1/' $side.out | sort -t'|' -k1,1 -k2,2n |
    awk -F'|' '{ if ($1 != form) { if (n) print form "|" v[int((n + 1) / 2)]; form = $1; n = 0 } v[++n] = $2 }
               END { print form "|" v[int((n + 1) / 2)] }' >$side.median
done
printf '%-28s %12s %12s %7s\n' form 'peer ns' 'tamrun ns' ratio
join -t'|' peer.median tamrun.median | awk -F'|' '{ printf "%-28s %12d %12d %7.2f\n", $1, $2, $3, $2 / $3 }'
