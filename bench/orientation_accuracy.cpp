// orientation_accuracy RECORDING REFERENCE.csv: the orientation of a recording against an attitude measured by other
// means: of the filter as it is read, of the filter with the gyroscope's offset at rest taken off, and smoothed; also
// of recordings that lack samples. Row i of the reference, behind one line of titles, is the attitude w,x,y,z of sample
// i, body to earth with z up; rows without numbers are passed over.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <numbers>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "quality/rest.h"
#include "reader/quaternion_channel.h"
#include "reader/recording.h"
#include "smoother/smoother.h"

namespace {

using namespace vortena;

using Quaternion = std::array<double, 4>;

constexpr double kDegrees = 180 / std::numbers::pi;

using Reference = std::vector<std::optional<Quaternion>>;

Reference read_reference(const char* path) {
  std::ifstream file(path);
  std::string line;
  std::getline(file, line);
  Reference rows;
  while (std::getline(file, line)) {
    std::replace(line.begin(), line.end(), ',', ' ');
    std::istringstream cells(line);
    Quaternion q{};
    const bool whole = static_cast<bool>(cells >> q[0] >> q[1] >> q[2] >> q[3]);
    rows.push_back(whole ? std::optional(q) : std::nullopt);
  }
  return rows;
}

/// Each sample the mean of `count` samples: what a unit of a lower rate would have recorded.
kiv_DataSensor averaged(const kiv_DataSensor& series, std::size_t count) {
  kiv_DataSensor result(series.axisCount, series.sampleCount / count);
  for (std::size_t i = 0; i < result.sampleCount; ++i) {
    result.timestamps[i] = series.timestamps[i * count + count - 1];
    for (std::size_t axis = 0; axis < series.axisCount; ++axis) {
      double sum = 0;
      for (std::size_t k = 0; k < count; ++k) {
        sum += series.values[axis * series.sampleCount + i * count + k];
      }
      result.values[axis * result.sampleCount + i] = sum / static_cast<double>(count);
    }
  }
  return result;
}

Quaternion row(const kiv_DataSensor& series, std::size_t i) {
  const std::size_t n = series.sampleCount;
  return {series.values[i], series.values[n + i], series.values[2 * n + i], series.values[3 * n + i]};
}

/// a times the inverse of b: the rotation, in the earth's frame, from b's attitude to a's.
Quaternion difference(const Quaternion& a, const Quaternion& b) {
  return {a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3], -a[0] * b[1] + a[1] * b[0] - a[2] * b[3] + a[3] * b[2],
          -a[0] * b[2] + a[2] * b[0] - a[3] * b[1] + a[1] * b[3],
          -a[0] * b[3] + a[3] * b[0] - a[1] * b[2] + a[2] * b[1]};
}

/// Their spread about one constant: of the recording, or of each side of a gap.
struct Headings {
  double sum = 0, squares = 0;
  std::size_t count = 0;

  void add(double heading) {
    sum += heading;
    squares += heading * heading;
    ++count;
  }
  [[nodiscard]] double squares_about_mean() const {
    return count == 0 ? 0 : squares - sum * sum / static_cast<double>(count);
  }
};

struct Errors {
  double inclination_squares = 0;
  double worst_inclination = 0;
  double first_heading = 0;
  double heading = 0;
  std::size_t count = 0;
  Headings whole, before, after;

  void add(const Quaternion& error, bool behind_gap = false) {
    const double inclination =
        2 * std::atan2(std::hypot(error[1], error[2]), std::hypot(error[0], error[3])) * kDegrees;
    inclination_squares += inclination * inclination;
    worst_inclination = std::max(worst_inclination, inclination);
    const double turned = 2 * std::atan2(error[3], error[0]) * kDegrees;
    first_heading = count == 0 ? turned : first_heading;
    // The shortest way from the heading before, so that whole turns count.
    heading = count == 0 ? turned : heading + std::remainder(turned - heading, 360);
    ++count;
    whole.add(heading);
    (behind_gap ? after : before).add(heading);
  }
  /// `within` is the share of errors below twice the claimed one, where one is claimed.
  void print(const std::string& name, int hz, std::optional<double> within = std::nullopt) const {
    const double sides = before.squares_about_mean() + after.squares_about_mean();
    const auto n = static_cast<double>(count);
    std::printf("| %-36s | %4d Hz | %8.2f | %5.2f | %12.2f | %9.2f | %13.2f | %s |\n", name.c_str(), hz,
                std::sqrt(inclination_squares / n), worst_inclination, std::sqrt(whole.squares_about_mean() / n),
                std::sqrt(sides / n), heading - first_heading,
                within ? std::to_string(*within).substr(0, 5).c_str() : "     ");
  }
};

/// Every `count` samples averaged.
Recording slower(Recording recording, std::size_t count) {
  recording.config.accel.frequency /= static_cast<int>(count);
  recording.config.gyro.frequency = recording.config.accel.frequency;
  for (const ChannelKey key : {kAccelKey, kGyroKey}) {
    recording.sensors.at(key) = averaged(recording.sensors.at(key), count);
  }
  return recording;
}

/// Leaves out the samples that `is_lost` names by their number.
template <typename IsLost>
kiv_DataSensor without(const kiv_DataSensor& series, IsLost is_lost) {
  std::vector<std::size_t> kept;
  for (std::size_t i = 0; i < series.sampleCount; ++i) {
    if (!is_lost(i)) {
      kept.push_back(i);
    }
  }
  kiv_DataSensor result(series.axisCount, kept.size());
  for (std::size_t k = 0; k < kept.size(); ++k) {
    result.timestamps[k] = series.timestamps[kept[k]];
    for (std::size_t axis = 0; axis < series.axisCount; ++axis) {
      result.values[axis * kept.size() + k] = series.values[axis * series.sampleCount + kept[k]];
    }
  }
  return result;
}

/// A series as the smoother reads it.
class SeriesSource : public smoother::SampleSource {
 public:
  explicit SeriesSource(const kiv_DataSensor& series) : series_(series) {}
  [[nodiscard]] std::size_t count() const override { return series_.sampleCount; }
  bool read(std::size_t first, std::size_t count, double* times_s, double* xyz) override {
    for (std::size_t i = 0; i < count; ++i) {
      times_s[i] = series_.timestamps[first + i];
      for (std::size_t axis = 0; axis < 3; ++axis) {
        xyz[3 * i + axis] = series_.values[axis * series_.sampleCount + first + i];
      }
    }
    return true;
  }

 private:
  const kiv_DataSensor& series_;
};

class Attitudes : public smoother::OrientationSink {
 public:
  std::vector<Quaternion> rows;
  bool write(std::size_t first, std::size_t count, const double* wxyz) override {
    rows.resize(first + count);
    for (std::size_t i = 0; i < count; ++i) {
      std::copy_n(wxyz + 4 * i, 4, rows[first + i].begin());
    }
    return true;
  }
};

/// The reference at any time, between the rows around it.
class Truth {
 public:
  Truth(const Reference& reference, const kiv_DataSensor& gyro) : reference_(reference), gyro_(gyro) {}
  [[nodiscard]] std::optional<Quaternion> at(double time) const {
    const auto* const begin = gyro_.timestamps.data();
    const auto* const end = begin + std::min<std::size_t>(gyro_.sampleCount, reference_.size());
    const auto* const after = std::lower_bound(begin, end, time);
    if (after == end || (after == begin && *after > time)) {
      return std::nullopt;
    }
    const auto i = static_cast<std::size_t>(after - begin);
    const std::size_t before = *after > time ? i - 1 : i;
    if (!reference_[before] || !reference_[i]) {
      return std::nullopt;
    }
    const double share = before == i ? 0 : (time - begin[before]) / (begin[i] - begin[before]);
    Quaternion q{};
    for (std::size_t k = 0; k < 4; ++k) {
      q[k] = (1 - share) * (*reference_[before])[k] + share * (*reference_[i])[k];
    }
    return q;
  }

 private:
  const Reference& reference_;
  const kiv_DataSensor& gyro_;
};

constexpr double kNoGap = 1e9;

void judge_filter(const char* name, Recording recording, const Truth& truth, double gap_at = kNoGap) {
  if (!kiv_computeQuaternion(&recording.config, &recording.sensors)) {
    throw std::runtime_error("the recording has no orientation");
  }
  const kiv_DataSensor& orientation = recording.sensors.at(kQuaternionKey);
  Errors errors;
  for (std::size_t i = 0; i < orientation.sampleCount; ++i) {
    const double time = recording.sensors.at(kGyroKey).timestamps[i];
    const Quaternion q = row(orientation, i);
    const auto reference = truth.at(time);
    if (q != Quaternion{} && reference) {
      errors.add(difference(q, *reference), time > gap_at);
    }
  }
  errors.print(name, recording.config.gyro.frequency);
}

void judge_smoother(const char* name, const Recording& recording, const Truth& truth, double gap_at = kNoGap) {
  const kiv_DataSensor& gyro = recording.sensors.at(kGyroKey);
  SeriesSource accelerometer(recording.sensors.at(kAccelKey)), gyroscope(gyro);
  Attitudes attitudes;
  const smoother::Result result = smoother::smooth(
      accelerometer, gyroscope,
      {static_cast<double>(recording.config.gyro.range), static_cast<double>(recording.config.accel.range)}, attitudes);
  Errors errors;
  std::size_t within = 0, point = 0;
  for (std::size_t i = 0; i < attitudes.rows.size(); ++i) {
    const auto reference = truth.at(gyro.timestamps[i]);
    while (point + 1 < result.grid.size() && result.grid[point + 1].time_s <= gyro.timestamps[i]) {
      ++point;
    }
    if (reference) {
      const double before = errors.inclination_squares;
      errors.add(difference(attitudes.rows[i], *reference), gyro.timestamps[i] > gap_at);
      within += std::sqrt(errors.inclination_squares - before) < 2 * result.grid[point].inclination_error_deg ? 1U : 0U;
    }
  }
  errors.print(name, recording.config.gyro.frequency, static_cast<double>(within) / static_cast<double>(errors.count));
}

/// When the unit turns fastest.
double fastest_time(const kiv_DataSensor& gyro) {
  const std::size_t n = gyro.sampleCount;
  std::size_t fastest = 0;
  double largest = 0;
  for (std::size_t i = 0; i < n; ++i) {
    const double rate = std::hypot(gyro.values[i], gyro.values[n + i], gyro.values[2 * n + i]);
    fastest = rate > largest ? i : fastest;
    largest = std::max(largest, rate);
  }
  return gyro.timestamps[fastest];
}

void compare(const Recording& recording, const Recording& corrected, const Truth& truth) {
  for (const std::size_t count : {1U, 2U, 11U}) {
    judge_filter("as read", slower(recording, count), truth);
    judge_filter("offset taken off", slower(corrected, count), truth);
    judge_smoother("smoothed", slower(recording, count), truth);
  }
}

void compare_damaged(const Recording& recording, const Recording& corrected, const Truth& truth) {
  const kiv_DataSensor& gyro = recording.sensors.at(kGyroKey);
  const double cut = fastest_time(gyro);
  const auto in_cut = [&](std::size_t i) { return gyro.timestamps[i] > cut && gyro.timestamps[i] < cut + 0.3; };
  const auto one_of_hundred = [](std::size_t i) { return i * 2654435761U % 4294967296U < 42949673U; };
  const auto damaged = [&](Recording whole, bool is_cut) {
    for (const ChannelKey key : {kAccelKey, kGyroKey}) {
      kiv_DataSensor& series = whole.sensors.at(key);
      if (is_cut) {
        series = without(series, in_cut);
      } else if (key == kAccelKey) {
        series = without(series, one_of_hundred);
      }
    }
    return whole;
  };
  for (const bool is_cut : {true, false}) {
    const std::string what = is_cut ? ", 0.3 s of a turn lost" : ", 1 % of accel lost";
    const double gap_at = is_cut ? cut : kNoGap;
    judge_filter(("as read" + what).c_str(), damaged(recording, is_cut), truth, gap_at);
    judge_filter(("offset off" + what).c_str(), damaged(corrected, is_cut), truth, gap_at);
    judge_smoother(("smoothed" + what).c_str(), damaged(recording, is_cut), truth, gap_at);
  }
  Recording half = recording;
  half.sensors.at(kGyroKey) = averaged(gyro, 2);
  half.config.gyro.frequency /= 2;
  judge_smoother("smoothed, gyroscope at half the rate", half, truth);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) {
    std::fputs("usage: orientation_accuracy RECORDING REFERENCE.csv\n", stderr);
    return EXIT_FAILURE;
  }
  Recording recording;
  const LoadReport report = load_recording(&recording, argv[1], {.header_samples = false});
  const auto reference = read_reference(argv[2]);
  const RestEstimate rest = estimate_rest(recording, report);
  if (report.status != LoadStatus::kRead || reference.empty() || rest.problem != RestProblem::kNone) {
    std::fputs("orientation_accuracy: not readable, or without enough rest\n", stderr);
    return EXIT_FAILURE;
  }
  Recording corrected = recording;
  subtract_gyroscope_offset(&corrected.sensors.at(kGyroKey), rest.offset_deg_s);
  const auto& offset = rest.offset_deg_s;
  const auto& error = rest.standard_error_deg_s;
  std::printf("Offset at rest, from %.1f s: x %.4f +- %.4f, y %.4f +- %.4f, z %.4f +- %.4f deg/s\n\n", rest.seconds,
              offset[0], error[0], offset[1], error[1], offset[2], error[2]);
  std::puts(
      "| gyroscope                            | rate    | tilt rms | worst | heading, rms | each side | heading drift "
      "| "
      "claim |\n"
      "| ------------------------------------ | ------- | -------- | ----- | ------------ | --------- | ------------- "
      "| "
      "----- |");
  const Truth truth(reference, recording.sensors.at(kGyroKey));
  compare(recording, corrected, truth);
  compare_damaged(recording, corrected, truth);
  return EXIT_SUCCESS;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "orientation_accuracy: %s\n", problem.what());
  return EXIT_FAILURE;
}
