// Measures a decoded recording: sampling, clock, orientation, header.
#include "quality/assessment.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numbers>

#include "quality/quality_notes.h"
#include "reader/decoding/channels.h"
#include "reader/decoding/recording_format.h"
#include "reader/stillness.h"

namespace vortena {
namespace {

constexpr std::size_t kAxes = 3;
constexpr std::size_t kComponents = 4;

bool has_no_gain(const kiv_Config::SensorConfig* calibration) {
  return calibration != nullptr && (calibration->gainX == 0 || calibration->gainY == 0 || calibration->gainZ == 0);
}

ChannelQuality assess_channel(const Recording& recording, const Channel& channel, const ChannelCounts& counts) {
  const ChannelSettings& settings = channel.settings;
  ChannelQuality quality;
  quality.key = channel.key;
  quality.nominal_hz = settings.frequency(recording.config);
  quality.regular = channel.clocked;
  quality.counts = counts;
  quality.no_gain = has_no_gain(settings.calibration(recording.config));
  quality.header_samples = counts.header_samples.size() + counts.header_samples_left_out;
  const kiv_DataSensor* const series = find_series(recording.sensors, channel.key, 1);
  if (series != nullptr) {
    quality.sampling = measure_sampling(*series, counts.header_samples, recording.config.frequency, quality.nominal_hz);
  }
  if (channel.has_full_scale() && quality.sampling.samples > 0) {
    quality.full_scale_share =
        static_cast<double>(counts.at_full_scale) / static_cast<double>(quality.sampling.samples);
  }
  return quality;
}

std::optional<std::chrono::sys_seconds> calendar_time(const kiv_Config::DateStruct& date) {
  using namespace std::chrono;
  const auto in = [](std::int32_t value, std::int32_t end) { return value >= 0 && value < end; };
  if (!in(date.second, 60) || !in(date.minute, 60) || !in(date.hour, 24) || !in(date.year - 1, 9999) ||
      !in(date.day, 32) || !in(date.month, 13)) {
    return std::nullopt;
  }
  const year_month_day day(year{date.year}, month{static_cast<unsigned>(date.month)},
                           std::chrono::day{static_cast<unsigned>(date.day)});
  // As seconds first: hours and minutes may be counted in 32 bits, which late years are too much for.
  return day.ok() ? std::optional(sys_seconds(sys_days(day)) + hours(date.hour) + minutes(date.minute) +
                                  seconds(date.second))
                  : std::nullopt;
}

bool is_set(const kiv_Config::DateStruct& date) {
  return (date.second | date.minute | date.hour | date.day | date.month | date.year) != 0;
}

ClockQuality assess_clock(const kiv_Config& config, const std::vector<ChannelQuality>& channels) {
  ClockQuality clock;
  const auto start = calendar_time(config.createdAt);
  const auto end = calendar_time(config.endDate);
  clock.dates_valid = (start || !is_set(config.createdAt)) && (end || !is_set(config.endDate));
  if (start && end) {
    clock.header_seconds = static_cast<double>((*end - *start).count());
  }
  for (const ChannelQuality& channel : channels) {
    if (channel.sampling.samples > 0 && config.frequency > 0) {
      clock.first = std::min(clock.first.value_or(channel.sampling.first), channel.sampling.first);
      clock.last = std::max(clock.last.value_or(channel.sampling.last), channel.sampling.last);
    }
  }
  return clock;
}

/// Components w x y z of sample i; all zero where there is no orientation.
std::array<double, kComponents> quaternion_at(const kiv_DataSensor& series, std::size_t i) {
  const std::size_t n = series.sampleCount;
  return {series.values[i], series.values[n + i], series.values[2 * n + i], series.values[3 * n + i]};
}

/// Twice the angle whose sine is the horizontal part of the rotation; good for small and large angles, and whatever the
/// quaternion's length. To a millionth: the last digits of an arc tangent are each C library's own.
double tilt_deg(const std::array<double, kComponents>& q) {
  const double horizontal = std::sqrt(q[1] * q[1] + q[2] * q[2]);
  const double vertical = std::sqrt(q[0] * q[0] + q[3] * q[3]);
  return std::round(2 * std::atan2(horizontal, vertical) * 180 / std::numbers::pi * 1e6) / 1e6;
}

void assess_quaternions(OrientationQuality& orientation, const kiv_DataSensor& series,
                        std::span<const std::uint64_t> left_out) {
  TruePositions positions(left_out);
  std::optional<std::size_t> first;
  std::size_t last = 0;
  for (std::uint64_t i = count_true_samples(series, left_out); i > 0; --i) {
    const std::size_t at = positions.next();
    if (quaternion_at(series, at) != std::array<double, kComponents>{}) {
      first = first.value_or(at);
      last = at;
    }
  }
  if (first) {
    orientation.found = true;
    const double wait = series.timestamps[*first] - series.timestamps[TruePositions(left_out).next()];
    orientation.starts_after = std::isfinite(wait) ? std::optional(wait) : std::nullopt;
    orientation.first_tilt_deg = tilt_deg(quaternion_at(series, *first));
    orientation.last_tilt_deg = tilt_deg(quaternion_at(series, last));
  }
}

double squared_norm(const kiv_DataSensor& series, std::size_t i) {
  const double x = series.values[i];
  const double y = series.values[series.sampleCount + i];
  const double z = series.values[2 * series.sampleCount + i];
  return x * x + y * y + z * z;
}

/// As the orientation filter judges its start.
bool is_still(double squared_accel, double squared_rate) {
  constexpr double kLeast = (1 - kStillAccelErrorG) * (1 - kStillAccelErrorG);
  constexpr double kMost = (1 + kStillAccelErrorG) * (1 + kStillAccelErrorG);
  return squared_accel > kLeast && squared_accel < kMost && squared_rate < kStillRateDegS * kStillRateDegS;
}

/// Paired by count, as the orientation pairs them.
std::optional<double> still_share(const SensorMap& sensors, const LoadReport& load) {
  const kiv_DataSensor* const accel = find_series(sensors, kAccelKey, kAxes);
  const kiv_DataSensor* const gyro = find_series(sensors, kGyroKey, kAxes);
  if (accel == nullptr || gyro == nullptr) {
    return std::nullopt;
  }
  const auto accel_header = header_positions(load, kAccelKey);
  const auto gyro_header = header_positions(load, kGyroKey);
  const std::uint64_t pairs =
      std::min(count_true_samples(*accel, accel_header), count_true_samples(*gyro, gyro_header));
  TruePositions accel_at(accel_header);
  TruePositions gyro_at(gyro_header);
  std::uint64_t still = 0;
  for (std::uint64_t i = 0; i < pairs; ++i) {
    still += is_still(squared_norm(*accel, accel_at.next()), squared_norm(*gyro, gyro_at.next())) ? 1U : 0U;
  }
  return pairs > 0 ? std::optional(static_cast<double>(still) / static_cast<double>(pairs)) : std::nullopt;
}

OrientationQuality assess_orientation(const Recording& recording, const LoadReport& load, OrientationProblem problem) {
  OrientationQuality orientation;
  orientation.problem = problem;
  const kiv_DataSensor* const series = find_series(recording.sensors, kQuaternionKey, kComponents);
  orientation.computed = series != nullptr;
  if (series != nullptr) {
    assess_quaternions(orientation, *series, header_positions(load, kAccelKey));
  }
  orientation.still_share = still_share(recording.sensors, load);
  return orientation;
}

HeaderQuality assess_header(const kiv_Config& config) {
  HeaderQuality header;
  header.error = config.headerError;
  header.unknown_bytes = config.unknownFrames.size();
  const std::vector<std::uint8_t>& frames = config.unknownFrames;
  for (std::size_t at = 0; at + kFrameLengthOffset < frames.size();
       at += kFrameOverhead + frames[at + kFrameLengthOffset]) {
    ++header.unknown_frames;
  }
  return header;
}

}  // namespace

QualityReport assess(const Recording& recording, const LoadReport& load, OrientationProblem problem,
                     const std::optional<RestEstimate>& rest) {
  QualityReport report;
  report.load = load;
  report.ticks_per_second = recording.config.frequency;
  for (const auto& [key, counts] : load.channels) {
    report.channels.push_back(assess_channel(recording, channel_of(key), counts));
  }
  report.clock = assess_clock(recording.config, report.channels);
  report.orientation = assess_orientation(recording, load, problem);
  report.header = assess_header(recording.config);
  report.rest = rest ? *rest : estimate_rest(recording, load);
  add_notes(&report);
  return report;
}

}  // namespace vortena
