// The record, the sample buffer, the start, the resets and the position filter.
#include <gmock/gmock.h>

#include <cstring>
#include <span>

#include "tests/support/tracked_unit.h"

namespace tracker_testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FloatEq;
using ::testing::Pointwise;

TEST(TrackerState, SettersFillMatricesInRowsAndAResetForgetsAll) {
  TrackedUnit unit(100, 1);
  const tracker_state &s = unit.state, fresh = TrackedUnit(50).state;
  EXPECT_THAT(s.tuning, ElementsAre(0, 0, 1, 0.006F, 0.06F, 0.3F));
  EXPECT_EQ(s.P_pos[5][5], 0.1F);
  EXPECT_TRUE(std::isnan(get_percent_disturb_magnetometer_data(&s)));
  std::array<float, 36> counting{};
  std::iota(counting.begin(), counting.end(), 1.0F);
  set_quaternion_process_noise_cov_matrix(&unit.state, counting.data());
  set_imu_quaternion_observation_noise_cov_matrix(&unit.state, counting.data(), counting.data() + 9);
  set_position_observation_noise_cov_matrix(&unit.state, counting.data());
  EXPECT_THAT(s.Q[2], ElementsAre(9, 10, 11, 12));
  EXPECT_THAT(s.R_acc[1], ElementsAre(4, 5, 6));
  EXPECT_THAT(s.R_mag[1], ElementsAre(13, 14, 15, 0, 0, 0));
  EXPECT_THAT(s.R_pos[5], ElementsAre(31, 32, 33, 34, 35, 36));
  reset_tracker(&unit.state, 50, 0);
  EXPECT_EQ(std::memcmp(&s, &fresh, get_tracker_size()), 0);
  EXPECT_EQ(s.P_pos[5][5], 0);
}

TEST(TrackerDriver, BufferTakesTenSamplesAndGivesThemBackInOrder) {
  TrackedUnit unit;
  unit.output.fill(-7);
  unit.state.initialised = 1;
  EXPECT_EQ(unit.run(), 0);
  EXPECT_THAT(unit.output, Each(-7));
  for (int i = 0; i < 11; ++i) {
    EXPECT_EQ(unit.add({double(i), 0, 0}, kStill), i < 10 ? 1 : 0);
  }
  for (int i = 0; i < 25; ++i) {  // wraps around twice with a full buffer
    EXPECT_EQ(unit.run(), 3);
    EXPECT_EQ(unit.state.accel_norm, static_cast<float>(i));
    EXPECT_EQ(unit.add({double(i + 10), 0, 0}, kStill), 1);
  }
}

TEST(TrackerDriver, StillnessIsStrictAtTheStartAndInTheFilter) {
  const double cases[][4] = {// magnitudes; still at the start, still in the filter
                             {1, 14.9, 1, 1}, {1, 15, 0, 0},   {0.51, 0, 1, 1}, {0.5, 0, 0, 0},
                             {1.5, 0, 0, 0},  {1.24, 0, 1, 1}, {1.25, 0, 1, 0}};
  for (const auto& [accel, gyro, still_at_start, still_in_filter] : cases) {
    TrackedUnit unit;
    const Vec3 rates = gyro * Vec3{0.6, 0, 0.8};
    set_motionless_thresh(&unit.state, std::array{1.25F, 0.5F, 15.0F}.data());
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(unit.feed(kUp, kStill), 2);
    }
    EXPECT_EQ(unit.feed({0, 0, accel}, rates), still_at_start == 1 ? 3 : 2);
    for (int i = 0; i < 5 && still_at_start == 0; ++i) {
      EXPECT_EQ(unit.feed({1, 0, 0}, kStill), i < 4 ? 2 : 3);
    }
    const Vec3 up = to_earth(unit.q(), still_at_start == 1 ? kUp : Vec3{1, 0, 0});
    EXPECT_NEAR(up[2], 1, 1e-6) << "started anew, without the first samples";
    std::ranges::fill(unit.state.linear_accel, 0.0F);
    unit.feed({0, 0, accel}, rates);
    EXPECT_EQ(unit.state.moving, 1 - still_in_filter) << accel << ' ' << gyro;
  }
}

TEST(TrackerDriver, TheFirstHeadingHasTheOppositeSignAndSpoilsTheTilt) {
  const Vec3 lying{0, 1, 0}, fast{100, 0, 0};
  const auto attitude = [](double azimuth) { return turn(0, M_PI / 2) * turn(2, azimuth); };
  for (const double azimuth : {0.0, 0.7, 1.5, 2.5, -0.7, -3.0}) {  // of the field in the body frame
    const Vec3 field = to_earth(turn(2, azimuth), {20, 0, 5}), earlier = to_earth(turn(2, azimuth - 1), {20, 0, 5});
    TrackedUnit moved, abandoned;
    for (int i = 0; i < 5; ++i) {
      moved.feed(lying, fast, &earlier);
    }
    for (const Vec3& gyro : {kStill, fast}) {
      abandoned.feed(lying, gyro, &earlier);
    }
    for (TrackedUnit* unit : {&moved, &abandoned}) {
      for (int i = 0; i < 5; ++i) {
        unit->feed(lying, kStill, &field);
      }
    }
    EXPECT_LT(angle_between(moved.q(), attitude(azimuth - 0.5)), 0.01) << "of the samples before the start, too";
    EXPECT_LT(angle_between(abandoned.q(), attitude(azimuth)), 0.01) << "but not those of an abandoned collection";
    EXPECT_EQ(abandoned.state.mag_init_count, 5);
  }
  TrackedUnit vertical;
  for (int i = 0; i < 5; ++i) {
    vertical.feed(kUp, kStill, &kUp);
  }
  EXPECT_TRUE(std::isnan(vertical.q()[0]));
}

TEST(TrackerDriver, AxisTableRemapsEveryAxisBeforeUse) {
  TrackedUnit unit;
  std::ranges::copy(std::array{1, 2, 0, 5, 3, 4, 7, 6, 8}, unit.state.axis_map);
  std::ranges::copy(std::array{-1, 1, 1, 1, -1, 1, 1, 1, -1}, unit.state.axis_sign);
  unit.state.initialised = 1;
  unit.feed(kUp, {57.29577637, 2 * 57.29577637, 3 * 57.29577637});
  EXPECT_THAT(unit.state.filter_work.rates, Pointwise(FloatEq(), std::array{3.0F, -1.0F, 2.0F}));
  // Whether there is a magnetometer sample stands in the channel behind the last axis: its integer part, if it exists.
  const double flags[][3] = {{-1, 5, 0}, {9, 5, 0}, {0, 0.9, 0}, {0, 1, 1}, {0, -1, 1}};
  for (const auto& [channel, accel_y, present] : flags) {
    unit.state.mag_total_count = 0;
    unit.state.axis_map[8] = static_cast<std::int32_t>(channel);
    unit.feed({5, accel_y, 0}, kStill, &kUp);
    EXPECT_EQ(unit.state.mag_total_count, present) << channel << ' ' << accel_y;
  }
}

TEST(TrackerDriver, MagnetometerSamplesEndWithTheirSlot) {
  TrackedUnit unit;
  unit.state.initialised = 1;
  for (int i = 0; i < 40; ++i) {
    unit.feed(kUp, kStill, i % 3 == 0 ? &kUp : nullptr);
  }
  EXPECT_EQ(unit.state.mag_total_count, 14);
}

TEST(TrackerDriver, OrientationResetTakesOneSample) {
  TrackedUnit unit;
  reset_orientation(&unit.state, nullptr);
  EXPECT_EQ(unit.feed(kUp, kStill), 2);
  reset_orientation(&unit.state, std::array{0.0F, 0.6F, 0.0F, 0.8F}.data());
  EXPECT_EQ(unit.feed({9, 9, 9}, {900, 0, 0}), 1);
  EXPECT_THAT(unit.output, ElementsAre(0, 0.6F, 0, 0.8F, 0, 0, 0));
  EXPECT_EQ(unit.state.accel_norm, 0) << "the sample is used for nothing else";
  EXPECT_EQ(unit.feed(kUp, kStill), 3) << "the reset counts as initialisation";
}

TEST(TrackerDriver, LocalResetSetsQuaternionAndCovarianceAlone) {
  TrackedUnit unit;
  unit.state.linear_accel[1] = 0.5F;
  reset_orientation(&unit.state, std::array{0.0F, 0.6F, 0.0F, 0.8F}.data());
  std::ranges::fill(std::span(unit.state.P[0], 36), 7.0F);
  tracker_state expected = unit.state;
  reset_orientation_local(&unit.state);
  std::ranges::copy(std::array{0.0F, 0.6F, 0.0F, 0.8F}, expected.q);
  for (std::size_t r = 0; r < 4; ++r) {
    std::fill_n(expected.P[r], 4, 0.0F);
    expected.P[r][r] = 0.001F;
  }
  EXPECT_EQ(std::memcmp(&unit.state, &expected, sizeof expected), 0);
}

TEST(PositionFilter, IntegratesWhileMovingAndHoldsWhileMotionless) {
  TrackedUnit unit(100, 1);
  const float v1 = 0.009806F, v2 = 0.98F * v1 + v1, p1 = 0.00004903F, p2 = p1 + 0.98F * v1 * 0.01F + p1;
  const float steps[][4] = {{1, p1, v1, 0.001F}, {1, p2, v2, 0.002F}, {0, p2, 0, 0}};  // the third stands still
  for (const auto& [moving, position, velocity, covariance] : steps) {
    unit.state.moving = static_cast<std::int32_t>(moving);
    run_position_Kalman_filter(&unit.state, std::array{0.1F, 0.0F, -0.2F}.data());
    const std::array expected{position, 0.0F, -2 * position, velocity, 0.0F, -2 * velocity};
    EXPECT_THAT(unit.state.position_state, Pointwise(FloatEq(), expected));
    EXPECT_NEAR(unit.state.P_pos[0][3], covariance, 1e-6);
    EXPECT_EQ(unit.state.P_pos[4][2], 0) << "the axes are independent";
  }
  EXPECT_FLOAT_EQ(unit.state.P_pos[3][3], 4e-6F) << "zero-velocity update";
}

TEST(PositionFilter, BoundsEachComponent) {
  const float cases[][4] = {// position, velocity, and what becomes of them
                            {-2e9F, 150, -1e9F, 90},
                            {2e9F, -150, 1e9F, -90},
                            {1e9F, 100, 1e9F, 100},
                            {0, -100.1F, 0, -90}};
  for (const auto& [position, velocity, bounded_position, bounded_velocity] : cases) {
    TrackedUnit unit(1000000, 1);
    unit.state.moving = 1;
    unit.state.position_state[1] = position;
    unit.state.position_state[4] = velocity / 0.98F;
    run_position_Kalman_filter(&unit.state, narrow(kStill).data());
    EXPECT_FLOAT_EQ(unit.state.position_state[4], bounded_velocity);
    EXPECT_NEAR(unit.state.position_state[1], bounded_position, 0.001);
  }
}

TEST(PositionFilter, ResetMeasuresThePreviousStateOnce) {
  TrackedUnit unit(1000000, 1);
  unit.state.moving = 1;
  unit.state.position_state[3] = 10;
  unit.state.P_pos[3][3] = 5;
  reset_position(&unit.state, std::array{1.0F, 2.0F, 3.0F}.data(), std::array{4.0F, 5.0F, 6.0F}.data());
  reset_position(&unit.state, std::array{7.0F, 8.0F, 9.0F}.data(), nullptr);
  EXPECT_THAT(unit.state.initial_position, ElementsAre(7, 8, 9));
  EXPECT_THAT(unit.state.initial_velocity, ElementsAre(4, 5, 6));
  run_position_Kalman_filter(&unit.state, std::array{1e6F, 0.0F, 0.0F}.data());
  EXPECT_EQ(unit.state.position_reset_pending, 0);
  const double p = 0.1 + 4e-6, K = p / (p + 0.001);  // in so short a step the velocity stands alone
  EXPECT_NEAR(unit.state.position_state[3], 9.8 + 9.806 * (1 - K), 1e-4);
}

TEST(PositionFilter, ResetWeighsEveryComponentByEveryOther) {
  TrackedUnit unit(1000000, 1);
  Noise noise{std::mt19937(3)};
  std::array<float, 36> R{};
  for (std::size_t i = 0; i < 36; ++i) {
    R[i] = R[i % 6 * 6 + i / 6] = static_cast<float>(i / 6 == i % 6 ? 0.2 : noise.uniform(0.03));
  }
  set_position_observation_noise_cov_matrix(&unit.state, R.data());
  reset_position(&unit.state, narrow(kStill).data(), nullptr);
  unit.state.moving = 1;
  run_position_Kalman_filter(&unit.state, narrow(kStill).data());
  const double p = 0.1 + 4e-6;  // P before the measurement is p times the identity, so that after it (p + R) P = p R
  for (std::size_t r = 0; r < 6; ++r) {
    for (std::size_t c = 0; c < 6; ++c) {
      double sum = p * unit.state.P_pos[r][c];
      for (std::size_t k = 0; k < 6; ++k) {
        sum += R[r * 6 + k] * unit.state.P_pos[k][c];
      }
      EXPECT_NEAR(sum, p * R[r * 6 + c], 1e-6) << r << c;
    }
  }
}

TEST(PositionFilter, RunsOnlyWhenEnabled) {
  for (const int enabled : {0, 1}) {
    TrackedUnit unit(100, enabled);
    unit.output.fill(-7);
    unit.state.initialised = 1;
    unit.feed({0.5, 0, 1}, kStill);
    EXPECT_EQ(unit.output[4], enabled == 1 ? unit.state.position_state[0] : -7);
    EXPECT_EQ(unit.state.position_state[0] != 0, enabled == 1);
  }
}

}  // namespace
}  // namespace tracker_testing
