// Rotations against the C library, and the intervals' derivatives against integrating anew.
#include <gtest/gtest.h>

#include "smoother/gap_bridge.h"
#include "smoother/interval_recorder.h"
#include "tests/support/smoothed_unit.h"

namespace smoother_testing {
namespace {

using smoother::Quaternion;

TEST(Rotation, ExponentialAndItsInverseAreThoseOfTheLibrary) {
  for (const double angle : {0.0, 1e-9, 0.19, 0.21, 1.0, 3.0, 3.14159, 40.0}) {
    const Vec3 axis{0.48, -0.6, 0.64};
    const Quaternion q = smoother::exponential(angle * axis);
    EXPECT_NEAR(q.w, std::cos(angle / 2), 1e-13) << angle;
    EXPECT_NEAR(q.y, -0.6 * std::sin(angle / 2), 1e-13) << angle;
    const double shortest = std::remainder(angle, 2 * M_PI);
    for (const double sign : {1.0, -1.0}) {
      const Vec3 v = smoother::rotation_vector({sign * q.w, sign * q.x, sign * q.y, sign * q.z});
      EXPECT_LT(norm(v - shortest * axis), 1e-12) << angle;
    }
  }
}

smoother::Recorded record(const Recorded& unit, const smoother::GyroErrors& errors) {
  SeriesSource accel(unit.accel), gyro(unit.gyro);
  smoother::Recorded recorded;
  const smoother::Inputs inputs{accel, gyro, {}, 0.005, 0.005};
  smoother::record_intervals(
      inputs, [&](std::size_t, const smoother::Vec3&) { return errors; }, [](double) { return true; }, &recorded);
  return recorded;
}

TEST(Intervals, DerivativesPredictWhatOtherErrorsOfTheGyroscopeWouldGive) {
  const Recorded unit = random_recording(3, 200, 20);
  const smoother::Recorded plain = record(unit, {});
  for (std::size_t parameter = 0; parameter < 12; ++parameter) {
    constexpr double kStep = 1e-3;
    smoother::GyroErrors errors;
    const std::size_t row = parameter % 3, column = parameter / 3;
    (column == 3 ? errors.offset[row] : errors.scale.row[row][column]) = kStep;
    const smoother::Recorded changed = record(unit, errors);
    ASSERT_EQ(changed.intervals.size(), plain.intervals.size());
    for (std::size_t i = 0; i < plain.intervals.size(); ++i) {
      const smoother::Interval &a = plain.intervals[i], &b = changed.intervals[i];
      const auto attitude = [](const smoother::Interval& interval) {
        return Quaternion{interval.turn[0], interval.turn[1], interval.turn[2], interval.turn[3]};
      };
      const Vec3 turned = smoother::rotation_vector(attitude(b) * smoother::conjugate(attitude(a)));
      for (std::size_t k = 0; k < 3; ++k) {
        const float derivative = column == 3 ? a.C_sum[3 * k + row] : a.C_w_sum[column][3 * k + row];
        EXPECT_NEAR(turned[k], -kStep * static_cast<double>(derivative), 2e-2 * kStep) << parameter << ' ' << i;
      }
    }
  }
}

TEST(GapBridge, IsExactForARateThatIsACubicOfTime) {
  const double period = 0.005, gap = 0.3;
  const auto rate = [](double t) { return 2 + 3 * t - 8 * t * t; };
  smoother::GapBridge bridge(period);
  for (int i = -10; i <= 0; ++i) {
    bridge.add({rate((i - 0.5) * period), 0, 0});
  }
  bridge.open(gap);
  for (int i = 0; !bridge.ready(); ++i) {
    bridge.add({rate(gap + (i - 0.5) * period), 0, 0});
  }
  const double turned = 2 * gap + 1.5 * gap * gap - 8.0 / 3 * gap * gap * gap;
  EXPECT_NEAR(smoother::rotation_vector(bridge.close())[0], turned, 1e-4);
}

}  // namespace
}  // namespace smoother_testing
