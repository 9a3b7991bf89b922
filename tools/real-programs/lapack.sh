# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# LAPACK in double precision with its test drivers for linear equations and eigenvalues, and the test drivers of the BLAS
# of all four precisions. The drivers read what to test from standard input or from a file that it names.
package=lapack
flags="-O0 -w -std=legacy"
# A list-directed record without items is a blank on the library and nothing at all on the peer.
mask='s/ *[0-9.]+ seconds/ T seconds/; s/(Total time used|time used)( *=) *[0-9.]+/\1\2 T/; s/^ +$//'
verdicts='did not pass|failed to pass|FAILED ON|\*{5,}.*FATAL|Abnormal'
linear="dtest dtest_rfp"
# Without dec, which computes for longer than all the others together.
eigen="nep sep se2 svd ded dgg dgd dsb dsg dbal dbak dgbal dgbak dbb glm gqr gsv csd lse"

# archive NAME: of what has been compiled.
archive() { ar rcs "$objects/lib$1.a" "$objects/$1"/*.o || die "no archive of $1"; }

# auxiliary FOLDER NAME...: the object files of routines that replace the library's own.
auxiliary() {
  folder=$1
  shift
  for name; do echo "$objects/$folder/$name.o"; done
}

build() {
  blas=$source/BLAS/SRC
  objects blas "$blas"/*.f "$blas"/*.f90
  archive blas
  src=$source/SRC
  objects lapack "$src"/la_constants.f90
  objects lapack "$src"/la_xisnan.F90
  objects lapack "$src"/d*.f90
  install=$source/INSTALL
  objects lapack "$src"/[di]*.f "$src"/[di]*.F "$src"/lsamen.f "$install"/dlamch.f "$install"/ilaver.f \
    "$install"/droundup_lwork.f "$install"/dsecnd_INT_ETIME.f "$install"/lsame.f
  archive lapack
  objects matgen "$source"/TESTING/MATGEN/d*.f
  archive matgen
  libraries="$objects/libmatgen.a $objects/liblapack.a $objects/libblas.a"
  replaced="ilaenv xerbla xlaenv chkxer alasvm alareq alahd aladhd alaerh alaesm alasum"
  for precision in s d c z; do
    for level in 1 2 3; do
      objects blat "$source/BLAS/TESTING/${precision}blat$level.f"
      program "${precision}blat$level" "$objects/blat/${precision}blat$level.o" "$objects/libblas.a"
    done
  done
  lin=$source/TESTING/LIN
  objects lin "$lin"/[adix]*.f "$lin"/chkxer.f "$lin"/dchkaa.F
  (cd "$objects/lin" && ar rcs ../liblin.a d*.o)
  # shellcheck disable=SC2046,SC2086
  {
    program linear "$objects/lin/dchkaa.o" $(auxiliary lin $replaced icopy) "$objects/liblin.a" $libraries
    program rfp "$objects/lin/dchkrfp.o" $(auxiliary lin $replaced icopy) "$objects/liblin.a" $libraries
  }
  eig=$source/TESTING/EIG
  objects eig "$eig"/[adix]*.f "$eig"/chkxer.f "$eig"/dchkee.F
  (cd "$objects/eig" && ar rcs ../libeig.a d*.o)
  # shellcheck disable=SC2046,SC2086
  program eigen "$objects/eig/dchkee.o" $(auxiliary eig ilaenv xerbla xlaenv chkxer alasvm alareq alahdg alasum) \
    "$objects/libeig.a" $libraries
}

cases() {
  tests=$source/TESTING
  for precision in s d c z; do
    case_of "${precision}blat1" "${precision}blat1"
    for level in 2 3; do
      name=${precision}blat$level
      case_of "$name" "$name" "$source/BLAS/TESTING/$name.in"
    done
  done
  case_of linear linear "$tests/dtest.in"
  case_of rfp rfp "$tests/dtest_rfp.in"
  for name in $eigen; do case_of "$name" eigen "$tests/$name.in"; done
}
