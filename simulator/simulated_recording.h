// A simulated unit: stands still, then turns in a way whose attitude, rates and gravity are known in closed
// form. One clock tick per inertial sample. Tests compare with the truth; demo, benchmarks and fuzzers use
// the bytes.
#pragma once

#include <array>
#include <cstdint>

#include "simulator/recording_builder.h"

namespace vortena::simulator {

struct SimulationPlan {
  double seconds = 30;
  double still_seconds = 5;
  int rate_hz = 200;      ///< accelerometer, gyroscope and time base
  int slow_every = 8;     ///< ticks per sample of barometer, three-axis raw and radio time channel
  int event_every = 250;  ///< ticks per event; an event also falls on the tick after each of these
  std::uint32_t first_tick = 0;
  std::uint32_t device_id = 4711;
  double start_seconds = 0;            ///< when this unit starts, on the common time line of a set
  std::int64_t radio_ticks_ahead = 0;  ///< the master's clock minus this unit's
  std::uint8_t radio_role = 0;         ///< 0 is the master
  bool side_channels = true;           ///< three-axis raw, one-byte and radio time channel
};

/// What the unit truly does at one instant, without quantisation.
struct TrueSample {
  std::array<double, 4> attitude;    ///< w x y z, body to earth
  std::array<double, 3> accel_g;     ///< body frame, gravity only
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

/// The recording's bytes: all channels, unless the plan says otherwise, and one header frame that no reader knows.
Bytes simulate(const SimulationPlan& plan);

}  // namespace vortena::simulator
