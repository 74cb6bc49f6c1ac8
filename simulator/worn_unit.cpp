#include "simulator/worn_unit.h"

#include <cmath>
#include <numbers>

namespace vortena::simulator {

SensorErrors likely_errors(std::uint32_t seed) {
  Noise noise(seed);
  SensorErrors errors;
  errors.gyro_offset_deg_s = noise.added_to({}, 0.2);
  errors.gyro_warming_deg_s = noise.added_to({}, 0.05);
  errors.gyro_wander_deg_s = 0.0005;
  for (std::size_t k = 0; k < 9; ++k) {
    errors.gyro_scale[k] = noise.added_to({}, k % 4 == 0 ? 0.005 : 0.003)[0];
  }
  errors.gyro_noise_deg_s = 0.01;
  errors.accel_offset_g = noise.added_to({}, 0.005);
  errors.accel_noise_g = 0.0003;
  return errors;
}

WornSample WornUnit::next() {
  const double period = 1 / rate_hz_, root = std::sqrt(rate_hz_);
  count_ += 1;
  WornSample sample{.time_s = count_ * period};
  sample.attitude = inertial_sample(motion_(sample.time_s)).attitude;
  // The mean over a period is nearly the value in its middle.
  const InertialSample mean = inertial_sample(motion_(sample.time_s - period / 2));
  wander_ = noise_.added_to(wander_, errors_.gyro_wander_deg_s / root);
  const double warmth = 1 - std::exp(-sample.time_s / 600);
  for (std::size_t k = 0; k < 3; ++k) {
    sample.gyro_offset_deg_s[k] = errors_.gyro_offset_deg_s[k] + warmth * errors_.gyro_warming_deg_s[k] + wander_[k];
    sample.accel_g[k] = mean.accel_g[k] + errors_.accel_offset_g[k];
    sample.gyro_deg_s[k] = mean.gyro_deg_s[k] + sample.gyro_offset_deg_s[k];
    for (std::size_t j = 0; j < 3; ++j) {
      sample.gyro_deg_s[k] += errors_.gyro_scale[3 * k + j] * mean.gyro_deg_s[j];
    }
  }
  sample.gyro_deg_s = noise_.added_to(sample.gyro_deg_s, errors_.gyro_noise_deg_s * root);
  sample.accel_g = noise_.added_to(sample.accel_g, errors_.accel_noise_g * root);
  return sample;
}

BodyMotion walking_day(Place place, double t) {
  constexpr double kRest = 20, kWalk = 100;
  const double rounds = std::floor(t / (kRest + kWalk));
  BodyMotion motion = gait_motion(place, t - rounds * (kRest + kWalk) - kRest, kWalk);
  // Each walk turns the walker round; the next one starts the other way.
  if (std::fmod(rounds, 2) != 0) {
    motion.yaw.value += std::numbers::pi;
    for (std::size_t k = 0; k < 2; ++k) {
      motion.velocity[k] = -1 * motion.velocity[k];
    }
  }
  return motion;
}

}  // namespace vortena::simulator
