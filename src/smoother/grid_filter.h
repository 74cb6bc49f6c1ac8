// The extended Kalman filter from grid point to grid point.
//   x state, P its covariance; F transition, Q process noise; R measurement noise, S innovation covariance, K gain.
// The state is the error of a nominal attitude, in the earth frame, and what it depends on.
#pragma once

#include <array>
#include <cstddef>

#include "smoother/intervals.h"

namespace vortena::smoother {

inline constexpr std::size_t kAttitude = 0;     // rotation vector, earth frame: true = exp(error) nominal; rad
inline constexpr std::size_t kVelocity = 3;     // mean over the interval behind the grid point, less what is usual, m/s
inline constexpr std::size_t kGyroOffset = 6;   // body frame, rad/s
inline constexpr std::size_t kAccelOffset = 9;  // body frame, m/s^2
inline constexpr std::size_t kGyroScale = 12;   // column by column, as in GyroErrors
inline constexpr std::size_t kUsualVelocity = 21;  // of the moving unit, body frame: who walks goes forward; m/s
inline constexpr std::size_t kStates = 24;

using StateVector = std::array<double, kStates>;
using StateMatrix = std::array<StateVector, kStates>;

struct Estimate {
  StateVector x{};
  StateMatrix P{};
};

/// One grid point.
struct Node {
  Quaternion nominal;           ///< body to earth
  Vec3 offset{};                ///< of the gyroscope, rad/s
  float inclination_error = 0;  ///< rad
};

/// From one grid point to the next: attitude' = attitude + by_offset offset + sum of by_scale[j] scale_j + drift, then
/// velocity' = velocity + attitude' x force - by_accel_offset accel_offset + by_usual usual_velocity + gain.
struct Transition {
  bool after_gap = false;
  Mat3 by_offset;
  std::array<Mat3, 3> by_scale;
  Vec3 drift{};
  Vec3 force{};
  Vec3 gain{};
  Mat3 by_accel_offset;
  Mat3 by_usual;
  double attitude_noise = 0;  ///< variances
  double heading_noise = 0;   ///< of a gap
  double velocity_noise = 0;
  double offset_noise = 0;
};

/// A measurement of one element of the state.
struct Correction {
  std::size_t element = 0;
  double scaled_innovation = 0;  ///< innovation / S
  double S = 0;
  StateVector K{};
};

struct Corrections {
  std::array<Correction, 6> at;
  std::size_t count = 0;
};

constexpr Vec3 block_of(const StateVector& x, std::size_t at) {
  return {x[at], x[at + 1], x[at + 2]};
}
constexpr void add_to_block(const Vec3& v, std::size_t at, StateVector* x) {
  for (std::size_t k = 0; k < 3; ++k) {
    (*x)[at + k] += v[k];
  }
}

Estimate first_estimate();

/// `scale` is what the intervals were integrated with. With `attitude_noise` and so on of the interval `from`.
Transition transition(const Interval& from, const Node& node, const Interval& to, const Node& next, const Mat3& scale);

/// For a next attitude that was that of the record: what becomes of F when `error` is taken into it.
void shift_next_nominal(const Vec3& error, const Interval& from, const Node& node, Transition* F);

/// What the transition adds to the attitude's error.
Vec3 attitude_error(const Transition& F, const StateVector& x);

void predict(const Transition& F, Estimate* estimate);

/// Mean velocity around zero, and at rest the rate.
void correct(const Interval& interval, Estimate* estimate, Corrections* corrections);

/// The attitude behind an interval.
Quaternion end_attitude(const Interval& interval, const Node& node);

}  // namespace vortena::smoother
