// A tracker fed sample by sample, and small tools to judge its attitude in double precision.
#pragma once

#include <random>

#include "tests/oracle/reference_filter.h"
#include "tracker/tracker.h"

namespace tracker_testing {

using namespace reference;  // its vectors and quaternions are the language of the tests

inline constexpr int kRate = 100;
inline constexpr Vec3 kUp{0, 0, 1}, kStill{0, 0, 0};

template <std::size_t N>
std::array<float, N> narrow(const std::array<double, N>& values) {
  std::array<float, N> narrowed{};
  std::ranges::transform(values, narrowed.begin(), [](double value) { return static_cast<float>(value); });
  return narrowed;
}

struct TrackedUnit {
  tracker_state state{};
  std::array<float, 7> output{};

  explicit TrackedUnit(int rate = kRate, int position_enabled = 0) { init_tracker(&state, rate, position_enabled); }

  /// accel in g, gyro in deg/s.
  int add(const Vec3& accel, const Vec3& gyro, const Vec3* mag = nullptr) {
    const auto field = narrow(mag == nullptr ? kStill : *mag);
    return add_to_tracker_buffer(&state, narrow(accel).data(), narrow(gyro).data(), mag ? field.data() : nullptr);
  }
  int run() { return run_tracker(&state, output.data()); }
  int feed(const Vec3& accel, const Vec3& gyro, const Vec3* mag = nullptr) {
    add(accel, gyro, mag);
    return run();
  }
  [[nodiscard]] Quat q() const { return {state.q[0], state.q[1], state.q[2], state.q[3]}; }
};

/// A turn about axis x (0), y or z.
inline Quat turn(std::size_t axis, double radians) {
  return std::cos(radians / 2) * Quat{1, 0, 0, 0} + std::sin(radians / 2) * diagonal<4>(1)[axis + 1];
}

/// Angle between two attitudes, degrees.
inline double angle_between(const Quat& a, const Quat& b) {
  const Quat difference = operator*(conjugate(a), b);
  return 2 * std::atan2(norm(imaginary(difference)), std::abs(difference[0])) * 180 / M_PI;
}

/// Reproducible on every platform, unlike the standard distributions.
struct Noise {
  std::mt19937 engine;
  double uniform(double limit) { return limit * (static_cast<double>(engine()) / 2147483648.0 - 1.0); }
  Vec3 vector(double limit) { return {uniform(limit), uniform(limit), uniform(limit)}; }
  Quat attitude() { return unit(Quat{uniform(1), uniform(1), uniform(1), uniform(1)}); }
};

}  // namespace tracker_testing
