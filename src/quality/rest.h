// What a gyroscope measures while the unit is at rest: its offset, the largest source of error of an orientation.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "quality/rest_tilt.h"
#include "reader/decoding/load_report.h"
#include "reader/recording.h"

namespace vortena {

enum class RestProblem : std::uint8_t {
  kNone,
  kNoAccelerometer,  ///< no samples of it
  kNoGyroscope,
  kNoTimes,    ///< the header gives no time base, or the series too few samples
  kTooLittle,  ///< too little rest, or none
};

/// Vectors are x, y, z of the gyroscope, deg/s. All but `problem` and `seconds` are set when there is no problem.
struct RestEstimate {
  RestProblem problem = RestProblem::kNone;
  double seconds = 0;  ///< of rest in the recording
  std::array<double, 3> offset_deg_s{};
  /// Standard deviation to expect of the offset's error: noise, slow wander and rounding to counts.
  std::array<double, 3> standard_error_deg_s{};
  /// Offset in the second half of the recording less that in the first; none when one of them has too little rest.
  std::optional<std::array<double, 3>> change_deg_s;
  bool agrees = true;              ///< the change is within what errors of both halves explain, or too small to matter
  double accel_norm_g = 0;         ///< mean length of the acceleration at rest
  double accel_norm_spread_g = 0;  ///< standard deviation of it from one stretch of half a second to another
  std::optional<TiltAtRest> tilt;  ///< what the offset does to the vertical; none without motion between two rests
};

/// Looks for rest in windows of half a second: the gyroscope's and the accelerometer's readings hardly vary, the rate
/// is close to zero and the acceleration close to 1 g. Rates that are steady and above 3 deg/s are taken for a
/// rotation, so that larger offsets are not found; a slower rotation about the vertical that never varies cannot be
/// told from an offset. Samples of the header block do not count.
RestEstimate estimate_rest(const Recording& recording, const LoadReport& load);

/// Takes an offset off a gyroscope series of three axes; others stay as they are.
void subtract_gyroscope_offset(kiv_DataSensor* gyro, const std::array<double, 3>& deg_s);

/// The estimate as a JSON object.
std::string rest_json(const RestEstimate& rest);

}  // namespace vortena
