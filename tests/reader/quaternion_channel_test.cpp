#include "reader/quaternion_channel.h"

#include <gmock/gmock.h>

#include <cmath>
#include <functional>

#include "support/recording_builder.h"

namespace vortena::testing {
namespace {

using ::testing::Each;

/// Still at first; the x axis of both sensors counts samples in its last digits, so that shifted reading
/// shows.
kiv_DataSensor still_series(std::uint64_t samples, double z) {
  kiv_DataSensor series(3, samples);
  for (std::size_t i = 0; i < samples; ++i) {
    series.values[i] = 1e-4 * static_cast<double>(i);
    series.values[2 * samples + i] = z;
    series.timestamps[i] = 10.0 + static_cast<double>(i);
  }
  return series;
}

struct Input {
  kiv_Config config;
  SensorMap sensors;

  Input(std::uint64_t accel_samples, std::uint64_t gyro_samples) {
    config.accel.frequency = config.gyro.frequency = 100;
    sensors.emplace(kAccelKey, still_series(accel_samples, 1));
    sensors.emplace(kGyroKey, still_series(gyro_samples, 0));
  }
  bool compute() { return kiv_computeQuaternion(&config, &sensors); }
  [[nodiscard]] const kiv_DataSensor& quaternion() const { return sensors.at(kQuaternionKey); }
};

TEST(QuaternionChannel, NeedsBothSensorsAtOneRate) {
  Input null(2, 2);
  EXPECT_FALSE(kiv_computeQuaternion(nullptr, &null.sensors));
  EXPECT_FALSE(kiv_computeQuaternion(&null.config, nullptr));
  const std::function<void(Input&)> faults[] = {
      [](Input& i) { i.sensors.erase(kAccelKey); },
      [](Input& i) { i.sensors.erase(kGyroKey); },
      [](Input& i) { i.config.gyro.frequency = 200; },
      [](Input& i) { i.sensors.at(kAccelKey).axisCount = 2; },
      [](Input& i) { i.sensors.insert_or_assign(kGyroKey, kiv_DataSensor(4, 9)); },
      [](Input& i) { i.sensors.insert_or_assign(kGyroKey, kiv_DataSensor(3, 0)); },
  };
  for (const auto& fault : faults) {
    Input input(9, 9);
    fault(input);
    EXPECT_FALSE(input.compute());
    EXPECT_FALSE(input.sensors.contains(kQuaternionKey));
  }
}

TEST(QuaternionChannel, HoldsOneQuaternionASampleAndZerosWhereThereIsNone) {
  Input input(9, 9);
  ASSERT_TRUE(input.compute());
  const kiv_DataSensor& q = input.quaternion();
  EXPECT_EQ(q.timestamps, input.sensors.at(kAccelKey).timestamps);
  for (std::size_t i = 0; i < 9; ++i) {
    const double norm = std::hypot(q.values[i], std::hypot(q.values[9 + i], q.values[18 + i], q.values[27 + i]));
    EXPECT_NEAR(norm, i >= 4 && i < 8 ? 1 : 0, 1e-6) << "sample " << i;
  }
  Input one(1, 1);
  ASSERT_TRUE(one.compute());
  EXPECT_THAT(one.quaternion().values, ::testing::ElementsAre(0, 0, 0, 0));
}

TEST(QuaternionChannel, ReadsBothInputsWithTheCommonLengthAsStride) {
  Input unequal(500, 480), expected(480, 480);
  const auto& longer = unequal.sensors.at(kAccelKey).values;
  auto& shifted = expected.sensors.at(kAccelKey).values;
  std::copy_n(longer.begin(), shifted.size(), shifted.begin());
  ASSERT_TRUE(unequal.compute());
  ASSERT_TRUE(expected.compute());
  EXPECT_EQ(unequal.quaternion().sampleCount, 480U);
  EXPECT_EQ(unequal.quaternion().values, expected.quaternion().values);
}

TEST(QuaternionChannel, OverwritesAnEntryOfItsShapeAndNoOther) {
  Input input(20, 20);
  ASSERT_TRUE(input.compute());
  const auto first = input.quaternion().values;
  std::fill(input.sensors.at(kQuaternionKey).values.begin(), input.sensors.at(kQuaternionKey).values.end(), 7.0);
  ASSERT_TRUE(input.compute());
  EXPECT_EQ(input.quaternion().values, first);
  input.sensors.insert_or_assign(kQuaternionKey, kiv_DataSensor(4, 3));
  EXPECT_FALSE(input.compute());
  EXPECT_THAT(input.quaternion().values, Each(0));
}

}  // namespace
}  // namespace vortena::testing
