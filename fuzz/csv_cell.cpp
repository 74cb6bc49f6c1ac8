// Input: doubles, eight bytes each. Their neighbours are tried, too.
#include <cmath>
#include <cstring>
#include <limits>

#include "fuzz/properties.h"
#include "tests/oracle/cell_cases.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  for (; size >= sizeof(double); data += sizeof(double), size -= sizeof(double)) {
    double value = 0;
    std::memcpy(&value, data, sizeof value);
    for (const double x : {value, std::nextafter(value, kInfinity), std::nextafter(value, -kInfinity)}) {
      fuzz::require(oracle::cell_agrees(x), "a cell holds the digits of std::to_chars");
    }
  }
  return 0;
}
