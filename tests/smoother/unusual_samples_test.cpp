// Samples that no estimate can come from, and calls that end early: the answers are defined.
#include <gmock/gmock.h>

#include <limits>

#include "tests/support/smoothed_unit.h"

namespace smoother_testing {
namespace {

using smoother::Status;
using ::testing::Each;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinite = std::numeric_limits<double>::infinity();

MATCHER(HasLengthOne, "") {
  return std::abs(norm(arg) - 1) < 1e-9;
}

Series still(std::size_t count, const Vec3& value) {
  Series series;
  for (std::size_t i = 0; i < count; ++i) {
    series.add(0.01 * static_cast<double>(i), value);
  }
  return series;
}

TEST(UnusualSamples, FewOrNoneHaveAnAttitudeForEachSampleOfTheGyroscope) {
  const Vec3 up{0, 0.6, 0.8};
  for (const std::size_t accel_count : {0U, 1U, 2U, 500U}) {
    for (const std::size_t gyro_count : {0U, 1U, 2U, 3U, 500U}) {
      const auto [result, attitudes] = smooth(still(accel_count, up), still(gyro_count, {}));
      SCOPED_TRACE(std::to_string(accel_count) + " and " + std::to_string(gyro_count));
      EXPECT_EQ(result.status, gyro_count == 0 ? Status::kNoGyroscope : Status::kDone);
      EXPECT_EQ(result.has_accelerometer, accel_count > 0);
      EXPECT_THAT(attitudes, SizeIs(gyro_count));
      EXPECT_THAT(attitudes, Each(HasLengthOne()));
      for (const smoother::GridPoint& point : result.grid) {
        EXPECT_GT(point.inclination_error_deg, accel_count == 500 && gyro_count == 500 ? 0.1F : 5.0F);
      }
    }
  }
  const Quat first = smooth(still(500, up), still(500, {})).attitudes[0];
  EXPECT_LT(norm(to_earth(first, up) - Vec3{0, 0, 1}), 0.01);
  EXPECT_NEAR(first[3], 0, 1e-12) << "the smallest turn";
  EXPECT_NEAR(smooth(still(500, {0, 0.6, -0.8}), still(500, {})).attitudes[0][2], 0, 1e-12);
}

TEST(UnusualSamples, ArePassedOver) {
  const Recorded unit = random_recording(4, 100, 60);
  const std::vector<Quat> expected = smooth(unit.accel, unit.gyro).attitudes;
  const struct {
    double time;
    Vec3 value;
  } cases[] = {{20, {kNan, 0, 0}},
               {20, {0, -kInfinite, 0}},
               {20, {kInfinite, -kInfinite, 0}},
               {kNan, {1, 2, 3}},
               {kInfinite, {}},
               {-kInfinite, {}},
               {5, {100, 0, 0}},
               {unit.gyro.times[2499], {100, 0, 0}}};
  for (const auto& [time, value] : cases) {
    Series accel = unit.accel, gyro = unit.gyro;
    for (Series* series : {&accel, &gyro}) {
      series->times.insert(series->times.begin() + 2500, 3, time);
      series->values.insert(series->values.begin() + 2500, 3, value);
    }
    auto [result, attitudes] = smooth(accel, gyro);
    EXPECT_EQ(result.unused_gyro_samples, 3U);
    ASSERT_THAT(attitudes, SizeIs(expected.size() + 3));
    EXPECT_EQ(attitudes[2502], attitudes[2499]) << "the attitude of the sample before";
    attitudes.erase(attitudes.begin() + 2500, attitudes.begin() + 2503);
    EXPECT_EQ(attitudes, expected);
  }
}

TEST(UnusualSamples, ThatAreAllBadAreLikeNone) {
  const Series bad = still(10, {kNan, 0, 0});
  EXPECT_EQ(smooth(still(10, {0, 0, 1}), bad).result.status, Status::kNoGyroscope);
  EXPECT_THAT(smooth(still(10, {0, 0, 1}), bad).attitudes, IsEmpty());
  EXPECT_FALSE(smooth(bad, still(10, {})).result.has_accelerometer);
}

TEST(UnusualSamples, OfAnySizeMakeAttitudes) {
  Recorded unit = random_recording(4, 100, 30);
  for (std::size_t i = 1000; i < 1100; ++i) {
    unit.accel.values[i] = {1e300, -1e300, 1e300};
    unit.gyro.values[i] = {1e300, 1e9, -1e300};
  }
  unit.gyro.times.back() = 1e300;
  unit.accel.times.back() = 1e300;
  const auto [result, attitudes] = smooth(unit.accel, unit.gyro);
  EXPECT_THAT(attitudes, Each(HasLengthOne()));
  for (const smoother::GridPoint& point : result.grid) {
    EXPECT_TRUE(std::isfinite(point.inclination_error_deg));
  }
}

TEST(UnusualSamples, AtTheLimitOfARangeWidenTheUncertainty) {
  const Recorded unit = random_recording(4, 100, 60);
  const auto largest = [&](const smoother::Options& options) {
    float error = 0;
    for (const smoother::GridPoint& point : smooth(unit.accel, unit.gyro, options).result.grid) {
      error = std::max(error, point.inclination_error_deg);
    }
    return error;
  };
  const float unlimited = largest({});
  EXPECT_EQ(largest({2000, 16}), unlimited);
  EXPECT_GT(largest({30, 16}), 1.5F * unlimited) << "of the gyroscope";
  EXPECT_GT(largest({2000, 0.9}), 1.5F * unlimited) << "of the accelerometer";
}

TEST(Smoother, EndsWhenACallSaysSo) {
  const Recorded unit = random_recording(4, 100, 60);
  for (const int who : {0, 1, 2, 3, 4}) {
    SeriesSource accel(unit.accel), gyro(unit.gyro);
    Attitudes attitudes;
    accel.stop_at = who == 0 ? 3000 : SIZE_MAX;
    gyro.stop_at = who == 1 ? 3000 : SIZE_MAX;
    attitudes.stop_at = who == 2 ? 3000 : SIZE_MAX;
    attitudes.stop_at_share = who == 3 ? 0.3 : 2;
    const Status status = smoother::smooth(accel, gyro, {}, attitudes).status;
    EXPECT_EQ(status, who == 4 ? Status::kDone : Status::kStopped) << who;
    EXPECT_TRUE(attitudes.in_order);
    EXPECT_LT(attitudes.rows.size(), who == 4 ? 6001U : 6000U) << who;
  }
}

/// The same in every build and on every processor: inputs without functions of the C library, and a sum over all bits.
TEST(Smoother, HasTheSameDigitsEverywhere) {
  simulator::Noise noise(7);
  Series accel, gyro;
  Vec3 rate{}, force{0, 0, 1};
  for (std::size_t i = 0; i < 6000; ++i) {
    const bool moves = i % 2000 > 500;
    rate = moves ? 0.98 * rate + noise.added_to({}, 20) : Vec3{0.1, -0.2, 0.3};
    force = moves ? 0.9 * force + noise.added_to({0, 0, 0.1}, 0.1) : Vec3{0, 0, 1};
    const double time = 0.01 * static_cast<double>(i + (i > 4000 ? 25 : 0) + (i > 5000 ? 100 : 0));
    accel.add(time, force);
    gyro.add(time, rate);
  }
  std::uint64_t digest = 14695981039346656037U;
  for (const Quat& q : smooth(accel, gyro).attitudes) {
    for (const double element : q) {
      digest = (digest ^ std::bit_cast<std::uint64_t>(element)) * 1099511628211U;
    }
  }
  EXPECT_EQ(digest, 14527483853184233950U);
}

}  // namespace
}  // namespace smoother_testing
