#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
#
# Writes convert/powers_of_ten.cpp and convert/decimal_scale.cpp, the powers of ten behind the real conversions.
# All arithmetic is exact: a power is an integer or a fraction with an integer denominator, rounded once.
#
#   tools/make_powers.py [directory of the two files]

import subprocess
import sys
from pathlib import Path

TINY_T = [22, 45, 66, 85, 107, 127, 150, 173, 187, 206, 220, 243, 266, 289, 305, 306, 307]
HUGE_T = [22, 43, 65, 86, 109, 132, 155, 177, 180, 203, 220, 240, 263, 286, 307]
TINY_64 = [25, 53, 81, 104, 132, 157, 184, 210, 233, 261, 289, 314, 342, 367, 395]
HUGE_64 = [27, 55, 77, 105, 133, 161, 188, 214, 242, 269, 297, 320, 345]
TINY_128 = [53, 108, 164, 219, 274, 327, 379, 425, 479, 534]
HUGE_128 = [55, 110, 165, 219, 275, 315, 369, 425, 478, 534]
STEPS_128 = [512, 1024, 2048, 4096]

TINY_T_EXCEPTIONS = {39: 15, 40: 16}  # map index: row
HUGE_T_EXCEPTIONS = {23: 7}

SCALE_FIRST, SCALE_LAST = -309, 340

HEADER = """// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// {about} Written by tools/make_powers.py.
#include "convert/{header}"

"""


def power(n, bits, up=False):
    """(mantissa, bexp) of 10^n = mantissa / 2^bits * 2^bexp, rounded to nearest (ties to even), or upwards."""
    num, den = (10**n, 1) if n >= 0 else (1, 10**-n)
    bexp = num.bit_length() - den.bit_length() + 1
    while True:
        shift = bits - bexp
        scaled_num, scaled_den = (num << shift, den) if shift >= 0 else (num, den << -shift)
        whole, rest = divmod(scaled_num, scaled_den)
        if whole >= 1 << (bits - 1):
            break
        bexp -= 1
    if up:
        whole += rest > 0
    else:
        whole += 2 * rest > scaled_den or (2 * rest == scaled_den and whole & 1)
    if whole == 1 << bits:
        whole, bexp = whole >> 1, bexp + 1
    return whole, bexp


def tiny_map(exponents, exceptions=None):
    """Entry i holds the first exponent that is at least 8 i."""
    entries = []
    while exponents[-1] >= 8 * len(entries):
        row = next(r for r, p in enumerate(exponents) if p >= 8 * len(entries))
        entries.append(exponents[row] << 5 | row)
    for row in (exceptions or {}).values():
        entries.append(exponents[row] << 5 | row)
    return entries


def huge_map(exponents, exceptions=None):
    """Entry i holds the last exponent that is at most 8 i, and the first where there is none."""
    entries = []
    for i in range((exponents[-1] + 7) // 8 + 1):
        row = max((r for r, p in enumerate(exponents) if p <= 8 * i), default=0)
        row = (exceptions or {}).get(i, row)
        entries.append(exponents[row] << 5 | row)
    return entries


def table(kind, name, dims, rows):
    return f"{kind} {name}{dims} = {{{', '.join(rows)}}};\n\n"


def word(value):
    return f"0x{value:016X}"


def doubles(name, exponents, zero_row=False):
    rows = []
    for n in exponents:
        mantissa, bexp = power(n, 53)
        value = f"0x{mantissa:X}p{bexp - 53}"
        assert float.fromhex(value) == float(f"1e{n}")
        rows.append(value)
    if zero_row:
        rows.append("0.0")
    return table("const double", name, f"[{len(rows)}]", rows)


def words(name, exponents, bits):
    powers = [power(n, bits) for n in exponents]
    low = (1 << 64) - 1
    if bits == 64:
        text = table("const u64", name, f"[{len(powers)}]", [word(m) for m, _ in powers])
    else:
        text = table("const u64", name, f"[{len(powers)}][2]",
                     [f"{{{word(m & low)}, {word(m >> 64)}}}" for m, _ in powers])
    return text + table("const i16", f"{name}_bexp", f"[{len(powers)}]", [str(b) for _, b in powers])


def exponent_map(name, entries):
    return table("const u16", name, f"[{len(entries)}]", [str(e) for e in entries])


def powers_of_ten():
    near = range(-47, 48)

    def minus(exponents):
        return [-p for p in exponents]

    text = HEADER.format(about="Powers of ten, each rounded to nearest.", header="powers_of_ten.h")
    text += table("const u64", "cvtas_pten_word", "[20]", [f"{10**n}u" for n in range(20)])
    text += doubles("cvtas_pten_t", near, zero_row=True)
    text += doubles("cvtas_tiny_pten_t", minus(TINY_T))
    text += exponent_map("cvtas_tiny_pten_t_map", tiny_map(TINY_T, TINY_T_EXCEPTIONS))
    text += doubles("cvtas_huge_pten_t", HUGE_T)
    text += exponent_map("cvtas_huge_pten_t_map", huge_map(HUGE_T, HUGE_T_EXCEPTIONS))
    text += words("cvtas_pten_64", near, 64)
    text += words("cvtas_tiny_pten_64", minus(TINY_64), 64)
    text += exponent_map("cvtas_tiny_pten_64_map", tiny_map(TINY_64))
    text += words("cvtas_huge_pten_64", HUGE_64, 64)
    text += exponent_map("cvtas_huge_pten_64_map", huge_map(HUGE_64))
    text += words("cvtas_pten_128", range(-27, 0), 128)
    text += words("cvtas_tiny_pten_128", minus(TINY_128), 128)
    text += exponent_map("cvtas_tiny_pten_128_map", tiny_map(TINY_128))
    text += words("cvtas_huge_pten_128", HUGE_128, 128)
    text += exponent_map("cvtas_huge_pten_128_map", huge_map(HUGE_128))
    text += words("cvtas_tiny_tiny_pten_128", minus(STEPS_128), 128)
    text += words("cvtas_huge_huge_pten_128", STEPS_128, 128)
    return text


def decimal_scale():
    rows = []
    for n in range(SCALE_FIRST, SCALE_LAST + 1):
        mantissa, bexp = power(n, 128, up=True)
        assert bexp == (n * 217706 >> 16) + 1
        rows.append(f"{{{word(mantissa >> 64)}, {word(mantissa & ((1 << 64) - 1))}}}")
    text = HEADER.format(about="The powers of ten of the digit fast path, each rounded up.",
                         header="decimal_scale.h")
    return text + table("const Decimal_Scale", "kDecimalScale", "[kDecimalScaleLast - kDecimalScaleFirst + 1]", rows)


def main():
    target = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).resolve().parent.parent / "convert"
    for name, text in (("powers_of_ten.cpp", powers_of_ten()), ("decimal_scale.cpp", decimal_scale())):
        (target / name).write_text(text.rstrip("\n") + "\n")
        subprocess.run(["clang-format", "-i", "--style=file", str(target / name)], check=True)


if __name__ == "__main__":
    main()
