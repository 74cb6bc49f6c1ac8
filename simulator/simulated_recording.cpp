#include "simulator/simulated_recording.h"

#include <algorithm>
#include <cmath>

namespace vortena::simulator {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegreesPerRadian = 180.0 / kPi;
constexpr double kAccelRange = 16;
constexpr double kGyroRange = 2000;
constexpr double kCounts = 32768;

/// Angle and rate of a swing that sets out from rest: amplitude (1 - cos(2 pi f t)).
struct Swing {
  double angle, rate;
};

Swing swing(double amplitude, double frequency_hz, double t) {
  const double w = 2 * kPi * frequency_hz;
  return {amplitude * (1 - std::cos(w * t)), amplitude * w * std::sin(w * t)};
}

/// Half-angle product of rotations about z, y, x: body to earth.
std::array<double, 4> attitude_of(double roll, double pitch, double yaw) {
  const double cr = std::cos(roll / 2), sr = std::sin(roll / 2);
  const double cp = std::cos(pitch / 2), sp = std::sin(pitch / 2);
  const double cy = std::cos(yaw / 2), sy = std::sin(yaw / 2);
  return {cr * cp * cy + sr * sp * sy, sr * cp * cy - cr * sp * sy, cr * sp * cy + sr * cp * sy,
          cr * cp * sy - sr * sp * cy};
}

Axes to_counts(const std::array<double, 3>& values, double range) {
  Axes counts{};
  std::transform(values.begin(), values.end(), counts.begin(), [range](double value) {
    return std::lround(std::clamp(value * kCounts / range, -kCounts, kCounts - 1));
  });
  return counts;
}

BlockArray header_block(const SimulationPlan& plan) {
  const int slow_hz = plan.rate_hz / plan.slow_every;
  HeaderBuilder builder = header().device(plan.device_id, 2, 5).firmware(3, 1, 4).time_base(plan.rate_hz);
  builder.date(0, {0, 5, 9, 17, 5}, 2024).date(6, {30, 35, 9, 17, 5}, 2024).accel(plan.rate_hz).gyro(plan.rate_hz);
  builder.baro(slow_hz).event(slow_hz);
  if (plan.side_channels) {
    builder.mag(slow_hz).radio_byte(slow_hz).radio_time(slow_hz, plan.radio_role, 17);
  }
  return builder.frame(3, 21, be(77, 2)).frame(3, 5, {1, 2, 3}).bytes();
}

/// Lays records into blocks in time order; a block ends when it is full or its base is too far behind.
class RecordingWriter {
 public:
  explicit RecordingWriter(const BlockArray& header) : blocks_{header} {}

  template <typename Write>
  void at(std::uint32_t tick, Write write) {
    if (blocks_.size() == 1 || block_.full() || tick - base_ > UINT8_MAX) {
      block_ = BlockBuilder(base_ = tick);
      blocks_.emplace_back();
    }
    write(block_, static_cast<std::uint8_t>(tick - base_));
    blocks_.back() = block_.bytes();
  }
  [[nodiscard]] Bytes bytes() const { return recording(blocks_); }

 private:
  std::vector<BlockArray> blocks_;
  BlockBuilder block_{0};
  std::uint32_t base_ = 0;
};

}  // namespace

TrueSample true_sample(const SimulationPlan& plan, double seconds) {
  const double t = std::max(0.0, plan.start_seconds + seconds - plan.still_seconds);
  const Swing roll = swing(0.6, 0.31, t);
  const Swing pitch = swing(0.4, 0.23, t);
  const Swing yaw = swing(0.9, 0.17, t);
  const double sr = std::sin(roll.angle), cr = std::cos(roll.angle);
  const double sp = std::sin(pitch.angle), cp = std::cos(pitch.angle);
  TrueSample sample{};
  sample.attitude = attitude_of(roll.angle, pitch.angle, yaw.angle);
  sample.accel_g = {-sp, cp * sr, cp * cr};
  sample.gyro_deg_s = {(roll.rate - yaw.rate * sp) * kDegreesPerRadian,
                       (pitch.rate * cr + yaw.rate * cp * sr) * kDegreesPerRadian,
                       (-pitch.rate * sr + yaw.rate * cp * cr) * kDegreesPerRadian};
  sample.pressure_mbar = 963.5 + 2.0 * std::sin(seconds / 40);
  sample.temperature_c = 23.4 - 30.0 * std::sin(seconds / 90);
  return sample;
}

std::uint8_t true_event(const SimulationPlan& plan, std::uint32_t tick) {
  const auto every = static_cast<std::uint32_t>(plan.event_every);
  return tick >= every && tick % every < 2 ? static_cast<std::uint8_t>(1 + tick / every % UINT8_MAX) : 0;
}

std::uint32_t tick_count(const SimulationPlan& plan) {
  return static_cast<std::uint32_t>(plan.seconds * plan.rate_hz);
}

Bytes simulate(const SimulationPlan& plan) {
  RecordingWriter writer(header_block(plan));
  for (std::uint32_t i = 0; i < tick_count(plan); ++i) {
    const std::uint32_t tick = plan.first_tick + i;
    const TrueSample s = true_sample(plan, static_cast<double>(i) / plan.rate_hz);
    writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.accel(d, to_counts(s.accel_g, kAccelRange)); });
    writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.gyro(d, to_counts(s.gyro_deg_s, kGyroRange)); });
    if (const std::uint8_t event = true_event(plan, i); event != 0) {
      writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.event(d, event); });
      if (plan.side_channels) {
        writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.radio_byte(d, event); });
      }
    }
    if (i % static_cast<std::uint32_t>(plan.slow_every) == 0) {
      writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) {
        b.baro(d, std::lround(s.pressure_mbar * 4096), std::lround(s.temperature_c * 100));
      });
      if (plan.side_channels) {
        writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.mag(d, {i % 1000, -7, 400}); });
        writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.radio_time(d, tick + plan.radio_ticks_ahead); });
      }
    }
  }
  return writer.bytes();
}

}  // namespace vortena::simulator
