// A tracker fed sample by sample, and small tools to judge its attitude in double precision.
#pragma once

#include <array>
#include <cmath>
#include <random>

#include "support/reference_filter.h"
#include "tracker/tracker.h"

namespace tracker_testing {

using reference::Quat;
using reference::Vec3;

inline std::array<float, 3> narrow(const Vec3& v) {
  return {static_cast<float>(v[0]), static_cast<float>(v[1]), static_cast<float>(v[2])};
}

struct TrackedUnit {
  tracker_state state{};
  std::array<float, 7> output{};

  explicit TrackedUnit(int rate, int position_enabled = 0) { init_tracker(&state, rate, position_enabled); }

  /// accel in g, gyro in deg/s; returns the driver's status.
  int feed(const Vec3& accel, const Vec3& gyro, const Vec3* mag = nullptr) {
    const auto field = mag == nullptr ? std::array<float, 3>{} : narrow(*mag);
    add_to_tracker_buffer(&state, narrow(accel).data(), narrow(gyro).data(), mag == nullptr ? nullptr : field.data());
    return run_tracker(&state, output.data());
  }

  [[nodiscard]] Quat q() const { return {state.q[0], state.q[1], state.q[2], state.q[3]}; }
};

/// Angle between two attitudes, degrees.
inline double angle_between(const Quat& a, const Quat& b) {
  using reference::operator*;
  const Quat difference = reference::conjugate(a) * b;
  return 2 * std::atan2(reference::norm(reference::imaginary(difference)), std::abs(difference[0])) * 180 / M_PI;
}

/// Angle between the verticals of two attitudes, degrees.
inline double tilt_between(const Quat& a, const Quat& b) {
  const Vec3 up_a = reference::to_body(a, {0, 0, 1}), up_b = reference::to_body(b, {0, 0, 1});
  return std::atan2(reference::norm(reference::cross(up_a, up_b)), reference::dot(up_a, up_b)) * 180 / M_PI;
}

/// Reproducible on every platform, unlike the standard distributions.
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : engine_(seed) {}
  double uniform(double limit) { return limit * (static_cast<double>(engine_()) / 2147483648.0 - 1.0); }
  Vec3 vector(double limit) { return {uniform(limit), uniform(limit), uniform(limit)}; }

 private:
  std::mt19937 engine_;
};

}  // namespace tracker_testing
