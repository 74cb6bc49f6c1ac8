// Motions in closed form: angles with their rates, velocities with their accelerations.
#pragma once

#include <array>

namespace vortena::simulator {

/// A quantity and its derivative by time. Sums and products carry both.
struct Curve {
  double value = 0;
  double rate = 0;
};

constexpr Curve operator+(Curve a, Curve b) {
  return {a.value + b.value, a.rate + b.rate};
}
constexpr Curve operator*(Curve a, Curve b) {
  return {a.value * b.value, a.rate * b.value + a.value * b.rate};
}
constexpr Curve operator*(double factor, Curve a) {
  return {factor * a.value, factor * a.rate};
}

/// Attitude is yaw about earth z, then pitch about y, then roll about x of the body, in radians.
struct BodyMotion {
  Curve roll, pitch, yaw;
  std::array<Curve, 3> velocity;  ///< m/s, earth frame; its rate is the acceleration
};

enum class Place { kHip, kFoot };

/// Turns about all axes on the spot, from t = 0 s on. At rest before.
BodyMotion swing_motion(double t);

/// Whole strides along earth x from t = 0 s on, within `walk_seconds`, and half of it back: the walker turns round in
/// the middle. At rest, level and facing x before; at rest after. Body x is forward, z up. Each strike of the heel
/// gives an impact; a foot on the ground is still.
BodyMotion gait_motion(Place place, double t, double walk_seconds);

}  // namespace vortena::simulator
