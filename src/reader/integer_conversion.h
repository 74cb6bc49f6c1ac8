// Conversions of doubles to integers that are defined for every double.
#pragma once

#include <cstdint>
#include <limits>

namespace vortena {

/// Truncates toward zero; values beyond the range give its nearest end, not-a-number gives 0.
inline std::int32_t truncate_to_int32(double value) {
  constexpr double kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr double kHighest = std::numeric_limits<std::int32_t>::max();
  if (value != value) {
    return 0;
  }
  if (value <= kLowest) {
    return std::numeric_limits<std::int32_t>::min();
  }
  if (value >= kHighest) {
    return std::numeric_limits<std::int32_t>::max();
  }
  return static_cast<std::int32_t>(value);
}

}  // namespace vortena
