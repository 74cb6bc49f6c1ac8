#include "reader/texts/fixed_decimal.h"

#include <gtest/gtest.h>

#include "tests/oracle/cell_cases.h"

namespace vortena::testing {
namespace {

TEST(FixedDecimal, AgreesWithToCharsOnHardDoubles) {
  oracle::CellCases cases(7);
  for (int i = 0; i < 200000; ++i) {
    const double value = cases.next();
    ASSERT_TRUE(oracle::cell_agrees(value)) << std::hexfloat << value;
  }
}

TEST(FixedDecimal, AgreesWithToCharsWhereADigitIsAdded) {
  for (int exponent = -6; exponent <= 15; ++exponent) {
    for (int step = -24; step <= 24; ++step) {
      const double value = std::pow(10.0, exponent) + step * 1.25e-6;
      ASSERT_TRUE(oracle::cell_agrees(value) && oracle::cell_agrees(-value)) << std::hexfloat << value;
    }
  }
}

}  // namespace
}  // namespace vortena::testing
