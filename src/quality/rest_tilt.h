// Whether the gyroscope's offset is what an orientation suffers from. At rest the accelerometer shows the vertical, so
// that no reference is needed: the vertical is carried through the motion in between, with the offset and without.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "reader/decoding/load_report.h"
#include "reader/recording.h"

namespace vortena {

/// An instant at rest: a position in the gyroscope series, and the mean acceleration around it, g.
struct RestStop {
  std::size_t position;
  std::array<double, 3> accel_g;
};

/// By how much the vertical is off where the unit comes to rest, degrees, root mean square.
struct TiltAtRest {
  std::uint64_t rests = 0;
  double as_read_deg = 0;
  double corrected_deg = 0;  ///< with the offset taken off
};

/// Begins at the first stop and compares at the others, which follow motion. The vertical follows the accelerometer as
/// slowly as the orientation does. None without a second stop, and where the recording has no orientation.
std::optional<TiltAtRest> measure_tilt_at_rest(const Recording& recording, const LoadReport& load,
                                               std::span<const RestStop> stops,
                                               const std::array<double, 3>& offset_deg_s);

}  // namespace vortena
