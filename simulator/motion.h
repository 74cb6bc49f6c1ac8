// Motions in closed form: angles with their rates, velocities with their accelerations.
#pragma once

#include <array>
#include <cstdint>

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

/// What an ideal unit measures in a motion.
struct InertialSample {
  std::array<double, 4> attitude;    ///< w x y z, body to earth
  std::array<double, 3> accel_g;     ///< body frame, gravity included: 1 g upwards at rest
  std::array<double, 3> gyro_deg_s;  ///< body frame
};

InertialSample inertial_sample(const BodyMotion& motion);

enum class Place { kHip, kFoot };

/// Turns about all axes on the spot, from t = 0 s on. At rest before.
BodyMotion swing_motion(double t);

/// Whole strides along earth x from t = 0 s on, within `walk_seconds`, and half of it back: the walker turns round in
/// the middle. At rest, level and facing x before; at rest after. Body x is forward, z up. Each strike of the heel
/// gives an impact; a foot on the ground is still.
BodyMotion gait_motion(Place place, double t, double walk_seconds);

/// Turns and shakes as a hand does: sums of sines, between rests of some seconds. Each seed has its own vigour, share
/// of rest and first attitude; some never rest.
class RandomMotion {
 public:
  explicit RandomMotion(std::uint32_t seed);
  [[nodiscard]] BodyMotion at(double t) const;

 private:
  struct Wave {
    double amplitude = 0;
    double hz = 0;
    double phase = 0;
  };
  using Waves = std::array<Wave, 3>;
  [[nodiscard]] static Curve sum(const Waves& waves, double t);

  std::array<Waves, 3> angles_{}, velocities_{};
  std::array<double, 3> first_angles_{};
  double turning_ = 0;  // of yaw, rad/s
  double rest_seconds_ = 0;
  double motion_seconds_ = 0;
};

}  // namespace vortena::simulator
