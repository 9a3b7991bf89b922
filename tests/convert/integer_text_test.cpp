// SPDX-License-Identifier: Apache-2.0 WITH LLVM-exception
//
// Integers, bit images and logicals to text and back, held against the C library and against bit-by-bit conversion.

#include "convert/digit_pairs.h"
#include "support/exact_text.h"
#include "support/soak.h"
#include "tamrun/cvt.h"

#include <gtest/gtest.h>

#include <charconv>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

using tamrun_test::exact;

constexpr char kCanary = '#';

/// What `write(value, width, rest..., field)` gives: the status, a colon and the field, which stands between canaries.
template <class Write, class Value, class... Rest>
std::string field_of(Write write, Value value, i32 width, Rest... rest) {
  const size_t columns = width > 0 ? width : 0;
  std::string room(columns + 2, kCanary);
  const int status = write(value, width, rest..., room.data() + 1);
  EXPECT_EQ(room.front(), kCanary);
  EXPECT_EQ(room.back(), kCanary);
  return std::to_string(status) + ":" + room.substr(1, columns);
}

std::string padded(std::string text, i32 width) {
  if (static_cast<i32>(text.size()) <= width) return "0:" + std::string(width - text.size(), ' ') + text;
  if (static_cast<i32>(text.size()) == width + 1 && text[0] == '0') return "0:" + text.substr(1);
  return "2:" + std::string(width, '*');
}

std::string printed(long long value, i32 digits, bool plus) {
  if (value == 0 && digits == 0) return "";
  char text[128];
  snprintf(text, sizeof text, plus ? "%+.*lld" : "%.*lld", digits, value);
  return text;
}

template <class Random>
u64 any_size(Random& random) {
  return random() >> (random() % 64);
}

struct SignedRow {
  i64 value;
  i32 width, digits;
  u32 options;
  const char* want;
};

TEST(IntegerToText, edges) {
  static const SignedRow rows[] = {
      {INT32_MIN, 11, 0, 0, "0:-2147483648"},
      {INT32_MIN, 10, 0, 0, "2:**********"},
      {0, 4, 0, 16, "0:    "},
      {0, 4, 1, 16, "0:  +0"},
      {0, 1, 1, 16, "2:*"},
      {0, 1, 2, 0, "0:0"},
      {5, 2, 3, 0, "0:05"},
      {7, 3, INT_MAX, 0, "2:***"},
      {7, 0, -1, 99, "0:"},
      {7, -1, 0, 0, "6:"},
      {7, 3, -1, 99, "6:###"},
      {7, 3, 1, 17, "4:###"},
      {7, 3, 1, 0x80000000u, "4:###"},
      {7, 3, 1, 15, "0:  7"},
  };
  for (const SignedRow& row : rows) {
    SCOPED_TRACE(testing::Message() << row.value << " w " << row.width << " m " << row.digits << " o " << row.options);
    const i32 narrow = static_cast<i32>(row.value);
    EXPECT_EQ(row.want, field_of(cvt_integer_to_text, narrow, row.width, row.digits, row.options));
    EXPECT_EQ(row.want, field_of(cvt_integer64_to_text, row.value, row.width, row.digits, row.options));
  }
  EXPECT_EQ("0:-9223372036854775808", field_of(cvt_integer64_to_text, INT64_MIN, 20, 19, 0));
}

TEST(IntegerToText, random_values_widths_and_digits_match_printf) {
  std::mt19937_64 random(1);
  for (long i = 0; i < soak_cases(400000); ++i) {
    const i32 width = 1 + random() % (i % 4 ? 24 : 60), digits = random() % 3 ? random() % 3 : random() % 26;
    const bool plus = random() % 2;
    const u32 options = plus ? 16 : 0;
    const i64 wide = static_cast<i64>(any_size(random)) * (random() % 2 ? 1 : -1);
    const i32 narrow = static_cast<i32>(wide);
    ASSERT_EQ(padded(printed(wide, digits, plus), width),
              field_of(cvt_integer64_to_text, wide, width, digits, options));
    ASSERT_EQ(padded(printed(narrow, digits, plus), width),
              field_of(cvt_integer_to_text, narrow, width, digits, options));
  }
}

TEST(UnsignedToText, every_radix_matches_to_chars) {
  std::mt19937_64 random(2);
  for (long i = 0; i < soak_cases(300000); ++i) {
    const u64 wide = any_size(random);
    const u32 narrow = static_cast<u32>(wide);
    const i32 radix = 2 + random() % 15, width = 1 + random() % 70, digits = random() % 20;
    auto expect = [&](u64 v) {
      char text[80];
      std::string s(text, v == 0 ? text : std::to_chars(text, text + sizeof text, v, radix).ptr);
      for (char& c : s) c = static_cast<char>(toupper(c));
      if (static_cast<i32>(s.size()) < digits) s.insert(0, digits - s.size(), '0');
      return padded(s, width);
    };
    ASSERT_EQ(expect(wide), field_of(cvt_unsigned64_to_text, wide, width, radix, digits)) << radix;
    ASSERT_EQ(expect(narrow), field_of(cvt_unsigned_to_text, narrow, width, radix, digits)) << radix;
  }
}

TEST(UnsignedToText, checks_come_in_order) {
  EXPECT_EQ("0:", field_of(cvt_unsigned_to_text, 9, 0, 99, -1));
  EXPECT_EQ("6:", field_of(cvt_unsigned_to_text, 9, -1, 99, 0));
  EXPECT_EQ("6:##", field_of(cvt_unsigned_to_text, 9, 2, 99, -1));
  for (i32 radix : {-1, 0, 1, 17, INT_MIN}) EXPECT_EQ("5:##", field_of(cvt_unsigned_to_text, 9, 2, radix, 0));
}

TEST(DigitPairs, digit_count_at_every_power_of_ten) {
  EXPECT_EQ(0, decimal_digits(0));
  for (int n = 0; n < 20; ++n) {
    EXPECT_EQ(n + 1, decimal_digits(kPowersOfTen[n]));
    EXPECT_EQ(n, decimal_digits(kPowersOfTen[n] - 1));
  }
  EXPECT_EQ(20, decimal_digits(UINT64_MAX));
}

/// Digits of a little-endian byte string, taken bit by bit.
std::string image_digits(const std::vector<u8>& data, int bits) {
  std::string text;
  for (size_t at = 0; at < data.size() * 8; at += bits) {
    int digit = 0;
    for (int b = 0; b < bits && at + b < data.size() * 8; ++b) digit |= (data[(at + b) / 8] >> ((at + b) % 8) & 1) << b;
    text.insert(text.begin(), "0123456789ABCDEF"[digit]);
  }
  text.erase(0, text.find_first_not_of('0'));
  return text;
}

TEST(BitImage, random_bytes_out_and_in_again) {
  std::mt19937_64 random(3);
  for (long i = 0; i < soak_cases(60000); ++i) {
    std::vector<u8> data(1 + random() % 40);
    const size_t used = random() % (data.size() + 1);
    for (size_t b = 0; b < used; ++b) data[b] = static_cast<u8>(random());
    const int bits = std::array{1, 3, 4}[random() % 3];
    const i32 radix = 1 << bits, bytes = static_cast<i32>(data.size());
    std::string digits = image_digits(data, bits);
    const i32 natural = static_cast<i32>(digits.size());
    const i32 width = 1 + random() % (natural + 6), minimum = random() % (width + 9);
    std::string want = "2:" + std::string(width, '*');
    if (natural <= width) {
      const i32 shown = std::min(std::max(natural, minimum), width);
      want = "0:" + std::string(width - shown, ' ') + std::string(shown - natural, '0') + digits;
    }
    ASSERT_EQ(want, field_of(i % 2 ? cvt_data_to_text : cvt_data64_to_text, data.data(), width, bytes, radix, minimum));

    for (char& c : digits) c = random() % 2 ? static_cast<char>(tolower(c)) : c;
    digits.insert(0, random() % 3, random() % 2 ? ' ' : '0');
    const i32 target = 1 + random() % (bytes + 3), length = static_cast<i32>(digits.size());
    std::unique_ptr<u8[]> result(new u8[target]);
    memset(result.get(), 0xAA, target);
    const int status =
        (i % 2 ? cvt_text_to_data : cvt_text_to_data64)(exact(digits).get(), length, target, radix, 0, result.get());
    std::vector<u8> expected(data);
    bool fits = true;
    for (size_t b = target; b < expected.size(); ++b) fits = fits && expected[b] == 0;
    expected.resize(target);
    ASSERT_EQ(fits ? CVT_SUCCESS : CVT_VALUE_OVERFLOW, status) << digits;
    if (fits) {
      ASSERT_EQ(expected, std::vector<u8>(result.get(), result.get() + target)) << digits;
    }
  }
}

TEST(BitImage, output_checks_and_edges) {
  const u8 zero[8] = {}, value[2] = {0x1F, 0x02};
  struct {
    const u8* data;
    i32 width, bytes, radix, digits;
    const char* want;
  } static const rows[] = {
      {zero, 4, 8, 16, 1, "0:   0"}, {zero, 4, 8, 16, 0, "0:    "},  {value, 3, 1, 16, 0, "0: 1F"},
      {value, 0, -1, 99, -1, "0:"},  {value, -1, 1, 16, 0, "6:"},    {value, 3, 1, 16, -1, "6:###"},
      {value, 3, 0, 16, 0, "6:###"}, {value, 3, -5, 16, 0, "6:###"}, {value, 3, 1, 17, 0, "5:###"},
      {value, 3, 1, 1, 0, "5:###"},  {value, 3, 1, 10, 0, "2:###"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.want, field_of(cvt_data_to_text, row.data, row.width, row.bytes, row.radix, row.digits));
  }
}

TEST(BitImage, input_rules) {
  struct {
    std::string text;
    i32 bytes, radix;
    u32 options;
    int status;
    u64 value;
  } static const rows[] = {
      {"1FF", 1, 16, 0, CVT_VALUE_OVERFLOW, 0xFF},
      {"0FF", 1, 16, 0, CVT_SUCCESS, 0xFF},
      {"300", 1, 8, 0, CVT_SUCCESS, 0xC0},
      {"400", 1, 8, 0, CVT_VALUE_OVERFLOW, 0},
      {"102", 1, 2, 0, CVT_INVALID_CHARACTER, 0},
      {"18", 1, 8, 0, CVT_INVALID_CHARACTER, 0},
      {"1g", 1, 16, 0, CVT_INVALID_CHARACTER, 0},
      {"1\n2", 2, 16, 0, CVT_SUCCESS, 0x1A2},
      {"1\n2", 2, 8, 0, CVT_INVALID_CHARACTER, 2},
      {"1 2", 2, 16, CVT_M_SKIP_BLANKS, CVT_SUCCESS, 0x12},
      {"1 2 ", 2, 16, CVT_M_BLANKS_AS_ZEROS, CVT_SUCCESS, 0x1020},
      {"1 2", 2, 16, CVT_M_BLANKS_AS_ZEROS | CVT_M_SKIP_BLANKS, CVT_SUCCESS, 0x102},
      {"1 2", 2, 16, 0, CVT_INVALID_CHARACTER, 0},
      {" \t12", 2, 16, CVT_M_SKIP_TABS, CVT_SUCCESS, 0x12},
      {" \t12", 2, 16, 0, CVT_INVALID_CHARACTER, 0},
      {"1\t2", 2, 16, CVT_M_SKIP_TABS, CVT_SUCCESS, 0x12},
      {"1_2", 2, 16, CVT_M_SKIP_UNDERSCORES, CVT_SUCCESS, 0x12},
      {"1_2", 2, 16, 0, CVT_INVALID_CHARACTER, 0},
      {"", 2, 99, 99, CVT_SUCCESS, 0},
      {"12", 2, 99, 84, CVT_INVALID_OPTIONS, 0},
      {"12", 2, 10, 83, CVT_INVALID_RADIX, 0},
      {"12", 2, 16, 0x80000000u, CVT_INVALID_OPTIONS, 0},
  };
  for (const auto& row : rows) {
    u64 value = ~u64{0};
    u8* const bytes = reinterpret_cast<u8*>(&value);
    const i32 length = static_cast<i32>(row.text.size());
    EXPECT_EQ(row.status, cvt_text_to_data(exact(row.text).get(), length, row.bytes, row.radix, row.options, bytes))
        << row.text;
    for (int b = row.bytes; b < 8; ++b) EXPECT_EQ(0xFF, bytes[b]) << row.text;
    if (row.status == CVT_INVALID_CHARACTER) continue;
    EXPECT_EQ(row.value, value & ~(~u64{0} << 8 * row.bytes)) << row.text;
  }
  u8 untouched = 7;
  EXPECT_EQ(CVT_INVALID_LENGTH, cvt_text_to_data("1", -1, 1, 16, 0, &untouched));
  EXPECT_EQ(0, untouched);
  untouched = 7;
  for (const i32 bytes : {0, -3}) EXPECT_EQ(CVT_INVALID_LENGTH, cvt_text_to_data("1", 1, bytes, 16, 0, &untouched));
  EXPECT_EQ(7, untouched);
}

struct InputRow {
  std::string text;
  u32 options;
  int status;
  i64 value;
  bool wide_only = false;
};

TEST(TextToInteger, rules_of_the_field) {
  static const InputRow rows[] = {
      {"", 0, CVT_SUCCESS, 0},
      {"    ", 0, CVT_SUCCESS, 0},
      {" + 7", 0, CVT_SUCCESS, 7},
      {"  -  7", 0, CVT_SUCCESS, -7},
      {"-\t7", CVT_M_SKIP_TABS, CVT_SUCCESS, -7},
      {"-\t7", 0, CVT_INVALID_CHARACTER, 0},
      {" \t 7", CVT_M_SKIP_TABS, CVT_SUCCESS, 7},
      {"--7", 0, CVT_INVALID_CHARACTER, 0},
      {"1 2", 0, CVT_INVALID_CHARACTER, 0},
      {"1 2 ", CVT_M_SKIP_BLANKS, CVT_SUCCESS, 12},
      {"1 2 ", CVT_M_BLANKS_AS_ZEROS, CVT_SUCCESS, 1020},
      {" 1 2 ", CVT_M_BLANKS_AS_ZEROS | CVT_M_SKIP_BLANKS, CVT_SUCCESS, 1020},
      {"1_2", CVT_M_SKIP_UNDERSCORES, CVT_SUCCESS, 12},
      {"_1", CVT_M_SKIP_UNDERSCORES, CVT_SUCCESS, 1},
      {"1_2", 0, CVT_INVALID_CHARACTER, 0},
      {"1\t2", CVT_M_SKIP_TABS, CVT_SUCCESS, 12},
      {"1\t2", CVT_M_SKIP_BLANKS, CVT_INVALID_CHARACTER, 0},
      {"1.5", 0, CVT_INVALID_CHARACTER, 0},
      {std::string("1\0", 2), 0, CVT_INVALID_CHARACTER, 0},
      {"12345678\xB9", 0, CVT_INVALID_CHARACTER, 0},
      {"1234567:", 0, CVT_INVALID_CHARACTER, 0},
      {"1234567/", 0, CVT_INVALID_CHARACTER, 0},
      {"5", 4, CVT_INVALID_OPTIONS, 0},
      {"5", 0x80000000u, CVT_INVALID_OPTIONS, 0},
      {"99999999999999999999", 0, CVT_VALUE_OVERFLOW, 0},
      {"18446744073709551616x", 0, CVT_VALUE_OVERFLOW, 0},
      {"2147483648", 0, CVT_SUCCESS, 2147483648, true},
      {"-2147483648", 0, CVT_SUCCESS, INT32_MIN},
      {"-2147483649", 0, CVT_SUCCESS, -2147483649, true},
      {"9223372036854775807", 0, CVT_SUCCESS, INT64_MAX, true},
      {"9223372036854775808", 0, CVT_VALUE_OVERFLOW, 0},
      {"-9223372036854775808", 0, CVT_SUCCESS, INT64_MIN, true},
      {"-9223372036854775809", 0, CVT_VALUE_OVERFLOW, 0},
  };
  for (const InputRow& row : rows) {
    const i32 length = static_cast<i32>(row.text.size());
    i32 narrow = 77;
    i64 wide = 77;
    EXPECT_EQ(row.wide_only ? CVT_VALUE_OVERFLOW : row.status,
              cvt_text_to_integer(exact(row.text).get(), length, row.options, &narrow))
        << row.text;
    EXPECT_EQ(row.status, cvt_text_to_integer64(exact(row.text).get(), length, row.options, &wide)) << row.text;
    EXPECT_EQ(row.wide_only ? 0 : row.value, narrow) << row.text;
    EXPECT_EQ(row.value, wide) << row.text;
  }
  i32 narrow = 77;
  EXPECT_EQ(CVT_INVALID_LENGTH, cvt_text_to_integer("1", -1, 0, &narrow));
  EXPECT_EQ(0, narrow);
}

TEST(TextToUnsigned, random_texts_match_strtoull) {
  std::mt19937_64 random(4);
  for (long i = 0; i < soak_cases(300000); ++i) {
    const i32 radix = 2 + random() % 15;
    std::string clean, text(random() % 4, ' ');
    const int digits = random() % (radix == 2 ? 70 : 24);
    const u32 options = random() % 2 ? CVT_M_SKIP_BLANKS | CVT_M_SKIP_UNDERSCORES : u32{CVT_M_BLANKS_AS_ZEROS};
    bool valid = true;
    for (int d = 0; d < digits; ++d) {
      const char c = "0123456789abcdef0123456789ABCDEF"[random() % radix + 16 * (random() % 2)];
      text += c;
      clean += c;
      if (random() % 32) continue;
      if (random() % 16 == 0) {
        text += "gG:/@`\x80\n"[random() % 8];
        valid = false;
      } else if (options & CVT_M_BLANKS_AS_ZEROS) {
        text += ' ';
        clean += '0';
      } else {
        text += "_ "[random() % 2];
      }
    }
    errno = 0;
    const u64 expected = clean.empty() ? 0 : strtoull(clean.c_str(), nullptr, radix);
    const i32 length = static_cast<i32>(text.size());
    u64 wide = 1;
    u32 narrow = 1;
    const int status = cvt_text_to_unsigned64(exact(text).get(), length, radix, options, &wide);
    if (errno == ERANGE) {
      // the scan stops where it sees it: at the bad character or at the carry
      ASSERT_TRUE(status == CVT_VALUE_OVERFLOW || (!valid && status == CVT_INVALID_CHARACTER)) << text;
    } else {
      ASSERT_EQ(valid ? CVT_SUCCESS : CVT_INVALID_CHARACTER, status) << text << " radix " << radix;
    }
    ASSERT_EQ(status == CVT_SUCCESS ? expected : 0, wide) << text << " radix " << radix;
    const bool fits = status == CVT_SUCCESS && expected <= UINT32_MAX;
    ASSERT_EQ(status != CVT_SUCCESS ? status
              : fits                ? CVT_SUCCESS
                                    : CVT_VALUE_OVERFLOW,
              cvt_text_to_unsigned(exact(text).get(), length, radix, options, &narrow));
    ASSERT_EQ(fits ? expected : 0, narrow) << text;
  }
  u64 value = 1;
  EXPECT_EQ(CVT_INVALID_LENGTH, cvt_text_to_unsigned64("1", -1, 99, 99, &value));
  EXPECT_EQ(CVT_INVALID_OPTIONS, cvt_text_to_unsigned64("1", 1, 99, 8, &value));
  for (i32 radix : {-1, 0, 1, 17}) EXPECT_EQ(CVT_INVALID_RADIX, cvt_text_to_unsigned64("", 0, radix, 0, &value));
  EXPECT_EQ(0u, value);
}

TEST(Logical, output) {
  constexpr i32 kLetter = CVT_M_BOOLEAN_LETTER, kWord = CVT_M_BOOLEAN_WORD;
  constexpr u64 kNonzero = u64{1} << 32;
  struct {
    i32 value, width, options;
    u64 ext;
    const char *want, *want64;
  } static const rows[] = {
      {0, 3, 0, 4, "0:  1", "0:  1"},
      {1, 3, 0, 4, "0:  0", "0:  0"},
      {-1, 4, kLetter, 4, "0:   T", "0:   T"},
      {2, 4, kLetter, 4, "0:   F", "0:   F"},
      {2, 4, kLetter, kNonzero, "0:   T", "0:   F"},
      {0, 4, kLetter, kNonzero, "0:   F", "0:   F"},
      {3, 40, kLetter | kWord, 4, "0:                                       T",
       "0:                                       T"},
      {2, 6, kWord, 4, "0:  TRUE", "0:  TRUE"},
      {0, 4, kWord, 4, "2:****", "2:****"},
      {1, 3, 8, 4, "0:###", "0:###"},
      {1, 3, INT_MIN, 4, "4:###", "4:###"},
      {1, 0, INT_MIN, 4, "0:", "0:"},
      {1, -1, INT_MIN, 4, "6:", "6:"},
  };
  for (const auto& row : rows) {
    const auto write = [&](i32 value, i32 width, i32 options, char* dst) {
      return cvt_boolean_to_text_ex(value, width, options, dst, row.ext);
    };
    EXPECT_EQ(row.want, field_of(write, row.value, row.width, row.options));
    EXPECT_EQ(row.want64, field_of(cvt_boolean64_to_text, row.value, row.width, row.options));
    if (row.ext != 4) continue;
    EXPECT_EQ(row.want, field_of(cvt_boolean_to_text, row.value, row.width, row.options));
  }
  EXPECT_EQ("0:TRUE", field_of(cvt_boolean64_to_text, i64{1} << 40, 4, CVT_M_BOOLEAN_WORD));
}

TEST(Logical, input) {
  constexpr i32 kLetter = CVT_M_BOOLEAN_LETTER, kWord = CVT_M_BOOLEAN_WORD;
  struct {
    const char* text;
    i32 options;
    int status;
    i32 value;
  } static const rows[] = {
      {"T", kLetter, 0, -1},  {"  .true.", kLetter, 0, -1},
      {".T", kLetter, 0, -1}, {"t", kWord, 0, -1},
      {"F", kLetter, 0, 0},   {".false.", kLetter, 0, 0},
      {"f x", kWord, 0, 0},   {"Txyz", kLetter, 0, -1},
      {"X", kLetter, 1, 0},   {".", kLetter, 1, 0},
      {"  .", kWord, 1, 0},   {". T", kLetter, 1, 0},
      {"\tT", kLetter, 1, 0}, {"    ", kLetter, 0, 0},
      {"", kLetter, 0, 0},    {"1", kLetter, 1, 0},
      {" 1", 0, 0, 0},        {" 0", 0, 0, 1},
      {"2", 0, 1, 0},         {"   ", 0, 1, 0},
      {"T", 0, 1, 0},         {"", 0, 0, 0},
      {"X", 8, 0, 0},         {"T", INT_MIN, 4, 0},
      {"", INT_MIN, 0, 0},
  };
  for (const auto& row : rows) {
    const i32 length = static_cast<i32>(strlen(row.text));
    i32 narrow = 77;
    i64 wide = 77;
    EXPECT_EQ(row.status, cvt_text_to_boolean(exact(row.text).get(), length, row.options, &narrow)) << row.text;
    EXPECT_EQ(row.status, cvt_text_to_boolean64(exact(row.text).get(), length, row.options, &wide)) << row.text;
    EXPECT_EQ(row.value, narrow) << row.text;
    EXPECT_EQ(row.value, wide) << row.text;
  }
  i32 value = 77;
  EXPECT_EQ(CVT_INVALID_LENGTH, cvt_text_to_boolean("T", -1, INT_MIN, &value));
  EXPECT_EQ(0, value);
}

TEST(IntegerLimits, table_holds_the_limits_in_both_byte_orders) {
  const u32 expected[8] = {0, 0, 0, 0, INT32_MAX, __builtin_bswap32(INT32_MAX), 1u << 31, __builtin_bswap32(1u << 31)};
  EXPECT_EQ(0, memcmp(expected, int_c, sizeof expected));
}

}  // namespace
