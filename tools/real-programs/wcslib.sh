# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# WCSLIB, world coordinates of astronomical images: its Fortran test programs, those without graphics. They read cards of
# FITS headers by direct access and internal files. The library itself is C, from the distribution's binary packages.
package=wcslib
mask='s/0x[0-9a-f]+/ADDRESS/g'
verdicts='^ *FAIL'
programs="tdis1 tdis2 tfitshdr tlin tlog tpih1 tprj1 tsph tspx ttab1 tunits twcs twcsfix twcssub"

build() {
  binaries wcslib-dev libwcs7
  include=$(dirname "$(find "$binaries" -name wcs.inc)")
  flags="$flags -I$include"
  for name in $programs; do
    objects tests "$source/Fortran/test/$name.f"
    program "$name" "$objects/tests/$name.o" "$(find "$binaries" -name libwcs.a)" -lm
  done
  mkdir -p "$work/fits"
  for name in fitshdr pih TPV7; do # headers as blocks of 36 cards of 80 columns
    awk '{ printf "%-80.80s", $0 } END { while (NR++ % 36) printf "%80s", "" }' \
      "$source/C/test/$name.keyrec" >"$work/fits/$name.fits"
  done
}

cases() {
  files=$(ls "$work"/fits/*.fits)
  for name in $programs; do
    input=$source/C/test/units_test
    [ "$name" = tunits ] || input=
    case_of "$name" "$name" $input
  done
}
