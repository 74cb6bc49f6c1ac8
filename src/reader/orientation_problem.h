// Why a recording has no orientation.
#pragma once

#include <cstdint>

namespace vortena {

enum class OrientationProblem : std::uint8_t {
  kNone,
  kNoAccelerometer,
  kNoGyroscope,
  kDifferentRates,
  kNoRoom,
  kStopped,
};

}  // namespace vortena
