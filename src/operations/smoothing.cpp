// The smoother reads series in pieces, a few times; here they are those of a decoded recording.
#include "operations/smoothing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <span>
#include <utility>
#include <vector>

#include "quality/sampling.h"

namespace vortena {
namespace {

constexpr std::size_t kAxes = 3;
constexpr std::size_t kComponents = 4;

/// Places of a series without those of the header block.
class TruePlaces {
 public:
  TruePlaces(std::uint64_t count, std::span<const std::uint64_t> left_out) : left_out_(left_out), count_(count) {}

  [[nodiscard]] std::uint64_t count() const { return count_ - left_out_.size(); }

  /// `visit(k, place)` for samples `first` to `first + count` - 1 of those that are left.
  template <typename Visit>
  void for_each(std::uint64_t first, std::uint64_t count, Visit visit) const {
    std::uint64_t place = first;
    auto next = left_out_.begin();
    const auto pass_over = [&] {
      for (; next != left_out_.end() && *next <= place; ++next) {
        ++place;
      }
    };
    for (std::uint64_t k = 0; k < count; ++k, ++place) {
      pass_over();
      visit(k, place);
    }
  }

 private:
  std::span<const std::uint64_t> left_out_;  ///< ascending
  std::uint64_t count_;
};

class SeriesSource final : public smoother::SampleSource {
 public:
  SeriesSource(const kiv_DataSensor& series, TruePlaces places) : series_(series), places_(places) {}

  [[nodiscard]] std::size_t count() const override { return static_cast<std::size_t>(places_.count()); }

  bool read(std::size_t first, std::size_t count, double* times_s, double* xyz) override {
    places_.for_each(first, count, [&](std::uint64_t k, std::uint64_t place) {
      times_s[k] = series_.timestamps[place];
      for (std::size_t axis = 0; axis < kAxes; ++axis) {
        xyz[kAxes * k + axis] = series_.values[axis * series_.sampleCount + place];
      }
    });
    return true;
  }

 private:
  const kiv_DataSensor& series_;
  TruePlaces places_;
};

class ChannelSink final : public smoother::OrientationSink {
 public:
  ChannelSink(kiv_DataSensor* quaternion, TruePlaces places, Watch* watch)
      : quaternion_(*quaternion), places_(places), watch_(watch) {
    begin_stage(watch, Stage::kOrientation, kParts);
  }

  bool write(std::size_t first, std::size_t count, const double* wxyz) override {
    places_.for_each(first, count, [&](std::uint64_t k, std::uint64_t place) {
      for (std::size_t component = 0; component < kComponents; ++component) {
        quaternion_.values[component * quaternion_.sampleCount + place] = wxyz[kComponents * k + component];
      }
    });
    return true;
  }

  bool goes_on(double share) override {
    return vortena::goes_on(watch_, static_cast<std::uint64_t>(share * static_cast<double>(kParts)));
  }

 private:
  static constexpr std::uint64_t kParts = 1000;

  kiv_DataSensor& quaternion_;
  TruePlaces places_;
  Watch* watch_;
};

/// The least that some axis can measure at most, in its unit; 0 when that is not known.
double measurable(const kiv_Config::SensorConfig& sensor) {
  constexpr double kHighestCount = 32767.0 / 32768.0;
  double least = std::numeric_limits<double>::infinity();
  for (const auto& [offset, gain] : {std::pair(sensor.offsetX, sensor.gainX), std::pair(sensor.offsetY, sensor.gainY),
                                     std::pair(sensor.offsetZ, sensor.gainZ)}) {
    least = std::min(least, (kHighestCount * sensor.range - std::abs(offset)) / std::abs(gain));
  }
  return std::isfinite(least) && least > 0 ? least : 0;
}

const kiv_DataSensor* find_input(const SensorMap& sensors, ChannelKey key) {
  const kiv_DataSensor* series = find_series(sensors, key, kAxes);
  return series != nullptr && series->axisCount == kAxes ? series : nullptr;
}

template <typename Value>
Value median(std::vector<Value> values) {
  if (values.empty()) {
    return {};
  }
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

OrientationProblem find_smoothing_problem(const SensorMap& sensors) {
  if (find_input(sensors, kAccelKey) == nullptr) {
    return OrientationProblem::kNoAccelerometer;
  }
  return find_input(sensors, kGyroKey) == nullptr ? OrientationProblem::kNoGyroscope : OrientationProblem::kNone;
}

OrientationProblem smooth_orientation(const kiv_Config& config, const LoadReport& load, SensorMap* sensors,
                                      smoother::Result* result, Watch* watch) {
  kiv_DataSensor quaternion(kComponents, sensors->at(kGyroKey).sampleCount);
  const kiv_DataSensor& accel = sensors->at(kAccelKey);
  const kiv_DataSensor& gyro = sensors->at(kGyroKey);
  quaternion.timestamps = gyro.timestamps;
  const TruePlaces gyro_places(gyro.sampleCount, header_positions(load, kGyroKey));
  SeriesSource accelerometer(accel, TruePlaces(accel.sampleCount, header_positions(load, kAccelKey)));
  SeriesSource gyroscope(gyro, gyro_places);
  ChannelSink sink(&quaternion, gyro_places, watch);
  const smoother::Options options{.gyro_range_deg_s = measurable(config.gyro),
                                  .accel_range_g = measurable(config.accel)};
  *result = smoother::smooth(accelerometer, gyroscope, options, sink);
  if (result->status == smoother::Status::kStopped) {
    return OrientationProblem::kStopped;
  }
  sensors->insert_or_assign(kQuaternionKey, std::move(quaternion));
  return result->status == smoother::Status::kDone ? OrientationProblem::kNone : OrientationProblem::kNoGyroscope;
}

SmoothingQuality summary_of(const smoother::Result& result) {
  SmoothingQuality quality;
  std::vector<double> errors;
  for (const smoother::GridPoint& point : result.grid) {
    errors.push_back(static_cast<double>(point.inclination_error_deg));
    for (std::size_t axis = 0; axis < kAxes; ++axis) {
      quality.mean_offset_deg_s[axis] +=
          static_cast<double>(point.gyro_offset_deg_s[axis]) / static_cast<double>(result.grid.size());
    }
  }
  quality.typical_error_deg = median(errors);
  quality.largest_error_deg = errors.empty() ? 0 : *std::max_element(errors.begin(), errors.end());
  for (const smoother::Stretch& stretch : result.rest) {
    quality.rest_seconds += stretch.to_s - stretch.from_s;
  }
  for (const smoother::Gap& gap : result.gaps) {
    ++(gap.turned ? quality.bridged_gaps : quality.open_gaps);
  }
  return quality;
}

}  // namespace vortena
