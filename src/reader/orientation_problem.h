// Why a recording has no orientation.
#pragma once

#include <cstdint>

namespace vortena {

enum class OrientationProblem : std::uint8_t {
  kNone,
  kNoAccelerometer,  ///< no series of three axes with samples
  kNoGyroscope,
  kDifferentRates,  ///< the header gives the two sensors different sampling frequencies
  kStopped,         ///< its watch wanted it to stop
};

}  // namespace vortena
