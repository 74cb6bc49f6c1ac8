// Feeds recordings to the tracker, piece by piece.
#include "reader/quaternion_channel.h"

#include <algorithm>
#include <vector>

#include "reader/stillness.h"
#include "system/large_pages.h"

namespace vortena {
namespace {

constexpr std::size_t kAxes = 3;
constexpr std::size_t kComponents = 4;

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

/// How many samples the two inputs, which are there, have in common.
std::uint64_t common_length(const SensorMap& sensors) {
  return std::min(sensors.at(kAccelKey).sampleCount, sensors.at(kGyroKey).sampleCount);
}

/// Tells a reader of `ready` that so many samples stand.
void publish(std::atomic<std::uint64_t>* ready, std::uint64_t count) {
  if (ready != nullptr) {
    ready->store(count, std::memory_order_release);
  }
}

/// A tracker with the settings for recordings of worn units.
std::unique_ptr<tracker_state> make_tracker(std::int32_t rate_hz) {
  auto state = std::make_unique<tracker_state>();
  init_tracker(state.get(), rate_hz, 0);
  set_motionless_thresh(state.get(), kMotionlessThresholds.data());
  set_quaternion_process_noise_cov_matrix(state.get(), diagonal<4>(kProcessNoise).data());
  set_imu_quaternion_observation_noise_cov_matrix(state.get(), diagonal<3>(kAccelerometerNoise).data(),
                                                  diagonal<3>(kMagnetometerNoise).data());
  return state;
}

/// The one loop over whole recordings: `step(count)` takes the next piece.
template <typename Step>
OrientationProblem run_pieces(std::uint64_t samples, Watch* watch, Step step) {
  begin_stage(watch, Stage::kOrientation, samples);
  for (std::uint64_t first = 0; first < samples; first += OrientationRun::kMostSamples) {
    if (!goes_on(watch, first)) {
      return OrientationProblem::kStopped;
    }
    step(static_cast<std::size_t>(std::min<std::uint64_t>(OrientationRun::kMostSamples, samples - first)));
  }
  return OrientationProblem::kNone;
}

/// Component k of sample i comes to values[k * n + i], where n is the common length of the inputs. It is their stride,
/// too, on purpose: of a longer series, the second and third axis are read from shifted positions.
OrientationProblem track(const kiv_Config& config, const SensorMap& sensors, double* values, Watch* watch,
                         std::atomic<std::uint64_t>* ready) {
  const std::uint64_t n = common_length(sensors);
  const tracker_series whole{sensors.at(kAccelKey).values.data(), sensors.at(kGyroKey).values.data(), values,
                             static_cast<std::size_t>(n)};
  OrientationRun run(config.accel.frequency, n);
  return run_pieces(n, watch, [&](std::size_t count) {
    run.fill(whole, count);
    publish(ready, run.done());
  });
}

}  // namespace

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
  const std::uint64_t n = common_length(*sensors);
  // Insertion into the map leaves its elements where they are.
  kiv_DataSensor& quaternion = sensors->try_emplace(kQuaternionKey, kComponents, n).first->second;
  const std::size_t room = std::min(accel.timestamps.size(), quaternion.timestamps.size());
  std::copy_n(accel.timestamps.begin(), std::min<std::uint64_t>(quaternion.sampleCount, room),
              quaternion.timestamps.begin());
  return OrientationProblem::kNone;
}

OrientationProblem fill_orientation(const kiv_Config& config, SensorMap* sensors, Watch* watch,
                                    std::atomic<std::uint64_t>* ready) {
  kiv_DataSensor& quaternion = sensors->at(kQuaternionKey);
  const auto n = static_cast<std::size_t>(common_length(*sensors));
  if (quaternion.values.size() >= kComponents * n) {
    return track(config, *sensors, quaternion.values.data(), watch, ready);
  }
  std::vector<double> whole(kComponents * n);
  const OrientationProblem problem = track(config, *sensors, whole.data(), watch, ready);
  std::copy_n(whole.begin(), quaternion.values.size(), quaternion.values.begin());
  return problem;
}

OrientationProblem fill_narrow_orientation(std::int32_t rate_hz, const kiv_DataSensor& accel,
                                           const kiv_DataSensor& gyro, std::vector<float>* quaternion, Watch* watch) {
  const std::size_t n = std::min(accel.sampleCount, gyro.sampleCount);
  reserve_large(quaternion, kComponents * n);
  quaternion->resize(kComponents * n);
  OrientationRun run(rate_hz, n);
  return run_pieces(n, watch, [&](std::size_t count) {
    const auto first = static_cast<std::size_t>(run.done());
    const double* const piece = run.next(
        count, [&](std::uint64_t e) { return accel.values[e]; }, [&](std::uint64_t e) { return gyro.values[e]; });
    for (std::size_t k = 0; k < kComponents; ++k) {
      const double* const component = piece + k * OrientationRun::kMostSamples;
      std::transform(component, component + count, quaternion->data() + k * n + first,
                     [](double value) { return static_cast<float>(value); });
    }
  });
}

OrientationRun::OrientationRun(std::int32_t rate_hz, std::uint64_t samples)
    : tracker_(make_tracker(rate_hz)), samples_(samples) {}

void OrientationRun::fill(const tracker_series& whole, std::size_t count) {
  filter(whole, static_cast<std::size_t>(done_), count);
}

void OrientationRun::filter(const tracker_series& series, std::size_t first, std::size_t count) {
  const bool has_last = count > 0 && done_ + count == samples_;
  const std::size_t filtered = has_last ? count - 1 : count;
  run_tracker_series(tracker_.get(), &series, first, filtered);
  if (has_last) {
    for (std::size_t k = 0; k < kComponents; ++k) {
      series.quaternion[k * series.stride + first + filtered] = 0.0;
    }
  }
  done_ += count;
}

bool kiv_computeQuaternion(kiv_Config* config, SensorMap* sensors) {
  return config != nullptr && sensors != nullptr &&
         prepare_orientation(*config, sensors) == OrientationProblem::kNone &&
         fill_orientation(*config, sensors) == OrientationProblem::kNone;
}

}  // namespace vortena
