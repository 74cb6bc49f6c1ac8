// The rounds: record intervals, estimate the grid, where needed record them again with what was estimated, estimate,
// write.
#include "smoother/smoother.h"

#include <utility>

#include "smoother/attitude_output.h"
#include "smoother/grid_smoother.h"
#include "smoother/interval_recorder.h"

namespace vortena::smoother {
namespace {

constexpr double kDegrees = 1 / kRadians;
// Errors of the gyroscope that turn an interval by more than this (rad) are too large to be made up for by derivatives.
constexpr double kLargestCorrection = 0.03;

class Smoothing {
 public:
  Smoothing(SampleSource& accelerometer, SampleSource& gyroscope, const Options& options, OrientationSink& sink)
      : inputs_{accelerometer, gyroscope, options, usual_period(accelerometer), usual_period(gyroscope)},
        sink_(sink),
        grid_(recorded_) {}

  Result run() {
    const bool estimated = estimate();
    result_.has_accelerometer = recorded_.has_force;
    if (!estimated) {
      result_.status = Status::kStopped;
    } else if (recorded_.intervals.empty()) {
      result_.status = Status::kNoGyroscope;
    } else {
      describe();
      const bool written = write_attitudes(inputs_, recorded_, grid_, &sink_, &result_.unused_gyro_samples);
      result_.status = written ? Status::kDone : Status::kStopped;
    }
    return std::move(result_);
  }

 private:
  bool estimate() {
    if (!record(0, 0.25) || recorded_.intervals.empty()) {
      return recorded_.intervals.empty() && !stopped_;
    }
    if (!grid_.run(false, progress(0.25, 0.4))) {
      return false;
    }
    if (grid_.largest_correction() > kLargestCorrection) {
      if (!record(0.4, 0.65)) {
        return false;
      }
      grid_.take_new_records();
    }
    return grid_.run(true, progress(0.65, 0.8));
  }

  bool record(double from, double to) {
    const auto errors = [this](std::size_t i, const Vec3& rate_at_rest) {
      return grid_.nodes().empty() ? GyroErrors{rate_at_rest, {}} : grid_.gyro_errors(i);
    };
    stopped_ = !record_intervals(inputs_, errors, progress(from, to), &recorded_);
    return !stopped_;
  }

  [[nodiscard]] std::function<bool(double)> progress(double from, double to) const {
    return [this, from, to](double share) { return sink_.goes_on(from + share * (to - from)); };
  }

  void describe() {
    const Constants& constants = grid_.constants();
    const Mat3& scale = constants.gyro_scale;
    const Mat3 error = scale + scale * scale;  // the inverse of 1 - scale, less 1
    for (std::size_t k = 0; k < 9; ++k) {
      result_.gyro_scale_error[k] = error.row[k / 3][k % 3];
      result_.gyro_scale_sigma[k] = constants.gyro_scale_sigma.row[k / 3][k % 3];
    }
    result_.accel_offset_g = (1 / kGravity) * constants.accel_offset;
    result_.accel_offset_sigma_g = (1 / kGravity) * constants.accel_offset_sigma;
    result_.rest = std::move(recorded_.rest);
    result_.gaps = std::move(recorded_.gaps);
    for (std::size_t i = 0; i < recorded_.intervals.size(); ++i) {
      const Node& node = grid_.nodes()[i];
      GridPoint point{.time_s = recorded_.intervals[i].start_s};
      for (std::size_t k = 0; k < 3; ++k) {
        point.gyro_offset_deg_s[k] = static_cast<float>(node.offset[k] * kDegrees);
      }
      point.inclination_error_deg = static_cast<float>(node.inclination_error * kDegrees);
      result_.grid.push_back(point);
    }
  }

  Inputs inputs_;
  OrientationSink& sink_;
  Recorded recorded_;
  GridSmoother grid_;
  Result result_;
  bool stopped_ = false;
};

}  // namespace

Result smooth(SampleSource& accelerometer, SampleSource& gyroscope, const Options& options, OrientationSink& sink) {
  return Smoothing(accelerometer, gyroscope, options, sink).run();
}

}  // namespace vortena::smoother
