// Fixed-point decimal text of doubles, the digits of a stream in fixed notation: the decimal nearest to the
// exact binary value, ties to even. Nearly all of an export's time would go into this, so it takes a short
// cut that is exact.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace vortena {

/// Room that one cell may need, its comma included: the digits of the largest double, sign, point and
/// decimals.
inline constexpr std::size_t kLongestCell = 384;

namespace fixed_decimal {

inline constexpr std::uint32_t kGroup = 1000;

/// The three digits of 0 to 999, first digit in the lowest byte.
inline constexpr std::array<std::uint32_t, kGroup> kThreeDigits = [] {
  std::array<std::uint32_t, kGroup> table{};
  for (std::uint32_t n = 0; n < kGroup; ++n) {
    table[n] = ('0' + n / 100) | ('0' + n / 10 % 10) << 8 | ('0' + n % 10) << 16;
  }
  return table;
}();

/// 0 to 999 with a point behind the first of three digits, first character in the lowest byte.
inline constexpr std::array<std::uint32_t, kGroup> kDigitPointTwoDigits = [] {
  std::array<std::uint32_t, kGroup> table = kThreeDigits;
  for (std::uint32_t& digits : table) {
    digits = (digits & 0xFF) | '.' << 8 | (digits >> 8) << 16;
  }
  return table;
}();

/// Eight characters, the first in the lowest byte.
inline void store_characters(char* to, std::uint64_t characters) {
  if constexpr (std::endian::native == std::endian::little) {
    std::memcpy(to, &characters, sizeof characters);
  } else {
    for (std::size_t k = 0; k < sizeof characters; ++k) {
      to[k] = static_cast<char>(characters >> (8 * k));
    }
  }
}

constexpr std::uint64_t power_of_ten(int exponent) {
  std::uint64_t power = 1;
  for (; exponent > 0; --exponent) {
    power *= 10;
  }
  return power;
}

/// Two groups of three digits, the first digit in the lowest byte.
inline std::uint64_t six_digits(std::uint32_t n) {
  return kThreeDigits[n / kGroup] | std::uint64_t{kThreeDigits[n % kGroup]} << 24;
}

/// A whole number below a million without leading zeros; writes eight characters. No branch on how many digits there
/// are: nothing could predict it.
inline char* write_short_whole(char* to, std::uint32_t n) {
  constexpr std::uint64_t kSixZeros = 0x303030303030;
  constexpr std::uint64_t kLastDigit = std::uint64_t{1} << 40;  // is written even when it is a zero
  constexpr int kDigits = 6;
  const std::uint64_t digits = six_digits(n);
  const int leading_zeros = std::countr_zero((digits ^ kSixZeros) | kLastDigit) / 8;
  store_characters(to, digits >> (8 * leading_zeros));
  return to + kDigits - leading_zeros;
}

/// A whole number below 10^12 without leading zeros.
inline char* write_whole(char* to, std::uint64_t n) {
  constexpr std::uint64_t kTwoGroups = std::uint64_t{kGroup} * kGroup;
  if (n < kTwoGroups) [[likely]] {
    return write_short_whole(to, static_cast<std::uint32_t>(n));
  }
  to = write_short_whole(to, static_cast<std::uint32_t>(n / kTwoGroups));
  store_characters(to, six_digits(static_cast<std::uint32_t>(n % kTwoGroups)));
  return to + 6;
}

/// Point, one to five decimals of a fraction below 10^Decimals, and comma; writes up to eight characters.
template <int Decimals>
inline char* write_fraction(char* to, std::uint32_t fraction) {
  static_assert(Decimals >= 1 && Decimals <= 5);
  std::uint64_t digits = kThreeDigits[fraction % kGroup];
  if constexpr (Decimals <= 3) {
    digits >>= 8 * (3 - Decimals);
  } else {
    digits = digits << (8 * (Decimals - 3)) | kThreeDigits[fraction / kGroup] >> (8 * (6 - Decimals));
  }
  store_characters(to, '.' | digits << 8 | std::uint64_t{','} << (8 * (Decimals + 1)));
  return to + Decimals + 2;
}

/// 1.5 * 2^52: adding it leaves no room for a fraction, and the sum's low bits are the integer.
inline constexpr double kRounder = 6755399441055744.0;

/// As std::bit_cast, which not all standard libraries of C++20 have.
inline std::uint64_t bits_of(double value) {
  std::uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

/// a * b - product, exactly, for product = a * b as rounded and b below 2^26 (T. J. Dekker, Numerische
/// Mathematik 18, 1971, doi:10.1007/BF01397083).
inline double product_error(double a, double b, double product) {
  constexpr double kSplitter = (1 << 27) + 1;
  const double shifted = a * kSplitter;
  const double high = shifted - (shifted - a);
  const double low = a - high;
  return (high * b - product) + low * b;
}

/// magnitude * 10^Decimals to the nearest integer, ties to even. `scaled` is that product as rounded, below
/// 2^51.
template <int Decimals>
inline double round_scaled(double magnitude, double scaled) {
  const double rounded = (scaled + kRounder) - kRounder;
  const double rest = scaled - rounded;
  // Short of half, the product's own rounding error cannot reach the tie. At half, its sign decides.
  if (std::abs(rest) < 0.5) [[likely]] {
    return rounded;
  }
  const double error = product_error(magnitude, static_cast<double>(power_of_ten(Decimals)), scaled);
  if (rest > 0) {
    return error > 0 ? rounded + 1 : rounded;
  }
  return error < 0 ? rounded - 1 : rounded;
}

/// Any value but not-a-number.
inline char* write_digits(char* to, double value, int decimals) {
#if defined(__cpp_lib_to_chars)
  return std::to_chars(to, to + kLongestCell, value, std::chars_format::fixed, decimals).ptr;
#else
  // The same digits, behind a point as long as no locale is set: for standard libraries that cannot print doubles.
  return to + std::snprintf(to, kLongestCell, "%.*f", decimals, value);
#endif
}

inline char* write_slowly(char* to, double value, int decimals) {
  if (std::isnan(value)) {
    constexpr std::string_view kText = "nan,";
    return std::copy(kText.begin(), kText.end(), to);
  }
  to = write_digits(to, value, decimals);
  *to = ',';
  return to + 1;
}

/// A value of any magnitude, as write_cell has it.
template <int Decimals>
inline char* write_any(char* to, double value) {
  constexpr std::uint64_t kScale = power_of_ten(Decimals);
  // 2^40: short of the 13 digits that write_whole() and write_fraction() cannot hold together.
  constexpr double kMostScaled = 1099511627776.0;
  const double magnitude = std::abs(value);
  const double scaled = magnitude * static_cast<double>(kScale);
  if (!(scaled < kMostScaled)) [[unlikely]] {
    return write_slowly(to, value, Decimals);
  }
  const auto digits = static_cast<std::uint64_t>(static_cast<std::int64_t>(round_scaled<Decimals>(magnitude, scaled)));
  *to = '-';
  to += std::signbit(value) ? 1 : 0;
  const std::uint64_t whole = digits / kScale;
  to = write_whole(to, whole);
  return write_fraction<Decimals>(to, static_cast<std::uint32_t>(digits - whole * kScale));
}

/// `digits` counts 0.00001, below 10,000: two look-ups from the units on, a third only for more digits.
inline char* write_five_decimals(char* to, std::uint32_t digits) {
  std::uint32_t hundredths = digits / kGroup;
  const std::uint32_t last = digits % kGroup;
  if (hundredths >= kGroup) {
    const std::uint32_t tens = hundredths / kGroup;
    hundredths %= kGroup;
    const int leading_zeros = (tens < 10 ? 1 : 0) + (tens < 100 ? 1 : 0);
    store_characters(to, kThreeDigits[tens] >> (8 * leading_zeros));
    to += 3 - leading_zeros;
  }
  const std::uint64_t last_and_comma = kThreeDigits[last] | std::uint32_t{','} << 24;
  store_characters(to, kDigitPointTwoDigits[hundredths] | last_and_comma << 32);
  return to + 8;
}

}  // namespace fixed_decimal

/// Writes `value` with exactly `Decimals` decimals (1 to 5) and a comma; returns the place behind it. `to`
/// has room for kLongestCell characters, all of which may be written to. "inf", "-inf"; "nan" whatever its
/// sign.
template <int Decimals>
inline char* write_cell(char* to, double value) {
  if constexpr (Decimals == 5) {
    constexpr double kMostScaled = 999'999'999.0;  // four digits, five decimals, and room to round up
    const double scaled = std::abs(value) * 1e5;
    const double sum = scaled + fixed_decimal::kRounder;
    const double rest = scaled - (sum - fixed_decimal::kRounder);
    // Short of half, the product's own rounding error cannot reach the tie.
    if (scaled < kMostScaled && std::abs(rest) < 0.5) [[likely]] {
      *to = '-';
      to += std::signbit(value) ? 1 : 0;
      return fixed_decimal::write_five_decimals(to, static_cast<std::uint32_t>(fixed_decimal::bits_of(sum)));
    }
  }
  return fixed_decimal::write_any<Decimals>(to, value);
}

}  // namespace vortena
