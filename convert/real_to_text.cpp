// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// One real in one output field: the forms F, E, D, EN, ES, EX and G, with the rules for width, sign, leading zero,
// exponent letter, NaN and Infinity.
#include "convert/digit_engine.h"
#include "convert/short_field.h"

#include <algorithm>
#include <bit>

namespace {

/// The arguments of a field builder.
struct Field_Request {
  i32 width, scale, decimals, limit, e;
  u32 options;
  char* dst;
  u64 ext;
  i32* out_len;
};

int count_digits(i64 magnitude) { return std::max(decimal_digits(static_cast<u64>(magnitude)), 1); }

template <class Ieee>
class Field {
 public:
  Field(typename Ieee::Bits bits, const Field_Request& r)
      : bits_(bits),
        dst_(r.dst),
        out_len_(r.out_len),
        width_(r.width),
        limit_(r.limit),
        e_(r.e),
        d_(r.decimals),
        k_(r.scale),
        options_(r.options),
        ext_(r.ext) {}

  int build();

 private:
  bool option(u32 bits) const { return (options_ & bits) != 0; }
  bool ext(u64 bits) const { return (ext_ & bits) != 0; }

  void digits(i64 capacity, i64 fraction, u32 form) {
    make_digits<Ieee>(bits_, capacity, fraction, form | engine_options_, &digits_);
  }
  void set_sign();
  int g_form();
  bool g_is_fixed(i64* reduction);
  int f_form(i64 field);
  int put_fixed(i64 right, i64 whole, bool optional_zero);
  int e_form();
  bool e_digits(i64* significant);
  void align_en(bool zero);
  bool exponent_digits(i64 significant, i64 exponent, i64* count, bool* letter, int* status);
  void put_e(i64 right, i64 exponent, i64 exponent_count, bool letter, bool zero);
  int nan_field(i64 field);
  int infinity_field(i64 field);
  int special_field(const char* text, int length, i64 field, int status);
  int stars(i64 count, int status) {
    fill_columns(dst_, '*', static_cast<size_t>(std::clamp<i64>(count, 0, width_)));
    return status;
  }
  void blank() { fill_columns(dst_, ' ', static_cast<size_t>(width_)); }

  const typename Ieee::Bits bits_;
  char* const dst_;
  i32* const out_len_;
  const i64 width_, limit_, e_;
  i64 d_, k_;  // as the form changes them
  const u32 options_;
  const u64 ext_;

  u32 engine_options_ = 0;
  i64 star_limit_ = 0;
  char point_ = '.', sign_ = 0;  // no sign: 0
  bool en_ = false, ex_ = false, minimal_ = false, reserve_digits_ = false, search_ = false, from_g_ = false;
  Real_Digits digits_;
};

template <class Ieee>
int Field<Ieee>::build() {
  const bool e_like = option(CVT_M_E_FORM | CVT_M_EN_FORM | CVT_M_ES_FORM);
  const bool f_like = !e_like && option(CVT_M_F_FORM);
  if (f_like && width_ == 1) return stars(1, CVT_FIELD_OVERFLOW);

  star_limit_ = width_;
  const bool standard_w0 = ext(CVT_X_STANDARD_G0) && ext(CVT_X_W_ZERO);
  if (ext(CVT_X_WIDTH_COMPUTED) && !standard_w0) {
    star_limit_ = (e_ != 0 ? e_ : 2) + (d_ != 0 ? d_ + 4 : 11);
  }
  if (ext(CVT_X_DECIMAL_COMMA)) point_ = ',';
  if (option(CVT_M_EN_FORM)) {
    en_ = true;
    d_ += 2;
    k_ = 3;
  } else if (option(CVT_M_ES_FORM)) {
    ex_ = option(CVT_M_HEX_FORM) && option(CVT_M_ROUND_GIVEN);
    k_ = 1;
  }
  if (ext(CVT_X_WIDTH_COMPUTED) && ext(CVT_X_G0) && ext(CVT_X_STANDARD_G0)) {
    minimal_ = reserve_digits_ = true;
    search_ = !ext(CVT_X_D_GIVEN);
  } else {
    minimal_ = ext(CVT_X_WIDTH_COMPUTED) && e_like;
    reserve_digits_ = option(CVT_M_EXPONENT_GIVEN) && e_ == 0;
  }
  constexpr u32 kRounding = u32{CVT_ROUND_MASK} | CVT_M_ROUND_GIVEN, kHex = CVT_M_HEX_FORM | CVT_M_HEX_UPPER;
  engine_options_ = options_ & (kRounding | CVT_M_FLUSH_DENORMALS | (ex_ ? kHex : 0));

  if (e_like) return e_form();
  if (f_like) return f_form(width_);
  return g_form();
}

/// Decides the sign of the digits that the engine has given.
template <class Ieee>
void Field<Ieee>::set_sign() {
  const int cls = digits_.cls;
  bool minus = cls < 0;
  bool plus = option(CVT_M_FORCE_PLUS) && cls > 0;
  if (digits_.status == CVT_IS_ZERO) {
    const bool true_zero = cls == -REAL_ZERO;
    plus = option(CVT_M_FORCE_PLUS) && cls >= 0;
    if (minus) minus = ex_ ? true_zero : ext(true_zero ? CVT_X_MINUS_ZERO : CVT_X_KEEP_ROUNDED_SIGN);
  }
  sign_ = minus ? '-' : plus ? '+' : '\0';
}

template <class Ieee>
int Field<Ieee>::g_form() {
  from_g_ = true;
  digits_.status = CVT_SUCCESS;
  i64 reduction = 0;
  const auto value = unpack<Ieee>(bits_);
  if (value.cls == REAL_ZERO || (value.cls == REAL_DENORMAL && option(CVT_M_FLUSH_DENORMALS))) {
    if (!option(CVT_M_G_ZERO_AS_F | CVT_M_G_STANDARD)) return e_form();
    k_ = 0;
    if (!ext(CVT_X_LIST_G)) {
      if (d_ < 1) return stars(width_, CVT_FIELD_OVERFLOW);
      reduction = e_ > 0 ? e_ + 2 : 4;
      --d_;
    }
    return f_form(width_ - reduction);
  }
  if (!g_is_fixed(&reduction)) return e_form();
  k_ = 0;
  return f_form(width_ - reduction);
}

/// Whether a value that is not zero takes the F form, and the blanks behind it; d becomes that of the F form.
template <class Ieee>
bool Field<Ieee>::g_is_fixed(i64* reduction) {
  if (ext(CVT_X_LIST_G) && !option(CVT_M_G_STANDARD)) {
    constexpr auto kSign = typename Ieee::Bits{1} << (8 * sizeof(bits_) - 1);
    const auto magnitude = bits_ & ~kSign;
    return magnitude >= Ieee::kOne && magnitude < Ieee::kTenMillion;
  }
  digits(width_ - 1, d_, CVT_M_F_FORM);
  if (ext(CVT_X_STANDARD_G0) && digits_.exponent != 0 && digits_.status == CVT_SUCCESS) {
    const i64 fraction = d_ - digits_.exponent;
    digits(width_ - 1, fraction, CVT_M_F_FORM);
    if (digits_.exponent + fraction > d_) digits(width_ - 1, fraction - 1, CVT_M_F_FORM);
  }
  const i64 exponent = digits_.exponent;
  if (digits_.status != CVT_SUCCESS || exponent < 0 || exponent > d_) return false;
  d_ -= exponent;
  *reduction = reserve_digits_ ? count_digits(exponent) + 2 : e_ > 0 ? e_ + 2 : 4;
  return true;
}

template <class Ieee>
int Field<Ieee>::f_form(i64 field) {
  digits(field - 1, k_ + d_, CVT_M_F_FORM);
  set_sign();
  blank();
  if (digits_.status == CVT_IS_INFINITY) return infinity_field(field);
  if (digits_.status == CVT_IS_NAN) return nan_field(field);
  const bool zero = digits_.status == CVT_IS_ZERO;
  const i64 whole = zero ? 0 : k_ + digits_.exponent;  // digits left of the point
  if (zero) digits_.start = digits_.end = 0;

  i64 need = std::max(whole, i64{0}) + d_ + 1 + (sign_ != 0) + (d_ == 0 && whole < 1);
  if (need > field || d_ < 0 || (limit_ != 0 && limit_ < whole)) {
    return stars(star_limit_ + 1 < width_ ? star_limit_ : width_, minimal_ ? CVT_RECORD_OVERFLOW : CVT_FIELD_OVERFLOW);
  }
  const bool optional_zero = d_ > 0 && !ext(CVT_X_WIDTH_COMPUTED | CVT_X_G0);
  if (need < field && whole == 0 && optional_zero) ++need;
  return put_fixed(option(CVT_M_LEFT_JUSTIFY) ? need : field, whole, optional_zero);
}

/// Lays an F form out that ends at column `right`, which leaves room for all but an optional leading zero.
template <class Ieee>
int Field<Ieee>::put_fixed(i64 right, i64 whole, bool optional_zero) {
  *out_len_ = static_cast<i32>(right);
  char* at = dst_ + right - d_;
  const i64 zeros = std::clamp<i64>(-whole, 0, d_);
  fill_columns(at, '0', static_cast<size_t>(zeros));
  digits_.put(at + zeros, std::max(whole, i64{0}), d_ - zeros);
  *--at = point_;
  if (whole >= 1) {
    at -= whole;
    digits_.put(at, 0, whole);
  } else {
    const i64 free = at - dst_;
    const bool tight = free == 0 || (free == 1 && sign_ != 0);
    if (d_ == 0 && tight) return stars(width_, CVT_FIELD_OVERFLOW);
    if (d_ == 0 || (optional_zero && !tight)) *--at = '0';
  }
  if (sign_ != 0) *--at = sign_;
  return CVT_SUCCESS;
}

template <class Ieee>
int Field<Ieee>::e_form() {
  if (from_g_ && (digits_.status == CVT_IS_NAN || digits_.status == CVT_IS_INFINITY)) {
    set_sign();
    blank();
    return digits_.status == CVT_IS_NAN ? nan_field(width_) : infinity_field(width_);
  }
  i64 significant;
  if (!e_digits(&significant)) {
    const i64 some = d_ + (k_ > 0) + (from_g_ ? 5 + (unpack<Ieee>(bits_).negative || option(CVT_M_FORCE_PLUS)) : 6);
    if (ext(CVT_X_G0)) blank();
    return stars(ext(CVT_X_G0) ? some : width_, CVT_FIELD_OVERFLOW);
  }
  set_sign();
  blank();
  if (digits_.status == CVT_IS_INFINITY) return infinity_field(width_);
  if (digits_.status == CVT_IS_NAN) return nan_field(width_);
  const bool zero = digits_.status == CVT_IS_ZERO;
  if (zero) digits_.exponent = k_ = digits_.start = digits_.end = 0;
  if (ex_ && d_ == 0) d_ = std::max(digits_.significant(), 1) - 1;
  if (en_) align_en(zero);

  const i64 exponent = digits_.exponent - (ex_ ? 4 : 1) * k_;
  i64 count;
  bool letter;
  int status;
  if (!exponent_digits(significant, exponent, &count, &letter, &status)) return status;

  i64 need = (sign_ != 0) + d_ + count + 2 + (ex_ ? 2 : 0) + letter;
  bool must_zero = false, may_zero = false;
  if (k_ >= 1) {
    need += zero && d_ == 0 ? 2 : 1;
  } else if (d_ == 0 || ex_) {
    must_zero = true;
    ++need;
  } else if (!ext(CVT_X_WIDTH_COMPUTED | CVT_X_G0)) {
    must_zero = option(CVT_M_LEFT_JUSTIFY);
    may_zero = !must_zero && !minimal_;
    need += must_zero;
  }
  // A minimal field takes what the text needs; its caller has the room.
  const bool minimal_field = option(CVT_M_LEFT_JUSTIFY);
  if (need > width_ && !minimal_field) return stars(width_, CVT_FIELD_OVERFLOW);
  const i64 right = minimal_field ? need : width_;
  put_e(right, exponent, count, letter, must_zero || (may_zero && need < width_));
  return CVT_SUCCESS;
}

/// Digits of the E forms; false for a scale factor that d does not allow.
template <class Ieee>
bool Field<Ieee>::e_digits(i64* significant) {
  if (ex_ && d_ == 0) {
    *significant = Ieee::kHexDigits;
  } else if (k_ <= -d_ || k_ >= d_ + 2) {
    return false;
  } else {
    *significant = k_ < 1 ? d_ + k_ : d_ + 1;
  }
  digits(*significant, 0, CVT_M_E_FORM);
  if (search_ && !ex_) {
    // As few digits as tell the value that all of them tell.
    const i64 fewest = k_ > 0 ? k_ + 3 : std::max(-k_, i64{1});
    const i64 enough = digits_.significant() - (k_ > 0 ? 1 : k_);
    d_ = std::clamp(enough, std::min(fewest, d_), d_);
    *significant = k_ < 1 ? d_ + k_ : d_ + 1;
  }
  return true;
}

/// Makes the exponent a multiple of three. d counts all digits but one, k those left of the point.
template <class Ieee>
void Field<Ieee>::align_en(bool zero) {
  if (zero) {
    digits_.exponent = k_ = 1;
    d_ -= 2;
    return;
  }
  const i64 exponent = digits_.exponent;
  const i64 rest = (exponent % 3 + 2) % 3 + 1;  // 1 to 3
  k_ = rest;
  if (rest == 3) return;
  digits(d_ + rest - 2, 0, CVT_M_E_FORM);
  const bool raised = digits_.exponent != exponent;  // a zero that is not stored joins the digits
  d_ += rest - 3 + raised;
  k_ += raised;
}

/// How many exponent digits stand there, and whether the letter does. False, with the field full of asterisks, if the
/// exponent has no room.
template <class Ieee>
bool Field<Ieee>::exponent_digits(i64 significant, i64 exponent, i64* count, bool* letter, int* status) {
  constexpr int kLetterless = 3;  // digits that take the letter's place
  const int digits = count_digits(exponent < 0 ? -exponent : exponent);
  *letter = true;
  *count = digits;
  if (!option(CVT_M_EXPONENT_GIVEN)) {
    if (!ext(CVT_X_G0) && e_ == 0) {
      *letter = digits != kLetterless;
      if (digits > kLetterless) {
        *status = stars(star_limit_ + 3 < width_ ? star_limit_ : width_, CVT_FIELD_OVERFLOW);
        return false;
      }
    }
    *count = std::max<i64>({e_, digits, reserve_digits_ ? 1 : 2});
  } else if (!reserve_digits_) {
    if (digits > e_) {
      *status = stars(ext(CVT_X_G0) ? (sign_ != 0) + significant + 5 : width_, CVT_FIELD_OVERFLOW);
      return false;
    }
    *count = e_;
  }
  if (minimal_ && !ex_) *letter = ext(CVT_X_STANDARD_G0) && (e_ > 2 || *count < kLetterless);
  return true;
}

template <class Ieee>
void Field<Ieee>::put_e(i64 right, i64 exponent, i64 exponent_count, bool letter, bool zero) {
  *out_len_ = static_cast<i32>(right);
  char* at = dst_ + right - exponent_count;
  const u64 magnitude = static_cast<u64>(exponent < 0 ? -exponent : exponent);
  constexpr int kMostDigits = 19;
  const int stored = static_cast<int>(std::min<i64>(exponent_count, kMostDigits));
  put_digits_before(at + exponent_count, magnitude, stored);
  fill_columns(at, '0', static_cast<size_t>(exponent_count - stored));
  *--at = exponent < 0 ? '-' : '+';
  if (letter) *--at = ex_ ? 'P' : option(CVT_M_D_LETTER) ? 'D' : 'E';
  const i64 left = std::max(k_, i64{0}), zeros = std::max(-k_, i64{0});
  const i64 behind = left > 0 ? d_ + 1 - left : d_;
  at -= behind;
  fill_columns(at, '0', static_cast<size_t>(zeros));
  digits_.put(at + zeros, left, behind - zeros);
  *--at = point_;
  at -= left;
  digits_.put(at, 0, left);
  if (zero) *--at = '0';
  if (ex_) {
    *--at = 'X';
    *--at = '0';
  }
  if (sign_ != 0) *--at = sign_;
}

template <class Ieee>
int Field<Ieee>::nan_field(i64 field) {
  sign_ = '\0';
  return special_field("NaN", 3, field, CVT_IS_NAN);
}

template <class Ieee>
int Field<Ieee>::infinity_field(i64 field) {
  constexpr int kLong = 8, kShort = 3;
  const int length = (sign_ != 0) + kLong <= field && !minimal_ ? kLong : kShort;
  return special_field("Infinity", length, field, CVT_IS_INFINITY);
}

/// The first `length` characters of `text` behind the sign. The status tells of the value even if it does not fit.
template <class Ieee>
int Field<Ieee>::special_field(const char* text, int length, i64 field, int status) {
  const int total = length + (sign_ != 0);
  if (total > field) {
    *out_len_ = static_cast<i32>(width_);
    return stars(width_, minimal_ ? CVT_RECORD_OVERFLOW : status);
  }
  char* at = dst_ + (option(CVT_M_LEFT_JUSTIFY) ? 0 : field - total);
  if (sign_ != 0) *at++ = sign_;
  memcpy(at, text, static_cast<size_t>(length));
  if (status == CVT_IS_INFINITY || minimal_) *out_len_ = total;
  return status;
}

/// The plain forms of a finite value. False: the builder has to do it.
template <class Ieee>
bool put_plain(typename Ieee::Bits bits, const Field_Request& r) {
  constexpr u32 kE = CVT_M_E_FORM | CVT_M_ES_FORM;
  constexpr u32 kPlain = kE | CVT_M_F_FORM | CVT_M_D_LETTER | CVT_M_FORCE_PLUS | CVT_M_EXPONENT_GIVEN |
                         u32{CVT_ROUND_MASK} | CVT_M_ROUND_GIVEN | CVT_M_G_ZERO_AS_F | CVT_M_G_STANDARD;
  constexpr u64 kPlainExt = u64{CVT_X_MINUS_ZERO} | CVT_X_KEEP_ROUNDED_SIGN | CVT_X_DECIMAL_COMMA | CVT_X_STANDARD_G0 |
                            CVT_X_D_GIVEN | CVT_X_LIST_DIRECTED |
                            CVT_X_VALUE_OPTION;  // the last two are read by no form
  if ((r.options & ~kPlain) != 0 || (r.ext & ~kPlainExt) >> 32 != 0) return false;
  const Unpacked<u64> value = unpack<Ieee>(bits);
  if (value.cls != REAL_NORMAL && value.cls != REAL_DENORMAL) return false;
  Short_Field field{r.dst,
                    r.width,
                    r.decimals,
                    rounding_mask(r.options),
                    (r.ext & CVT_X_DECIMAL_COMMA) != 0 ? ',' : '.',
                    (r.options & CVT_M_FORCE_PLUS) != 0};
  if ((r.options & (kE | CVT_M_F_FORM)) == CVT_M_F_FORM) {
    return r.scale == 0 && put_short_fixed(value, field, r.limit);
  }
  const bool given = (r.options & CVT_M_EXPONENT_GIVEN) != 0;
  if (r.e < given || r.e > kShortExponentDigits) return false;
  const Short_Exponent exponent_format{(r.options & CVT_M_D_LETTER) != 0 ? 'D' : 'E', r.e, given};
  if ((r.options & kE) == 0) {
    i64 exponent;
    const i64 significant = (r.ext & CVT_X_STANDARD_G0) != 0 ? r.decimals : kFastDigits;
    if (!short_g_exponent(value, i64{r.width} - 1, r.decimals, significant, &exponent)) return false;
    if (exponent >= 0 && exponent <= r.decimals) {
      const i32 behind = r.e > 0 ? r.e + 2 : 4;
      if (behind >= r.width) return false;
      field.width -= behind;
      field.decimals -= static_cast<i32>(exponent);
      if (!put_short_fixed(value, field, r.limit)) return false;
      fill_columns(r.dst + field.width, ' ', static_cast<size_t>(behind));
      *r.out_len = field.width;
      return true;
    }
  }
  const i32 scale = (r.options & CVT_M_ES_FORM) != 0 ? 1 : r.scale;
  return (scale == 0 || scale == 1) && put_short_scientific(value, field, scale, exponent_format);
}

template <class Ieee>
int real_to_text(typename Ieee::Bits bits, const Field_Request& request) {
  if (request.width < 1) return CVT_INVALID_LENGTH;
  *request.out_len = request.width;
  if constexpr (sizeof(typename Ieee::Significand) == sizeof(u64)) {
    if (put_plain<Ieee>(bits, request)) return CVT_SUCCESS;
  }
  return Field<Ieee>(bits, request).build();
}

}  // namespace

#define TAMRUN_REAL_TO_TEXT(LETTER, IEEE, VALUE, BITS)                                                         \
  int cvt_ieee_##LETTER##_to_text_ex(const VALUE* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e, \
                                     u32 options, char* dst, u64 ext, i32* out_len) {                          \
    i32 unused;                                                                                                \
    return real_to_text<IEEE>(                                                                                 \
        BITS, {width, scale, decimals, limit, e, options, dst, ext, out_len != nullptr ? out_len : &unused});  \
  }                                                                                                            \
  int cvt_ieee_##LETTER##_to_text(const VALUE* value, i32 width, i32 scale, i32 decimals, i32 limit, i32 e,    \
                                  u32 options, char* dst) {                                                    \
    i32 unused;                                                                                                \
    return real_to_text<IEEE>(BITS, {width, scale, decimals, limit, e, options, dst, CVT_X_NONE, &unused});    \
  }

TAMRUN_REAL_TO_TEXT(s, Ieee_Single, float, std::bit_cast<u32>(*value))
TAMRUN_REAL_TO_TEXT(t, Ieee_Double, double, std::bit_cast<u64>(*value))
TAMRUN_REAL_TO_TEXT(x, Ieee_Quad, Cvt_Quad, static_cast<u128>(value->high) << 64 | value->low)
