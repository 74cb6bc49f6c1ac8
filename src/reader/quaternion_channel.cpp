// Feeds recordings to the tracker, piece by piece.
#include "reader/quaternion_channel.h"

#include <algorithm>
#include <array>
#include <memory>

#include "tracker/tracker.h"

namespace vortena {
namespace {

constexpr std::size_t kAxes = 3;
constexpr std::size_t kComponents = 4;
constexpr std::size_t kSamplesPerPiece = 4096;

// The tracker's settings for recordings of worn units. The accelerometer noise far above the sensor's own
// keeps the correction gentle: it takes minutes, not seconds, to pull the tilt towards the measured gravity.
constexpr std::array kMotionlessThresholds{1.05F, 0.1F, 15.0F};
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

std::unique_ptr<tracker_state> make_tracker(std::int32_t rate) {
  auto state = std::make_unique<tracker_state>();
  init_tracker(state.get(), rate, 0);
  set_motionless_thresh(state.get(), kMotionlessThresholds.data());
  set_quaternion_process_noise_cov_matrix(state.get(), diagonal<4>(kProcessNoise).data());
  set_imu_quaternion_observation_noise_cov_matrix(state.get(), diagonal<3>(kAccelerometerNoise).data(),
                                                  diagonal<3>(kMagnetometerNoise).data());
  return state;
}

/// The series under `key` when it has exactly three axes and is not empty.
const kiv_DataSensor* find_input(const SensorMap& sensors, ChannelKey key) {
  const kiv_DataSensor* series = find_series(sensors, key, kAxes);
  return series != nullptr && series->axisCount == kAxes ? series : nullptr;
}

void track(const kiv_DataSensor& accel, const kiv_DataSensor& gyro, std::int32_t rate, kiv_DataSensor& quaternion) {
  const std::size_t n = quaternion.sampleCount;
  const std::unique_ptr<tracker_state> tracker = make_tracker(rate);
  // The common length is the stride of both inputs on purpose; of a longer series, the second and third
  // axis are read from shifted positions.
  const tracker_series series{accel.values.data(), gyro.values.data(), quaternion.values.data(), n};
  const std::size_t last = n - 1;
  for (std::size_t first = 0; first < last; first += kSamplesPerPiece) {
    run_tracker_series(tracker.get(), &series, first, std::min(kSamplesPerPiece, last - first));
  }
  for (std::size_t k = 0; k < kComponents; ++k) {
    quaternion.values[k * n + last] = 0.0;  // the last sample never gets an orientation
  }
}

}  // namespace

bool kiv_computeQuaternion(kiv_Config* config, SensorMap* sensors) {
  if (config == nullptr || sensors == nullptr) {
    return false;
  }
  // Insertion into the map leaves its elements where they are.
  const kiv_DataSensor* const accel = find_input(*sensors, kAccelKey);
  const kiv_DataSensor* const gyro = find_input(*sensors, kGyroKey);
  if (accel == nullptr || gyro == nullptr || config->accel.frequency != config->gyro.frequency) {
    return false;
  }
  const std::size_t n = std::min(accel->sampleCount, gyro->sampleCount);
  kiv_DataSensor& quaternion = sensors->try_emplace(kQuaternionKey, kComponents, n).first->second;
  if (!quaternion.has_shape(kComponents, n)) {
    return false;
  }
  std::copy_n(accel->timestamps.begin(), n, quaternion.timestamps.begin());
  track(*accel, *gyro, config->accel.frequency, quaternion);
  return true;
}

}  // namespace vortena
