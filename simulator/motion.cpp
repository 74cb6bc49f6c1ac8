#include "simulator/motion.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "simulator/noise.h"

namespace vortena::simulator {
namespace {

using std::numbers::pi;

constexpr double kDegreesPerRadian = 180.0 / pi;
constexpr double kStandardGravity = 9.80665;  // m/s^2
constexpr double kStridesPerSecond = 0.9;
constexpr double kTurnSeconds = 3;
constexpr double kWalkingSpeed = 1.2;  // m/s
constexpr double kStanceShare = 0.4;   // of a stride, from the strike of the heel to its lifting
constexpr double kImpactSeconds = 0.02;

/// amplitude (1 - cos(2 pi f t)): sets out from rest.
Curve swing(double amplitude, double frequency_hz, double t) {
  const double w = 2 * pi * frequency_hz;
  return {amplitude * (1 - std::cos(w * t)), amplitude * w * std::sin(w * t)};
}

Curve sine(double hz, double t) {
  const double w = 2 * pi * hz;
  return {std::sin(w * t), w * std::cos(w * t)};
}

/// From 0 at t = 0 to 1 at t = seconds, at rest outside.
Curve smooth_step(double t, double seconds) {
  const double x = std::clamp(t / seconds, 0.0, 1.0);
  return {x * x * (3 - 2 * x), 6 * x * (1 - x) / seconds};
}

/// The curve of what takes its time backwards.
Curve reversed(Curve curve) {
  return {curve.value, -curve.rate};
}

/// Cosine and sine of an angle that moves.
std::array<Curve, 2> direction(Curve angle) {
  const double c = std::cos(angle.value), s = std::sin(angle.value);
  return {{{c, -s * angle.rate}, {s, c * angle.rate}}};
}

/// Velocity after a push that is over within a tenth of a second and leaves none: peak t exp(-t / T).
Curve impact(double peak_m_s2, double t) {
  const double fade = std::exp(-t / kImpactSeconds);
  return {peak_m_s2 * t * fade, peak_m_s2 * (1 - t / kImpactSeconds) * fade};
}

/// What a place of the body does while its owner walks straight on, x forward.
struct Stride {
  Curve roll, pitch, yaw, forward, sideward, upward;
};

Stride hip_stride(double t) {
  const Curve stride = sine(kStridesPerSecond, t), step = sine(2 * kStridesPerSecond, t);
  const double since_strike = std::fmod(t, 0.5 / kStridesPerSecond);
  return {.roll = 0.07 * stride,
          .pitch = 0.035 * step,
          .yaw = 0.1 * stride,
          .forward = Curve{kWalkingSpeed} + 0.12 * step,
          .sideward = 0.15 * stride,
          .upward = 0.25 * step + impact(5, since_strike)};
}

Stride foot_stride(double t) {
  const double stride_seconds = 1 / kStridesPerSecond;
  const double swing_seconds = (1 - kStanceShare) * stride_seconds;
  const double since_strike = std::fmod(t, stride_seconds);
  const double s = std::max(0.0, since_strike - kStanceShare * stride_seconds);
  const Curve lift = swing(0.5, 1 / swing_seconds, s);
  const Curve heel_up_then_toes_up{1 - 1.6 * s / swing_seconds, -1.6 / swing_seconds};
  const Curve up_and_down = s > 0 ? sine(1 / swing_seconds, s) : Curve{};
  return {.roll = 0.15 * lift,
          .pitch = 2.6 * lift * heel_up_then_toes_up,
          .yaw = 0.1 * lift,
          .forward = 2 * kWalkingSpeed / (1 - kStanceShare) * lift,  // as far as the hip in each stride
          .sideward = 0.2 * lift * up_and_down,
          .upward = 0.6 * up_and_down + impact(25, since_strike)};
}

/// Half-angle product of rotations about z, y, x: body to earth.
std::array<double, 4> attitude_of(double roll, double pitch, double yaw) {
  const double cr = std::cos(roll / 2), sr = std::sin(roll / 2);
  const double cp = std::cos(pitch / 2), sp = std::sin(pitch / 2);
  const double cy = std::cos(yaw / 2), sy = std::sin(yaw / 2);
  return {cr * cp * cy + sr * sp * sy, sr * cp * cy - cr * sp * sy, cr * sp * cy + sr * cp * sy,
          cr * cp * sy - sr * sp * cy};
}

/// What an accelerometer of this attitude measures while its velocity, in the earth frame, changes.
std::array<double, 3> specific_force(const BodyMotion& motion) {
  const double sr = std::sin(motion.roll.value), cr = std::cos(motion.roll.value);
  const double sp = std::sin(motion.pitch.value), cp = std::cos(motion.pitch.value);
  const double sy = std::sin(motion.yaw.value), cy = std::cos(motion.yaw.value);
  const double x = motion.velocity[0].rate / kStandardGravity, y = motion.velocity[1].rate / kStandardGravity;
  const double up = 1 + motion.velocity[2].rate / kStandardGravity;
  return {cp * cy * x + cp * sy * y - sp * up,
          (sr * sp * cy - cr * sy) * x + (sr * sp * sy + cr * cy) * y + cp * sr * up,
          (cr * sp * cy + sr * sy) * x + (cr * sp * sy - sr * cy) * y + cp * cr * up};
}

std::array<double, 3> body_rates_deg_s(const BodyMotion& motion) {
  const double sr = std::sin(motion.roll.value), cr = std::cos(motion.roll.value);
  const double sp = std::sin(motion.pitch.value), cp = std::cos(motion.pitch.value);
  const double roll = motion.roll.rate, pitch = motion.pitch.rate, yaw = motion.yaw.rate;
  return {(roll - yaw * sp) * kDegreesPerRadian, (pitch * cr + yaw * cp * sr) * kDegreesPerRadian,
          (-pitch * sr + yaw * cp * cr) * kDegreesPerRadian};
}

}  // namespace

InertialSample inertial_sample(const BodyMotion& motion) {
  return {attitude_of(motion.roll.value, motion.pitch.value, motion.yaw.value), specific_force(motion),
          body_rates_deg_s(motion)};
}

BodyMotion swing_motion(double t) {
  const double since_rest = std::max(0.0, t);
  return {swing(0.6, 0.31, since_rest), swing(0.4, 0.23, since_rest), swing(0.9, 0.17, since_rest), {}};
}

BodyMotion gait_motion(Place place, double t, double walk_seconds) {
  const double stride_seconds = 1 / kStridesPerSecond;
  const double end = std::floor(walk_seconds * kStridesPerSecond) * stride_seconds;
  if (!(end > 0)) {
    return {};
  }
  const double walked = std::clamp(t, 0.0, end);
  const Curve vigour = smooth_step(walked, stride_seconds) * reversed(smooth_step(end - walked, stride_seconds));
  const double turn_seconds = std::min(kTurnSeconds, end);
  const Curve heading = pi * smooth_step(walked - (end - turn_seconds) / 2, turn_seconds);
  const auto [c, s] = direction(heading);
  const Stride stride = place == Place::kHip ? hip_stride(walked) : foot_stride(walked);
  const Curve forward = vigour * stride.forward, sideward = vigour * stride.sideward;
  return {vigour * stride.roll,
          vigour * stride.pitch,
          heading + vigour * stride.yaw,
          {c * forward + -1 * (s * sideward), s * forward + c * sideward, vigour * stride.upward}};
}

RandomMotion::RandomMotion(std::uint32_t seed) {
  Noise noise(seed);
  const double vigour = noise.between(0.1, 1), pace = noise.between(0.3, 1.5);
  const auto fill = [&](std::array<Waves, 3>* axes, double amplitude) {
    for (Waves& waves : *axes) {
      for (Wave& wave : waves) {
        const double hz = pace * noise.between(0.2, 1.5);
        wave = {vigour * amplitude * noise.uniform(), hz, noise.between(0, 2 * pi)};
      }
    }
  };
  fill(&angles_, 0.6);
  fill(&velocities_, 0.6);
  for (double& angle : first_angles_) {
    angle = noise.between(-pi, pi);
  }
  first_angles_[1] /= 4;
  turning_ = vigour * noise.between(-0.5, 0.5);
  rest_seconds_ = noise.uniform() < 0.3 ? 0 : noise.between(2, 15);
  motion_seconds_ = noise.between(10, 60);
}

Curve RandomMotion::sum(const Waves& waves, double t) {
  Curve total;
  for (const Wave& wave : waves) {
    const double w = 2 * pi * wave.hz;
    total = total + wave.amplitude * Curve{std::sin(w * t + wave.phase), w * std::cos(w * t + wave.phase)};
  }
  return total;
}

BodyMotion RandomMotion::at(double t) const {
  const double cycle = rest_seconds_ + motion_seconds_;
  const double since_rest = std::fmod(t, cycle) - rest_seconds_;
  const Curve up = smooth_step(since_rest, 1), down = reversed(smooth_step(motion_seconds_ - since_rest, 1));
  const Curve vigour = rest_seconds_ > 0 ? up * down : Curve{1, 0};
  const double turned_seconds = std::floor(t / cycle) * motion_seconds_ + std::max(0.0, since_rest);
  const Curve yaw{turning_ * turned_seconds, since_rest > 0 ? turning_ : 0};
  std::array<Curve, 3> angles, velocity;
  for (std::size_t k = 0; k < 3; ++k) {
    angles[k] = Curve{first_angles_[k]} + vigour * sum(angles_[k], t);
    velocity[k] = vigour * sum(velocities_[k], t);
  }
  return {angles[0], angles[1], angles[2] + yaw, velocity};
}

}  // namespace vortena::simulator
