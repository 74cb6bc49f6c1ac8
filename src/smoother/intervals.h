// What the first pass over the samples keeps: one record an interval of about a second.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <vector>

#include "smoother/rotation.h"
#include "smoother/sample_pairs.h"
#include "smoother/smoother.h"

namespace vortena::smoother {

inline constexpr double kGravity = 9.80665;  // m/s^2 in 1 g
inline constexpr double kRadians = 0.017453292519943295;

/// Gyroscope errors that an interval was integrated with: rate = (I - scale) (reading - offset), rad/s.
struct GyroErrors {
  Vec3 offset{};
  Mat3 scale{};
};

/// From one grid point to the next. C(t) is the body's attitude at t seen from the start of the interval, w the rate,
/// f the specific force. Narrow floats: errors of 1e-7 are far below those of the sensors.
struct Interval {
  double start_s = 0;
  double seconds = 0;
  std::array<float, 4> turn{};                    ///< C at the end, w x y z
  std::array<float, 9> C_sum{};                   ///< integral of C, s
  std::array<std::array<float, 9>, 3> C_w_sum{};  ///< integral of C w_j, rad, for each axis j
  std::array<float, 3> velocity{};                ///< integral of C f, m/s
  std::array<float, 3> distance{};                ///< and of that, m
  std::array<float, 3> offset{};                  ///< that was taken off the gyroscope, rad/s
  std::array<float, 3> mean_rate{};               ///< as read, rad/s
  float rate_spread = 0;                          ///< between quarters of the interval, rad/s
  float angle = 0;                                ///< integral of |w|, rad
  float lost_angle = 0;                           ///< standard deviation of what bridging and saturation hide, rad
  float lost_velocity = 0;                        ///< m/s
  float accel_spread = 0;                         ///< standard deviation of the specific force, m/s^2
  float shake = 0;                                ///< that of its length, m/s^2
  std::uint8_t parts = 0;                         ///< quarters, and those of them at rest
  std::uint8_t resting_parts = 0;
  bool after_gap = false;                     ///< starts a stretch of integration: nothing joins it to the one before
  std::array<float, 4> gap_turn{1, 0, 0, 0};  ///< what the gap is taken to have turned
  float gap_angle = 0;                        ///< standard deviation of its error, rad

  [[nodiscard]] bool rests() const { return parts > 0 && resting_parts == parts; }
};

struct Recorded {
  std::deque<Interval> intervals;
  std::vector<Stretch> rest;
  std::vector<Gap> gaps;
  bool has_force = false;
};

}  // namespace vortena::smoother
