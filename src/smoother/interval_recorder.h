// The pass over the samples that makes the intervals' records.
#pragma once

#include <functional>

#include "smoother/intervals.h"

namespace vortena::smoother {

struct Inputs {
  SampleSource& accelerometer;
  SampleSource& gyroscope;
  Options options;
  double accel_period_s = 0;
  double gyro_period_s = 0;
};

/// What an interval is integrated with, by its number and the mean rate of the last rest before it, rad/s.
using ErrorsOf = std::function<GyroErrors(std::size_t interval, const Vec3& rate_at_rest)>;

/// Fills `recorded`, which is empty or of an earlier pass over the same samples; then the intervals are the same ones.
/// `goes_on(share)` may end the pass. False if it was ended.
bool record_intervals(const Inputs& inputs, const ErrorsOf& errors_of, const std::function<bool(double)>& goes_on,
                      Recorded* recorded);

/// Rotation vector of two turns in a row, of which the second counts: the change of the axis within it is taken from
/// the first (J. W. Jordan, "An accurate strapdown direction cosine algorithm", NASA TN D-5384, 1969).
constexpr Vec3 with_coning(const Vec3& first, const Vec3& second) {
  return second + (1.0 / 12) * cross(first, second);
}

/// The true rate, rad/s, of one that was read in deg/s.
constexpr Vec3 corrected_rate(const GyroErrors& errors, const Vec3& deg_s) {
  const Vec3 rate = kRadians * deg_s - errors.offset;
  return rate - errors.scale * rate;
}

/// The length of an interval: one second, and at low rates up to two, as the estimate costs as much as hundreds of
/// samples.
constexpr double interval_seconds(double period_s) {
  constexpr double kSamples = 200;
  const double seconds = kSamples * period_s;
  return seconds < 1 ? 1 : (seconds < 2 ? seconds : 2);
}

/// Whether two used samples so far apart have a gap between them, and whether the turn in it can be guessed.
constexpr bool is_gap(double seconds, double period_s) {
  return seconds > kPeriodsToGap * period_s;
}
constexpr bool can_turn(double seconds) {
  return seconds <= 0.5;
}

}  // namespace vortena::smoother
