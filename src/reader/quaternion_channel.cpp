// Feeds recordings to the tracker, piece by piece.
#include "reader/quaternion_channel.h"

#include <algorithm>
#include <array>
#include <memory>

#include "reader/stillness.h"
#include "tracker/tracker.h"

namespace vortena {
namespace {

constexpr std::size_t kAxes = 3;
constexpr std::size_t kComponents = 4;
constexpr std::uint64_t kSamplesPerPiece = 4096;

// The tracker's settings for recordings of worn units. The accelerometer noise far above the sensor's own
// keeps the correction gentle: it takes minutes, not seconds, to pull the tilt towards the measured gravity.
constexpr std::array kMotionlessThresholds{1.05F, static_cast<float>(kStillAccelErrorG),
                                           static_cast<float>(kStillRateDegS)};
constexpr float kProcessNoise = 1e-5F;
constexpr float kAccelerometerNoise = 10000.0F;
constexpr float kMagnetometerNoise = 200000.0F;

template <std::size_t N>
std::array<float, N * N> diagonal(float value) {
  std::array<float, N * N> matrix{};
  for (std::size_t i = 0; i < N; ++i) {
    matrix[i * N + i] = value;
  }
  return matrix;
}

/// The series under `key` when it has exactly three axes and is not empty.
const kiv_DataSensor* find_input(const SensorMap& sensors, ChannelKey key) {
  const kiv_DataSensor* series = find_series(sensors, key, kAxes);
  return series != nullptr && series->axisCount == kAxes ? series : nullptr;
}

/// Tells a reader of `ready` that so many samples stand.
void publish(std::atomic<std::uint64_t>* ready, std::uint64_t count) {
  if (ready != nullptr) {
    ready->store(count, std::memory_order_release);
  }
}

/// A piece of two inputs and of the orientation, with the stride of a piece.
struct Piece {
  static constexpr std::size_t kStride = kSamplesPerPiece;
  std::array<double, kAxes * kStride> accel;
  std::array<double, kAxes * kStride> gyro;
  std::array<double, kComponents * kStride> quaternion;

  [[nodiscard]] tracker_series series() { return {accel.data(), gyro.data(), quaternion.data(), kStride}; }
};

/// Samples `first` to `first + count` of an input, whose axes are read `n` values apart.
void take_piece(const kiv_DataSensor& from, std::size_t n, std::size_t first, std::size_t count, double* to) {
  for (std::size_t axis = 0; axis < kAxes; ++axis) {
    std::copy_n(from.values.data() + axis * n + first, count, to + axis * Piece::kStride);
  }
}

}  // namespace

std::unique_ptr<tracker_state> make_tracker(std::int32_t rate_hz) {
  auto state = std::make_unique<tracker_state>();
  init_tracker(state.get(), rate_hz, 0);
  set_motionless_thresh(state.get(), kMotionlessThresholds.data());
  set_quaternion_process_noise_cov_matrix(state.get(), diagonal<4>(kProcessNoise).data());
  set_imu_quaternion_observation_noise_cov_matrix(state.get(), diagonal<3>(kAccelerometerNoise).data(),
                                                  diagonal<3>(kMagnetometerNoise).data());
  return state;
}

OrientationProblem find_orientation_problem(const kiv_Config& config, const SensorMap& sensors) {
  if (find_input(sensors, kAccelKey) == nullptr) {
    return OrientationProblem::kNoAccelerometer;
  }
  if (find_input(sensors, kGyroKey) == nullptr) {
    return OrientationProblem::kNoGyroscope;
  }
  const bool rates_agree = config.accel.frequency == config.gyro.frequency;
  return rates_agree ? OrientationProblem::kNone : OrientationProblem::kDifferentRates;
}

OrientationProblem prepare_orientation(const kiv_Config& config, SensorMap* sensors) {
  const OrientationProblem problem = find_orientation_problem(config, *sensors);
  if (problem != OrientationProblem::kNone) {
    return problem;
  }
  const kiv_DataSensor& accel = sensors->at(kAccelKey);
  const std::uint64_t n = std::min(accel.sampleCount, sensors->at(kGyroKey).sampleCount);
  // Insertion into the map leaves its elements where they are.
  kiv_DataSensor& quaternion = sensors->try_emplace(kQuaternionKey, kComponents, n).first->second;
  if (!quaternion.has_shape(kComponents, n)) {
    return OrientationProblem::kNoRoom;
  }
  std::copy_n(accel.timestamps.begin(), n, quaternion.timestamps.begin());
  return OrientationProblem::kNone;
}

OrientationProblem fill_orientation(const kiv_Config& config, SensorMap* sensors, Watch* watch,
                                    std::atomic<std::uint64_t>* ready) {
  kiv_DataSensor& quaternion = sensors->at(kQuaternionKey);
  const std::uint64_t n = quaternion.sampleCount;
  const std::unique_ptr<tracker_state> tracker = make_tracker(config.accel.frequency);
  // The common length is the stride of both inputs on purpose; of a longer series, the second and third
  // axis are read from shifted positions.
  const tracker_series series{sensors->at(kAccelKey).values.data(), sensors->at(kGyroKey).values.data(),
                              quaternion.values.data(), static_cast<std::size_t>(n)};
  for (std::size_t k = 0; k < kComponents; ++k) {
    quaternion.values[k * n + n - 1] = 0.0;  // the last sample never gets an orientation
  }
  begin_stage(watch, Stage::kOrientation, n);
  for (std::uint64_t first = 0; first < n - 1; first += kSamplesPerPiece) {
    if (!goes_on(watch, first)) {
      return OrientationProblem::kStopped;
    }
    run_tracker_series(tracker.get(), &series, static_cast<std::size_t>(first),
                       static_cast<std::size_t>(std::min(kSamplesPerPiece, n - 1 - first)));
    publish(ready, first + kSamplesPerPiece);
  }
  publish(ready, n);
  return OrientationProblem::kNone;
}

OrientationProblem fill_narrow_orientation(std::int32_t rate_hz, const kiv_DataSensor& accel,
                                           const kiv_DataSensor& gyro, LargeArray<float>* quaternion, Watch* watch) {
  const std::size_t n = std::min(accel.sampleCount, gyro.sampleCount);
  quaternion->assign(kComponents * n, 0.0F);
  const std::unique_ptr<tracker_state> tracker = make_tracker(rate_hz);
  const auto piece = std::make_unique<Piece>();
  const tracker_series series = piece->series();
  begin_stage(watch, Stage::kOrientation, n);
  for (std::size_t first = 0; first < n - 1; first += Piece::kStride) {
    if (!goes_on(watch, first)) {
      return OrientationProblem::kStopped;
    }
    const std::size_t count = std::min(Piece::kStride, n - 1 - first);
    take_piece(accel, n, first, count, piece->accel.data());
    take_piece(gyro, n, first, count, piece->gyro.data());
    run_tracker_series(tracker.get(), &series, 0, count);
    for (std::size_t k = 0; k < kComponents; ++k) {
      std::transform(&piece->quaternion[k * Piece::kStride], &piece->quaternion[k * Piece::kStride] + count,
                     quaternion->data() + k * n + first, [](double value) { return static_cast<float>(value); });
    }
  }
  return OrientationProblem::kNone;
}

bool kiv_computeQuaternion(kiv_Config* config, SensorMap* sensors) {
  return config != nullptr && sensors != nullptr &&
         prepare_orientation(*config, sensors) == OrientationProblem::kNone &&
         fill_orientation(*config, sensors) == OrientationProblem::kNone;
}

}  // namespace vortena
