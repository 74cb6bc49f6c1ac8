// A simulated unit: stands still, then moves in a way whose attitude, rates and accelerations are known in closed form.
// One clock tick per inertial sample. Tests compare with the truth; demo, benchmarks and fuzzers use the bytes.
#pragma once

#include <array>
#include <cstdint>

#include "simulator/motion.h"
#include "simulator/recording_builder.h"

namespace vortena::simulator {

enum class Motion { kSwing, kGait };

struct SimulationPlan {
  double seconds = 30;
  double still_seconds = 5;
  Motion motion = Motion::kSwing;
  Place place = Place::kHip;  ///< of a gait
  double walk_seconds = 12;   ///< of a gait; less what is no whole stride
  int rate_hz = 200;          ///< accelerometer, gyroscope and time base
  int slow_every = 8;         ///< ticks per sample of barometer, three-axis raw and radio time channel
  int event_every = 250;      ///< ticks per event; an event also falls on the tick after each of these. 0: no events
  std::uint32_t first_tick = 0;
  std::uint32_t device_id = 4711;
  double start_seconds = 0;                 ///< when this unit starts, on the common time line of a set
  std::int64_t radio_ticks_ahead = 0;       ///< the master's clock minus this unit's
  std::uint8_t radio_role = 0;              ///< 0 is the master
  bool side_channels = true;                ///< three-axis raw, one-byte and radio time channel
  std::array<double, 3> gyro_bias_deg_s{};  ///< constant error of the recorded rates
  double gyro_noise_deg_s = 0;              ///< standard deviation of the recorded rates; white
  double accel_noise_g = 0;
  std::uint32_t noise_seed = 1;
};

/// What the unit truly does at one instant, without the errors of its sensors and quantisation.
struct TrueSample {
  std::array<double, 4> attitude;    ///< w x y z, body to earth
  std::array<double, 3> accel_g;     ///< body frame, gravity included: 1 g upwards at rest
  std::array<double, 3> gyro_deg_s;  ///< body frame
  double pressure_mbar;
  double temperature_c;
};

/// `seconds` from this unit's start.
TrueSample true_sample(const SimulationPlan& plan, double seconds);

/// Value of the event at `tick`, or 0 when there is none.
std::uint8_t true_event(const SimulationPlan& plan, std::uint32_t tick);

/// Number of ticks, which is also the number of inertial samples.
std::uint32_t tick_count(const SimulationPlan& plan);

/// The recording's bytes: all channels, unless the plan says otherwise, and one header frame that no reader knows. No
/// byte of the header reads as a sample. The first unit of a set starts on 2024-05-17 at 09:05:00.
Bytes simulate(const SimulationPlan& plan);

}  // namespace vortena::simulator
