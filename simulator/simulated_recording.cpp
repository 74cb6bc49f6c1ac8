#include "simulator/simulated_recording.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "simulator/noise.h"

namespace vortena::simulator {
namespace {

constexpr double kAccelRange = 16;
constexpr double kGyroRange = 2000;
constexpr double kCounts = 32768;
constexpr auto kStartDate = std::chrono::sys_days{std::chrono::May / 17 / 2024} + std::chrono::minutes{9 * 60 + 5};

Axes to_counts(const std::array<double, 3>& values, double range) {
  Axes counts{};
  std::transform(values.begin(), values.end(), counts.begin(), [range](double value) {
    return std::lround(std::clamp(value * kCounts / range, -kCounts, kCounts - 1));
  });
  return counts;
}

BodyMotion motion_of(const SimulationPlan& plan, double t) {
  return plan.motion == Motion::kSwing ? swing_motion(t) : gait_motion(plan.place, t, plan.walk_seconds);
}

std::array<double, 3> biased(const std::array<double, 3>& rates, const std::array<double, 3>& bias) {
  return {rates[0] + bias[0], rates[1] + bias[1], rates[2] + bias[2]};
}

void add_date(HeaderBuilder& builder, int frame_id, double seconds) {
  using namespace std::chrono;
  const auto date = kStartDate + std::chrono::seconds(std::lround(seconds));
  const year_month_day day(floor<days>(date));
  const hh_mm_ss time(date - floor<days>(date));
  const auto byte = [](auto count) { return static_cast<std::uint8_t>(count); };
  builder.date(frame_id,
               {byte(time.seconds().count()), byte(time.minutes().count()), byte(time.hours().count()),
                byte(unsigned{day.day()}), byte(unsigned{day.month()})},
               int{day.year()});
}

BlockArray header_at(std::size_t position, const SimulationPlan& plan) {
  const int slow_hz = plan.rate_hz / plan.slow_every;
  HeaderBuilder builder = header(position).device(plan.device_id, 2, 5).firmware(3, 1, 4).time_base(plan.rate_hz);
  add_date(builder, 0, plan.start_seconds);
  add_date(builder, 6, plan.start_seconds + plan.seconds);
  builder.accel(plan.rate_hz).gyro(plan.rate_hz).baro(slow_hz);
  if (plan.event_every > 0) {
    builder.event(slow_hz);
  }
  if (plan.side_channels) {
    builder.mag(slow_hz);
    if (plan.event_every > 0) {
      builder.radio_byte(slow_hz);
    }
    builder.radio_time(slow_hz, plan.radio_role, 17);
  }
  return builder.frame(3, 21, be(77, 2)).frame(3, 5, {1, 2, 3}).bytes();
}

bool reads_as_samples(const BlockArray& header) {
  for (std::size_t at = kFirstRecordOffset; at < kBlockSize; at += kRecordSize) {
    if (header[at] >= kAccelId && header[at] <= kEventId) {
      return true;
    }
  }
  return false;
}

/// The header block is decoded like data, so its frames open where none of their bytes stands for a channel. `position`
/// matters only within a record.
BlockArray header_block(const SimulationPlan& plan) {
  std::size_t position = 0;
  while (position + 1 < kRecordSize && reads_as_samples(header_at(position, plan))) {
    ++position;
  }
  return header_at(position, plan);
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
  const BodyMotion motion = motion_of(plan, plan.start_seconds + seconds - plan.still_seconds);
  const InertialSample inertial = inertial_sample(motion);
  TrueSample sample{inertial.attitude, inertial.accel_g, inertial.gyro_deg_s, 0, 0};
  const bool walks = plan.motion == Motion::kGait;  // indoors and on the body, without the wide range of a test bench
  sample.pressure_mbar = walks ? 1006.2 + 0.05 * std::sin(seconds / 3) : 963.5 + 2.0 * std::sin(seconds / 40);
  sample.temperature_c = walks ? 29.6 + seconds / 60 : 23.4 - 30.0 * std::sin(seconds / 90);
  return sample;
}

std::uint8_t true_event(const SimulationPlan& plan, std::uint32_t tick) {
  if (plan.event_every <= 0) {
    return 0;
  }
  const auto every = static_cast<std::uint32_t>(plan.event_every);
  return tick >= every && tick % every < 2 ? static_cast<std::uint8_t>(1 + tick / every % UINT8_MAX) : 0;
}

std::uint32_t tick_count(const SimulationPlan& plan) {
  return static_cast<std::uint32_t>(plan.seconds * plan.rate_hz);
}

Bytes simulate(const SimulationPlan& plan) {
  RecordingWriter writer(header_block(plan));
  Noise noise(plan.noise_seed);
  for (std::uint32_t i = 0; i < tick_count(plan); ++i) {
    const std::uint32_t tick = plan.first_tick + i;
    const TrueSample s = true_sample(plan, static_cast<double>(i) / plan.rate_hz);
    const auto accel = noise.added_to(s.accel_g, plan.accel_noise_g);
    const auto gyro = noise.added_to(biased(s.gyro_deg_s, plan.gyro_bias_deg_s), plan.gyro_noise_deg_s);
    writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.accel(d, to_counts(accel, kAccelRange)); });
    writer.at(tick, [&](BlockBuilder& b, std::uint8_t d) { b.gyro(d, to_counts(gyro, kGyroRange)); });
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
