# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# MINPACK, double precision: its seven test drivers, which read their cases from standard input, and its examples.
package=minpack
# STOP reports floating-point flags in the words of each side.
mask='/^Note: The following floating-point exceptions/d; /^tamrtl: warning .* is signaling$/d'

build() {
  objects library "$source"/*.f
  ls "$source"/ex/t*.f >"$work/examples"
  # shellcheck disable=SC2046
  objects examples $(cat "$work/examples")
  mkdir -p "$work/drivers"
  for n in 14 15 16 17 18 19 20; do cp "$source/ex/file$n" "$work/drivers/driver$n.f"; done
  objects drivers "$work"/drivers/*.f
  for n in 14 15 16 17 18 19 20; do program "driver$n" "$objects/drivers/driver$n.o" "$objects"/library/*.o; done
  while read -r example; do
    name=$(basename "$example" .f)
    program "$name" "$objects/examples/$name.o" "$objects"/library/*.o
  done <"$work/examples"
}

cases() {
  case_of constants driver14
  for n in 15 16; do case_of "equations$n" "driver$n" "$source/ex/file21"; done
  for n in 17 18 19; do case_of "least-squares$n" "driver$n" "$source/ex/file22"; done
  case_of derivatives driver20 "$source/ex/file23"
  while read -r example; do
    name=$(basename "$example" .f)
    case_of "$name" "$name"
  done <"$work/examples"
}
