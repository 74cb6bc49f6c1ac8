// Doubles that are hard to print right: ties and their neighbours, signs, zeros, subnormals, huge and infinite values.
#pragma once

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

#include "reader/texts/fixed_decimal.h"

namespace oracle {

/// An endless, reproducible sequence of such doubles.
class CellCases {
 public:
  explicit CellCases(std::uint64_t seed) : random_(seed) {}

  double next() {
    const double value = magnitude(random_() % 8);
    const double neighbour = random_() % 2 == 0 ? std::numeric_limits<double>::infinity() : 0.0;
    const double varied = random_() % 3 == 0 ? std::nextafter(value, neighbour) : value;
    return random_() % 2 == 0 ? varied : -varied;
  }

 private:
  double magnitude(std::uint64_t kind) {
    const auto bits = random_();
    switch (kind) {
      case 0:
        return std::bit_cast<double>(bits & ~(std::uint64_t{1} << 63));  // any exponent, not-a-number included
      case 1:
        return static_cast<double>(bits % 2'000'000) / 64.0;  // exact ties in one decimal
      case 2:
        return (static_cast<double>(bits % 2'000'000'000) + 0.5) / 1e5;  // next to ties in five decimals
      case 3:
        return (static_cast<double>(bits % 20'000'000) + 0.5) / 1e3;
      case 4:
        return std::ldexp(static_cast<double>(bits >> 40), static_cast<int>(bits % 40) - 30);
      case 5:
        return static_cast<double>(bits % 65536) * 2000.0 / 32768.0;
      case 6:
        return std::ldexp(static_cast<double>(bits >> 11), static_cast<int>(bits % 12) - 20);  // around the limit
      default:
        return bits % 16 == 0 ? 0.0 : static_cast<double>(bits % 1'000'000) * 5e-324;
    }
  }

  std::mt19937_64 random_;
};

template <int Decimals>
std::string expected_cell(double value) {
  if (std::isnan(value)) {
    return "nan,";
  }
  char text[vortena::kLongestCell];
  char* const end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, Decimals).ptr;
  return std::string(text, end) + ",";
}

template <int Decimals>
std::string written_cell(double value) {
  char text[vortena::kLongestCell];
  return std::string(text, vortena::write_cell<Decimals>(text, value));
}

/// True when the cell writer agrees with std::to_chars in one, three and five decimals.
inline bool cell_agrees(double value) {
  return written_cell<1>(value) == expected_cell<1>(value) && written_cell<3>(value) == expected_cell<3>(value) &&
         written_cell<5>(value) == expected_cell<5>(value);
}

}  // namespace oracle
