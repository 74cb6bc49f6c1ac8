#include "simulator/motion.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vortena::simulator {
namespace {

using std::numbers::pi;

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

}  // namespace

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

}  // namespace vortena::simulator
