// The inertial samples of a unit in a known motion, with the errors of its sensors; not a recording.
#pragma once

#include <array>
#include <cstddef>
#include <functional>

#include "simulator/motion.h"
#include "simulator/noise.h"

namespace vortena::simulator {

struct SensorErrors {
  std::array<double, 3> gyro_offset_deg_s{};
  std::array<double, 3>
      gyro_warming_deg_s{};            ///< by which the offset changes in the end, with a time constant of 10 min
  double gyro_wander_deg_s = 0;        ///< random walk of the offset: standard deviation after a second
  std::array<double, 9> gyro_scale{};  ///< row by row: the rate that is read is (1 + this) times the true one
  double gyro_noise_deg_s = 0;         ///< white; of means over a second
  std::array<double, 3> accel_offset_g{};
  double accel_noise_g = 0;  ///< likewise
};

/// Of a unit that people wear, drawn by `seed`.
SensorErrors likely_errors(std::uint32_t seed);

struct WornSample {
  double time_s = 0;
  std::array<double, 4> attitude{};           ///< true
  std::array<double, 3> gyro_offset_deg_s{};  ///< true
  std::array<double, 3> accel_g{};            ///< as read: the mean since the sample before
  std::array<double, 3> gyro_deg_s{};
};

/// Samples in order of time, from one period on.
class WornUnit {
 public:
  using MotionAt = std::function<BodyMotion(double seconds)>;
  WornUnit(MotionAt motion, double rate_hz, const SensorErrors& errors, std::uint32_t seed)
      : motion_(std::move(motion)), rate_hz_(rate_hz), errors_(errors), noise_(seed) {}
  WornSample next();

 private:
  MotionAt motion_;
  double rate_hz_;
  SensorErrors errors_;
  Noise noise_;
  std::array<double, 3> wander_{};
  double count_ = 0;
};

/// Rest of 20 s and gait_motion() of 100 s in turn.
BodyMotion walking_day(Place place, double t);

}  // namespace vortena::simulator
