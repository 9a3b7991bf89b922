// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Numbers to and from text: statuses, options and exported converters. All routines work on counted fields of the
// caller, fill the whole field on output, take no lock and keep no state.
#ifndef TAMRUN_CVT_H
#define TAMRUN_CVT_H

#include "tamrun/types.h"

/// Status of every converter.
enum Cvt_Status : int {
  CVT_SUCCESS = 0,
  CVT_INVALID_VALUE = 1,
  CVT_FIELD_OVERFLOW = 2,  ///< the field has been filled with asterisks
  CVT_INVALID_CHARACTER = 3,
  CVT_INVALID_OPTIONS = 4,
  CVT_INVALID_RADIX = 5,
  CVT_INVALID_LENGTH = 6,
  CVT_VALUE_OVERFLOW = 8,
  CVT_UNDERFLOW = 9,
  CVT_IS_NAN = 10,
  CVT_IS_ZERO = 11,
  CVT_IS_INFINITY = 12,
  CVT_INVALID_FLOAT = 13,
  CVT_RECORD_OVERFLOW = 14,    ///< a minimal field overflowed
  CVT_POSITIVE_INFINITY = 15,  ///< a foreign format has no such value
  CVT_NEGATIVE_INFINITY = 16,
};

/// Options of the integer input routines.
enum Cvt_Integer_Input : u32 {
  CVT_M_SKIP_TABS = 0x01,
  CVT_M_SKIP_BLANKS = 0x02,
  CVT_M_SKIP_UNDERSCORES = 0x10,
  CVT_M_BLANKS_AS_ZEROS = 0x40,  ///< wins over CVT_M_SKIP_BLANKS
  CVT_M_INTEGER_INPUT_MASK = 0x2053,
};

/// Options of the logical routines; 0 selects the numeric form.
enum Cvt_Boolean : u32 { CVT_M_BOOLEAN_WORD = 0x2000000, CVT_M_BOOLEAN_LETTER = 0x4000000 };

/// Options of the digit engines and the real field builders.
enum Cvt_Real_Output : u32 {
  CVT_M_E_FORM = 0x1,
  CVT_M_F_FORM = 0x2,
  CVT_M_D_LETTER = 0x4,
  CVT_M_FORCE_PLUS = 0x10,
  CVT_M_EXPONENT_GIVEN = 0x40,
  CVT_M_STRIP_ZEROS = 0x80,
  CVT_M_LEFT_JUSTIFY = 0x100,
  CVT_M_EN_FORM = 0x200,
  CVT_M_ES_FORM = 0x400,
  CVT_M_HEX_FORM = 0x800,
  CVT_M_HEX_UPPER = 0x1000,
  CVT_M_ALT_SPELLING = 0x2000,
  CVT_M_G_ZERO_AS_F = 0x4000,
  CVT_M_G_STANDARD = 0x100000,
  CVT_M_FLUSH_DENORMALS = 1u << 28,
  CVT_M_SPECIAL_STATUS = 1u << 30,
  CVT_M_ROUND_GIVEN = 1u << 31,
};

/// Rounding field of an option word: bits 22 to 24, valid with CVT_M_ROUND_GIVEN.
inline constexpr int CVT_ROUND_SHIFT = 22;
enum Cvt_Round : u32 {
  CVT_ROUND_NEAREST = 0u << CVT_ROUND_SHIFT,  ///< ties to even
  CVT_ROUND_ZERO = 1u << CVT_ROUND_SHIFT,
  CVT_ROUND_DOWN = 2u << CVT_ROUND_SHIFT,
  CVT_ROUND_UP = 4u << CVT_ROUND_SHIFT,
  CVT_ROUND_AWAY = 6u << CVT_ROUND_SHIFT,  ///< to nearest, ties away from zero
  CVT_ROUND_MASK = 7u << CVT_ROUND_SHIFT,
};

/// Extended flags of the field builders: a 64-bit word whose low half is 4 by convention.
enum Cvt_Ext : u64 {
  CVT_X_NONE = 4,
  CVT_X_LIST_G = 1ull << 32,
  CVT_X_MINUS_ZERO = 1ull << 33,
  CVT_X_DECIMAL_COMMA = 1ull << 34,
  CVT_X_WIDTH_COMPUTED = 1ull << 35,
  CVT_X_G0 = 1ull << 36,
  CVT_X_LIST_DIRECTED = 1ull << 37,  ///< passed on by the value editor, read by no converter
  CVT_X_KEEP_ROUNDED_SIGN = 1ull << 38,
  CVT_X_VALUE_OPTION = 1ull << 39,  ///< as CVT_X_LIST_DIRECTED
  CVT_X_STANDARD_G0 = 1ull << 41,
  CVT_X_D_GIVEN = 1ull << 42,
  CVT_X_W_ZERO = 1ull << 43,
  CVT_X_ANY_NONZERO_TRUE = 1ull << 32,  ///< cvt_boolean_to_text_ex: any non-zero value is "T"
  CVT_X_FLUSH = 1ull << 40,             ///< cvt_text_to_ieee_s_ex: denormal results become zero
};

/// Options of the text to real routines.
enum Cvt_Real_Input : u32 {
  CVT_M_TEXT_TABS = 0x1,
  CVT_M_TEXT_BLANKS_SKIP = 0x2,
  CVT_M_TEXT_COMMAS = 0x4,
  CVT_M_TEXT_POINTS = 0x8,
  CVT_M_TEXT_UNDERSCORES = 0x10,
  CVT_M_TEXT_LEADING_SPACE = 0x20,
  CVT_M_TEXT_BLANKS_ZERO = 0x40,
  CVT_M_TEXT_SPECIALS = 0x80,
  CVT_M_TEXT_HEX = 0x100,
  CVT_M_TEXT_SCALE_ALWAYS = 0x400,
  CVT_M_TEXT_NO_BARE_SIGN = 0x800,
  CVT_M_TEXT_E_ONLY = 0x1000,
  CVT_M_TEXT_REPORT_OVERFLOW = 0x2000,
  CVT_M_TEXT_REPORT_UNDERFLOW = 0x4000,
  CVT_M_TEXT_WHOLE = 0x8000,
  CVT_M_TEXT_OWN_POINT = 0x10000,
  CVT_M_TEXT_NEED_DIGITS = 0x20000,
  CVT_M_TEXT_END_OF_NUMBER = 0x40000,
  CVT_M_TEXT_DECIMAL_COMMA = 1u << 27,
  CVT_M_TEXT_FLUSH = 1u << 28,
};

/// A binary128 value as two words, low first: how the quad routines pass it.
struct Cvt_Quad {
  u64 low, high;
};
static_assert(sizeof(Cvt_Quad) == 16);

// Integers, logicals and bit images to text. `width` is the field in columns, `digits` the minimum digit count.

TAMRUN_ENTRY int cvt_integer_to_text(i32 value, i32 width, i32 digits, u32 options, char* dst);
TAMRUN_ENTRY int cvt_integer64_to_text(i64 value, i32 width, i32 digits, u32 options, char* dst);
TAMRUN_ENTRY int cvt_unsigned_to_text(u32 value, i32 width, i32 radix, i32 digits, char* dst);
TAMRUN_ENTRY int cvt_unsigned64_to_text(u64 value, i32 width, i32 radix, i32 digits, char* dst);
TAMRUN_ENTRY int cvt_data_to_text(const u8* data, i32 width, i32 bytes, i32 radix, i32 digits, char* dst);
TAMRUN_ENTRY int cvt_data64_to_text(const u8* data, i32 width, i32 bytes, i32 radix, i32 digits, char* dst);
TAMRUN_ENTRY int cvt_boolean_to_text(i32 value, i32 width, i32 options, char* dst);
TAMRUN_ENTRY int cvt_boolean_to_text_ex(i32 value, i32 width, i32 options, char* dst, u64 ext);
TAMRUN_ENTRY int cvt_boolean64_to_text(i64 value, i32 width, i32 options, char* dst);

// Text to integers, logicals and bit images. The result is 0 after a failure.

TAMRUN_ENTRY int cvt_text_to_integer(const char* text, i32 length, u32 options, i32* result);
TAMRUN_ENTRY int cvt_text_to_integer64(const char* text, i32 length, u32 options, i64* result);
TAMRUN_ENTRY int cvt_text_to_unsigned(const char* text, i32 length, i32 radix, u32 options, u32* result);
TAMRUN_ENTRY int cvt_text_to_unsigned64(const char* text, i32 length, i32 radix, u32 options, u64* result);
TAMRUN_ENTRY int cvt_text_to_data(const char* text, i32 length, i32 bytes, i32 radix, u32 options, u8* result);
TAMRUN_ENTRY int cvt_text_to_data64(const char* text, i32 length, i32 bytes, i32 radix, u32 options, u8* result);
TAMRUN_ENTRY int cvt_text_to_boolean(const char* text, i32 length, i32 options, i32* result);
TAMRUN_ENTRY int cvt_text_to_boolean64(const char* text, i32 length, i32 options, i64* result);

/// The largest and the smallest signed 32-bit integer, each in both byte orders, behind 16 zero bytes.
TAMRUN_ENTRY const u8 int_c[32];

// Reals to text. `limit` bounds the integer digits of F form (0 none); `out_len` receives the length of the text. `dst`
// holds `width` bytes; with CVT_M_LEFT_JUSTIFY an E form takes the columns that its text needs, which may be more:
// decimals + exponent digits + 8 at most.

TAMRUN_ENTRY int cvt_ieee_s_to_text_ex(const float* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e,
                                       u32 options, char* dst, u64 ext, i32* out_len);
TAMRUN_ENTRY int cvt_ieee_t_to_text_ex(const double* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e,
                                       u32 options, char* dst, u64 ext, i32* out_len);
TAMRUN_ENTRY int cvt_ieee_x_to_text_ex(const Cvt_Quad* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e,
                                       u32 options, char* dst, u64 ext, i32* out_len);
TAMRUN_ENTRY int cvt_ieee_s_to_text(const float* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e,
                                    u32 options, char* dst);
TAMRUN_ENTRY int cvt_ieee_t_to_text(const double* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e,
                                    u32 options, char* dst);
TAMRUN_ENTRY int cvt_ieee_x_to_text(const Cvt_Quad* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e,
                                    u32 options, char* dst);

// Digit engines: digits in dst[start] .. dst[end - 1], dst[end] NUL, value 0.d1d2d3... x 10^exponent. `dst` holds
// capacity + 2 bytes, which also bound the spelling of an infinity. The result points at the first digit. `start`, `end`
// and `status` may be null.

TAMRUN_ENTRY char* cvtas_s_to_a(i64 capacity, i64 fraction, u32 options, char* dst, i32* start, i32* end, i32* exponent,
                                i32* cls, i32* status, float value);
TAMRUN_ENTRY char* cvtas_t_to_a(i64 capacity, i64 fraction, u32 options, char* dst, i32* start, i32* end, i32* exponent,
                                i32* cls, i32* status, double value);
TAMRUN_ENTRY char* cvtas_x_to_a(u64 low, u64 high, i64 capacity, i64 fraction, u32 options, char* dst, i32* start,
                                i32* end, i32* exponent, i32* cls, i32* status);

// Text to reals. 0, or 1 for any failure.

TAMRUN_ENTRY int cvt_text_to_ieee_s_ex(const char* text, i32 length, i32 scale, i32 decimals, u32 options,
                                       float* result, u64 ext);
TAMRUN_ENTRY int cvt_text_to_ieee_t_ex(const char* text, i32 length, i32 scale, i32 decimals, u32 options,
                                       double* result, u64 ext);
TAMRUN_ENTRY int cvt_text_to_ieee_x_ex(const char* text, i32 length, i32 scale, i32 decimals, u32 options,
                                       Cvt_Quad* result, u64 ext);

// Scanning engines. `end` and `status` may be null. With CVT_M_TEXT_OWN_POINT the decimal character follows as an int.

TAMRUN_ENTRY float cvtas_a_to_s(const char* text, i32 length, u32 options, i32 decimals, i32 scale, char** end,
                                i32* status, ...);
TAMRUN_ENTRY double cvtas_a_to_t(const char* text, i32 length, u32 options, i32 decimals, i32 scale, char** end,
                                 i32* status, ...);
TAMRUN_ENTRY Cvt_Quad cvtas_a_to_x(const char* text, i32 length, u32 options, i32 decimals, i32 scale, char** end,
                                   i32* status, ...);

/// What the readers of the group behind the word NaN give: the characters consumed, up to and including a ")" (0 if no
/// well-formed group stands there), and the quiet NaN of the format. That of binary128 has a low word of 0.
struct Cvt_Nan_S {
  i64 consumed;
  float value;
};
struct Cvt_Nan_T {
  i64 consumed;
  double value;
};
struct Cvt_Nan_X {
  i64 consumed;
  u64 high;
};
TAMRUN_ENTRY Cvt_Nan_S cvtas__nan_s(const char* text, i32 length);
TAMRUN_ENTRY Cvt_Nan_T cvtas__nan_t(const char* text, i32 length);
TAMRUN_ENTRY Cvt_Nan_X cvtas__nan_x(const char* text, i32 length);

/// Bit patterns of results, positive and negative: zero, quiet NaN, infinity, smallest and largest denormal, smallest
/// normal, largest finite. The table of the doubles also holds four limits of the conversion to single.
TAMRUN_ENTRY const u32 cvtas_globals_s[16];
TAMRUN_ENTRY const u64 cvtas_globals_t[18];
TAMRUN_ENTRY const Cvt_Quad cvtas_globals_x[14];

// Lexer of a number, one character at a time. The state starts as the decimal character << 12.

TAMRUN_ENTRY int cvt__lex_number_char(u32* state, char c);
TAMRUN_ENTRY int cvt__lex_number_complete(const u32* state);

#endif
