// The smoother against simulated motions whose attitude is known.
#include <gmock/gmock.h>

#include <algorithm>

#include "tests/support/smoothed_unit.h"

namespace smoother_testing {
namespace {

using simulator::Place;
using ::testing::SizeIs;

TEST(Smoother, KnowsTheInclinationAndHowWell) {
  double within = 0, claimed = 0, squares = 0, count = 0;
  for (std::uint32_t seed = 1; seed <= 12; ++seed) {
    const Recorded unit = random_recording(seed);
    const auto [result, attitudes] = smooth(unit.accel, unit.gyro);
    ASSERT_THAT(attitudes, SizeIs(unit.truth.size()));
    std::size_t point = 0;
    for (std::size_t i = 0; i < attitudes.size(); ++i) {
      while (point + 1 < result.grid.size() && result.grid[point + 1].time_s <= unit.gyro.times[i]) {
        ++point;
      }
      const double error = Difference(attitudes[i], unit.truth[i]).inclination;
      const auto sigma = static_cast<double>(result.grid[point].inclination_error_deg);
      within += error < 2 * sigma ? 1 : 0;
      claimed += sigma * sigma;
      squares += error * error;
      count += 1;
    }
    EXPECT_LT(Errors(attitudes, unit.truth).inclination, 1) << "seed " << seed;
  }
  EXPECT_LT(std::sqrt(squares / count), 0.45) << "an offset of 5 mg alone makes 0.3 degrees and more";
  EXPECT_GT(within / count, 0.95);
  EXPECT_LT(std::sqrt(claimed / count), 1.2) << "what is claimed is not just large";
}

TEST(Smoother, NeedsNoRestAndNoStillStart) {
  const auto swing = [](double t) { return simulator::swing_motion(t + 3); };
  simulator::SensorErrors errors;
  errors.gyro_offset_deg_s = {0.4, -0.3, 0.2};
  const Recorded unit(swing, 200, 120, errors);
  const auto [result, attitudes] = smooth(unit.accel, unit.gyro);
  EXPECT_LT(Errors(attitudes, unit.truth).inclination, 0.3);
  EXPECT_LT(Errors(attitudes, unit.truth).heading, 0.5);
  EXPECT_THAT(result.rest, SizeIs(0));
  const smoother::GridPoint& middle = result.grid[result.grid.size() / 2];
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_NEAR(static_cast<double>(middle.gyro_offset_deg_s[k]), errors.gyro_offset_deg_s[k], 0.02) << "axis " << k;
  }
}

TEST(Smoother, FollowsAnOffsetThatDriftsOverAnHourOfWalking) {
  simulator::SensorErrors errors = simulator::likely_errors(5);
  errors.gyro_warming_deg_s = {0.3, -0.2, 0.25};
  errors.gyro_wander_deg_s = 0;
  const Recorded unit([](double t) { return simulator::walking_day(Place::kHip, t); }, 50, 3600, errors);
  const auto [result, attitudes] = smooth(unit.accel, unit.gyro);
  EXPECT_LT(Errors(attitudes, unit.truth).inclination, 0.8);
  for (const smoother::GridPoint& point : result.grid) {
    const double warmth = 1 - std::exp(-point.time_s / 600);
    for (std::size_t k = 0; k < 3; ++k) {
      const double truth = errors.gyro_offset_deg_s[k] + warmth * errors.gyro_warming_deg_s[k];
      ASSERT_NEAR(static_cast<double>(point.gyro_offset_deg_s[k]), truth, 0.06) << point.time_s << " s, axis " << k;
    }
  }
  ASSERT_THAT(result.rest, SizeIs(30));
  EXPECT_NEAR(result.rest[1].from_s, 120, 1.5);
  EXPECT_NEAR(result.rest[1].to_s, 140, 0.5);
}

TEST(Smoother, FindsErrorsOfScaleThatTurnsShow) {
  simulator::SensorErrors errors;
  errors.gyro_scale = {0.012, 0.004, 0, -0.003, -0.009, 0.002, 0, 0.005, 0.01};
  const simulator::RandomMotion motion(8);
  const Recorded unit([&](double t) { return motion.at(t); }, 200, 300, errors);
  const auto [result, attitudes] = smooth(unit.accel, unit.gyro);
  for (std::size_t k = 0; k < 9; ++k) {
    EXPECT_NEAR(result.gyro_scale_error[k], errors.gyro_scale[k], 3 * result.gyro_scale_sigma[k]) << k;
  }
  for (const std::size_t axis : {0U, 1U, 2U}) {
    EXPECT_LT(result.gyro_scale_sigma[4 * axis], 0.007) << "less than the 1 % that is assumed before";
  }
}

/// Attitudes that must be the same but for a constant heading.
void expect_alike(const std::vector<Quat>& a, const std::vector<Quat>& b, double tolerance_deg) {
  ASSERT_EQ(a.size(), b.size());
  const Quat heading = operator*(a[0], conjugate(b[0]));
  double worst = Difference(a[0], b[0]).inclination;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const Quat d = operator*(conjugate(heading), operator*(a[i], conjugate(b[i])));
    worst = std::max(worst, 2 * std::atan2(norm(imaginary(d)), std::abs(d[0])) * kDegrees);
  }
  EXPECT_LT(worst, tolerance_deg);
}

class Invariance : public ::testing::Test {
 protected:
  Recorded unit = random_recording(3);
  std::vector<Quat> expected = smooth(unit.accel, unit.gyro).attitudes;
};

TEST_F(Invariance, OfTheBodysAxes) {
  const Quat turns[] = {{0.5, 0.5, 0.5, 0.5}, {0.6, 0, 0.64, 0.48}};
  for (const Quat& turn : turns) {
    Recorded turned = unit;
    for (std::size_t i = 0; i < unit.truth.size(); ++i) {
      turned.accel.values[i] = to_earth(turn, unit.accel.values[i]);
      turned.gyro.values[i] = to_earth(turn, unit.gyro.values[i]);
    }
    std::vector<Quat> attitudes = smooth(turned.accel, turned.gyro).attitudes;
    for (Quat& q : attitudes) {
      q = operator*(q, turn);
    }
    // What is assumed of scale and alignment belongs to the axes, so only turns of axes into axes change nothing.
    expect_alike(attitudes, expected, turn[0] == 0.5 ? 1e-4 : 0.6);
  }
}

TEST_F(Invariance, OfTheDirectionOfTime) {
  Recorded reversed = unit;
  const std::size_t n = unit.truth.size();
  for (std::size_t i = 0; i + 1 < n; ++i) {  // a sample is the mean since the one before
    reversed.accel.times[i] = reversed.gyro.times[i] = -unit.gyro.times[n - 2 - i];
    reversed.accel.values[i] = unit.accel.values[n - 1 - i];
    reversed.gyro.values[i] = -1 * unit.gyro.values[n - 1 - i];
  }
  for (Series* series : {&reversed.accel, &reversed.gyro}) {
    series->times.resize(n - 1);
    series->values.resize(n - 1);
  }
  std::vector<Quat> attitudes = smooth(reversed.accel, reversed.gyro).attitudes;
  std::ranges::reverse(attitudes);
  expected.pop_back();
  expect_alike(attitudes, expected, 0.6);
}

TEST_F(Invariance, OfAConstantOffset) {
  Recorded offset = unit;
  for (Vec3& rate : offset.gyro.values) {
    rate = rate + Vec3{0.5, -0.4, 0.3};
  }
  expect_alike(smooth(offset.accel, offset.gyro).attitudes, expected, 0.2);
}

TEST_F(Invariance, OfTheClock) {
  Recorded later = unit;
  for (std::size_t i = 0; i < unit.truth.size(); ++i) {
    later.accel.times[i] += 1048576;
    later.gyro.times[i] += 1048576;
  }
  expect_alike(smooth(later.accel, later.gyro).attitudes, expected, 1e-4);
}

TEST(Smoother, PairsSamplesByTheirTimes) {
  const Recorded unit = random_recording(2, 200);
  const double whole = Errors(smooth(unit.accel, unit.gyro).attitudes, unit.truth).inclination;
  const auto judge = [&](const Series& accel) { return Errors(smooth(accel, unit.gyro).attitudes, unit.truth); };
  Series late = unit.accel;  // in a clock that the samples of the gyroscope fall between
  for (std::size_t i = 1; i < late.times.size(); ++i) {
    late.times[i] -= 0.002;
    late.values[i] = unit.accel.values[i] + 0.4 * (unit.accel.values[i - 1] - unit.accel.values[i]);
  }
  EXPECT_LT(judge(without(unit.accel, [](std::size_t i, double) { return i % 97 == 5; })).inclination, whole + 0.02);
  EXPECT_LT(judge(without(unit.accel, [](std::size_t, double t) { return t < 7 || t > 100; })).inclination,
            whole + 0.3);
  EXPECT_LT(judge(late).inclination, whole + 0.05);
  Series half;
  for (std::size_t i = 1; i < unit.gyro.times.size(); i += 2) {
    half.add(unit.gyro.times[i], 0.5 * (unit.gyro.values[i] + unit.gyro.values[i - 1]));
  }
  std::vector<Quat> truth;
  for (std::size_t i = 1; i < unit.truth.size(); i += 2) {
    truth.push_back(unit.truth[i]);
  }
  EXPECT_LT(Errors(smooth(unit.accel, half).attitudes, truth).inclination, whole + 0.1) << "gyroscope at half the rate";
}

TEST(Smoother, BridgesShortGapsAndStartsAnewBehindLongOnes) {
  const Recorded unit = random_recording(2, 200);
  for (const double seconds : {0.3, 20.0}) {
    const auto in_gap = [&](std::size_t, double t) { return t > 60.001 && t < 60.001 + seconds; };
    const Series accel = without(unit.accel, in_gap), gyro = without(unit.gyro, in_gap);
    const auto [result, attitudes] = smooth(accel, gyro);
    ASSERT_THAT(result.gaps, SizeIs(1));
    EXPECT_NEAR(result.gaps[0].stretch.to_s - result.gaps[0].stretch.from_s, seconds, 0.011);
    EXPECT_EQ(result.gaps[0].turned, seconds < 1);
    std::vector<Quat> truth;
    for (std::size_t i = 0; i < unit.truth.size(); ++i) {
      if (!in_gap(i, unit.gyro.times[i])) {
        truth.push_back(unit.truth[i]);
      }
    }
    EXPECT_LT(Errors(attitudes, truth).inclination, 0.6);
    if (seconds < 1) {
      EXPECT_LT(Errors(attitudes, truth).heading, 3);
    }
  }
}

}  // namespace
}  // namespace smoother_testing
