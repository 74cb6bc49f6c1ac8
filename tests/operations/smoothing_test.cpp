// The smoother on decoded recordings; what it estimates is tested beside it.
#include "operations/smoothing.h"

#include <gmock/gmock.h>

#include <cmath>

namespace vortena::testing {
namespace {

constexpr std::uint64_t kSamples = 300;
constexpr double kDaysAway = 500000;

/// At rest, z up, with one more sample that only the header block holds.
kiv_DataSensor at_rest(double z) {
  kiv_DataSensor series(3, kSamples + 1);
  for (std::uint64_t i = 0; i <= kSamples; ++i) {
    series.timestamps[i] = i < kSamples ? static_cast<double>(i) / 100 : kDaysAway;
    series.values[2 * (kSamples + 1) + i] = i < kSamples ? z : -1;
  }
  return series;
}

struct Smoothed {
  Recording recording;
  LoadReport load;
  smoother::Result result;
  OrientationProblem problem = OrientationProblem::kNone;

  explicit Smoothed(Watch* watch = nullptr) {
    recording.config.gyro.range = 2000;
    recording.config.accel.range = 16;
    recording.sensors.emplace(kAccelKey, at_rest(1));
    recording.sensors.emplace(kGyroKey, at_rest(0));
    for (const ChannelKey key : {kAccelKey, kGyroKey}) {
      load.channels[key].header_samples = {kSamples};
    }
    problem = smooth_orientation(recording.config, load, &recording.sensors, &result, watch);
  }
};

TEST(Smoothing, LeavesSamplesOfTheHeaderBlockWithoutAnOrientation) {
  const Smoothed smoothed;
  ASSERT_EQ(smoothed.problem, OrientationProblem::kNone);
  const kiv_DataSensor& quaternion = smoothed.recording.sensors.at(kQuaternionKey);
  ASSERT_EQ(quaternion.sampleCount, kSamples + 1);
  for (std::uint64_t i = 0; i < kSamples; ++i) {
    ASSERT_NEAR(std::abs(quaternion.values[i]), 1, 1e-6) << i;
  }
  EXPECT_EQ(quaternion.values[kSamples], 0);
  EXPECT_EQ(quaternion.timestamps[kSamples], kDaysAway);
  EXPECT_THAT(smoothed.result.gaps, ::testing::IsEmpty());
  EXPECT_LT(smoothed.result.grid.back().time_s, 10);
  const SmoothingQuality quality = summary_of(smoothed.result);
  EXPECT_NEAR(quality.rest_seconds, 3, 0.6);
  EXPECT_GE(quality.largest_error_deg, quality.typical_error_deg);
}

TEST(Smoothing, StopsWhenItsWatchWantsThat) {
  Watch watch;
  watch.stop = 1;
  const Smoothed smoothed(&watch);
  EXPECT_EQ(smoothed.problem, OrientationProblem::kStopped);
  EXPECT_FALSE(smoothed.recording.sensors.contains(kQuaternionKey));
}

TEST(Smoothing, NeedsBothSensorsAndNoEqualRates) {
  SensorMap sensors;
  EXPECT_EQ(find_smoothing_problem(sensors), OrientationProblem::kNoAccelerometer);
  sensors.emplace(kAccelKey, kiv_DataSensor(3, 5));
  EXPECT_EQ(find_smoothing_problem(sensors), OrientationProblem::kNoGyroscope);
  sensors.emplace(kGyroKey, kiv_DataSensor(3, 9));
  EXPECT_EQ(find_smoothing_problem(sensors), OrientationProblem::kNone);
}

}  // namespace
}  // namespace vortena::testing
