#include "reader/quaternion_channel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace vortena::testing {
namespace {

/// Three axes: (0, 0, z), from the fifth sample on (x, 0, later_z).
kiv_DataSensor series(std::uint64_t samples, double z, double x, double later_z) {
  kiv_DataSensor sensor(3, samples);
  for (std::size_t i = 0; i < samples; ++i) {
    sensor.values[i] = i < 5 ? 0 : x;
    sensor.values[2 * samples + i] = i < 5 ? z : later_z;
    sensor.timestamps[i] = z + static_cast<double>(i);
  }
  return sensor;
}

struct Input {
  kiv_Config config;
  SensorMap sensors;

  Input(std::uint64_t accel_samples, std::uint64_t gyro_samples, double accel = 1, double gyro = 0, double tilt = 0) {
    config.accel.frequency = config.gyro.frequency = 100;
    sensors.emplace(kAccelKey, series(accel_samples, accel, accel * std::sin(tilt), accel * std::cos(tilt)));
    sensors.emplace(kGyroKey, series(gyro_samples, gyro, 0, gyro));
  }
  kiv_DataSensor& at(ChannelKey key) { return sensors.at(key); }
  const std::vector<double>& quaternions() {
    EXPECT_TRUE(kiv_computeQuaternion(&config, &sensors));
    return at(kQuaternionKey).values;
  }
};

TEST(QuaternionChannel, NeedsBothSensorsAtOneRate) {
  void (*const faults[])(Input&) = {
      [](Input& i) { i.sensors.erase(kAccelKey); },
      [](Input& i) { i.sensors.erase(kGyroKey); },
      [](Input& i) { i.config.gyro.frequency = 200; },
      [](Input& i) { i.at(kAccelKey).axisCount = 2; },
      [](Input& i) { i.at(kGyroKey) = kiv_DataSensor(4, 9); },
      [](Input& i) { i.at(kGyroKey) = kiv_DataSensor(3, 0); },
  };
  for (const auto& fault : faults) {
    Input input(9, 9);
    fault(input);
    const std::size_t entries = input.sensors.size();
    EXPECT_FALSE(kiv_computeQuaternion(&input.config, &input.sensors));
    EXPECT_EQ(input.sensors.size(), entries);
  }
  Input input(9, 9);
  EXPECT_FALSE(kiv_computeQuaternion(&input.config, nullptr) || kiv_computeQuaternion(nullptr, &input.sensors));
}

TEST(QuaternionChannel, TellsHowFarItIsAndStops) {
  Input input(20000, 20000);
  ASSERT_EQ(prepare_orientation(input.config, &input.sensors), OrientationProblem::kNone);
  Watch watch;
  std::atomic<std::uint64_t> ready = 0;
  watch.stop = 1;
  EXPECT_EQ(fill_orientation(input.config, &input.sensors, &watch, &ready), OrientationProblem::kStopped);
  EXPECT_EQ(ready, 0U);
  watch.stop = 0;
  EXPECT_EQ(fill_orientation(input.config, &input.sensors, &watch, &ready), OrientationProblem::kNone);
  EXPECT_EQ(ready, 20000U);
  EXPECT_EQ(watch.total, 20000);
  EXPECT_GT(watch.done, 10000);
}

TEST(QuaternionChannel, IsZeroBeforeTheStartAndInTheLastSample) {
  for (const std::size_t n : {1U, 9U}) {
    Input input(n, n);
    input.sensors.try_emplace(kQuaternionKey, 4, n).first->second.values.assign(4 * n, 7.0);  // overwritten
    for (std::size_t i = 0; i < 4 * n; ++i) {
      EXPECT_EQ(input.quaternions()[i], i >= 4 && i + 1 < n ? 1 : 0) << i;
    }
    EXPECT_EQ(input.at(kQuaternionKey).timestamps, input.at(kAccelKey).timestamps);
  }
}

TEST(QuaternionChannel, FillsAnEntryOfAnotherSizeAsFarAsItHasRoom) {
  const std::vector<double> expected = Input(9, 9, 1, 0, 0.1).quaternions();
  for (const auto& [axes, samples] : {std::pair{4U, 8U}, {4U, 12U}, {1U, 5U}, {5U, 9U}, {4U, 0U}}) {
    Input input(9, 9, 1, 0, 0.1);
    kiv_DataSensor& entry = input.sensors.try_emplace(kQuaternionKey, axes, samples).first->second;
    std::ranges::fill(entry.values, 7);
    std::ranges::fill(entry.timestamps, 7);
    const auto& values = input.quaternions();
    ASSERT_EQ(values.size(), axes * samples);
    const std::vector<double>& times = input.at(kAccelKey).timestamps;
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_EQ(values[i], i < expected.size() ? expected[i] : 7) << i;
    }
    for (std::size_t i = 0; i < samples; ++i) {
      EXPECT_EQ(entry.timestamps[i], i < times.size() ? times[i] : 7) << i;
    }
  }
}

TEST(QuaternionChannel, ReadsBothInputsWithTheCommonLengthAsStride) {
  const std::size_t lengths[][2] = {{50, 40}, {40, 50}};
  for (const auto& [accel_samples, gyro_samples] : lengths) {
    Input unequal(accel_samples, gyro_samples, 1, 1), expected(40, 40);
    for (const ChannelKey key : {kAccelKey, kGyroKey}) {
      std::copy_n(unequal.at(key).values.begin(), 3 * 40, expected.at(key).values.begin());
    }
    EXPECT_EQ(unequal.quaternions(), expected.quaternions());
  }
}

TEST(QuaternionChannel, StartsWithinTheThresholdsAndCorrectsTiltGently) {
  const double inputs[][3] = {{1.09, 14.9, 1}, {1.11, 0, 0}, {0.89, 0, 0}, {1, 15.1, 0}};
  for (const auto& [accel, gyro, started] : inputs) {
    EXPECT_NEAR(Input(9, 9, accel, gyro).quaternions()[4], started, 0.01) << accel << ' ' << gyro;
  }
  constexpr std::size_t kSamples = 2006;
  // P grows by 1e-5 a sample and stays far below the noise R = 10000, so the tilt closes by 4 P / R a sample.
  const double sum_of_p = 2000 * 1e-4 + 1e-5 * 2000 * 2001 / 2, tilt = 0.3 * (1 - std::exp(-4 * sum_of_p / 10000));
  EXPECT_NEAR(2 * Input(kSamples, kSamples, 1, 0, 0.3).quaternions()[3 * kSamples - 2], -tilt, 1e-4);
}

TEST(QuaternionChannel, JudgesASampleAgainstTheOneBefore) {
  // Every second magnitude lies above 1 g. While tilted by 0.03, what gravity leaves of the samples between is 0.03
  // long, so the threshold of 1.05 lies between these two; half of the samples then bring ten times the noise.
  const double cases[][2] = {{1.07, 1e-5}, {1.09, 5.5e-5}};
  for (const auto& [magnitude, noise_of_a_sample] : cases) {
    constexpr std::size_t kSamples = 2006;
    Input input(kSamples, kSamples, 1, 0, 0.03);
    for (std::size_t i = 6; i < 3 * kSamples; i += 2) {
      input.at(kAccelKey).values[i] *= magnitude;
    }
    const double sum_of_p = 2000 * 1e-4 + noise_of_a_sample * 2000 * 2001 / 2;
    const double tilt = 0.03 * (1 + magnitude) / 2 * (1 - std::exp(-4 * sum_of_p / 10000));
    EXPECT_NEAR(2 * input.quaternions()[3 * kSamples - 2] / -tilt, 1, 0.05) << magnitude;
  }
}

}  // namespace
}  // namespace vortena::testing
