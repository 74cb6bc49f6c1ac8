#include "reader/fixed_decimal.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

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

TEST(FixedDecimal, AgreesWithAStream) {
  for (const double value : {0.0, -0.0, 0.05, 0.25, 0.35, 2.5, -0.000005, 963.5125, 999999.999999, 1e6, 1e12, -1e300}) {
    std::ostringstream stream;
    stream << std::fixed << std::setprecision(1) << value << ',' << std::setprecision(5) << value << ',';
    EXPECT_EQ(oracle::written_cell<1>(value) + oracle::written_cell<5>(value), stream.str());
  }
}

}  // namespace
}  // namespace vortena::testing
