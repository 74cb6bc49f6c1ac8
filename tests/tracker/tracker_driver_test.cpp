// The record, the sample buffer, the start, the resets and the position filter.
#include <gmock/gmock.h>

#include "tracker/tracked_unit.h"

namespace tracker_testing {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

const Vec3 kUp{0, 0, 1};
const Vec3 kStill{0, 0, 0};

TEST(TrackerState, StartsWithTheDocumentedValues) {
  TrackedUnit unit(100, 1);
  const tracker_state& s = unit.state;
  EXPECT_EQ(get_tracker_size(), sizeof(tracker_state));
  EXPECT_EQ(s.dt, 0.01F);
  EXPECT_EQ(s.half_dt, 0.005F);
  EXPECT_EQ(s.deg_per_rad, 57.2957763671875F);
  EXPECT_THAT(s.tuning, ElementsAre(0.0F, 0.0F, 1.0F, 0.006F, 0.06F, 0.3F));
  EXPECT_THAT(s.motionless_thresh, ElementsAre(1.006F, 0.06F, 18.0F));
  EXPECT_THAT(s.axis_map, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_THAT(s.axis_sign, Each(1));
  EXPECT_THAT(s.P[3], ElementsAre(0, 0, 0, 0.0001F, 0, 0));
  EXPECT_THAT(s.P[4], Each(0));
  EXPECT_THAT(s.Q[1], ElementsAre(0, 1e-5F, 0, 0));
  EXPECT_THAT(s.R_acc[2], ElementsAre(0, 0, 0.001F));
  EXPECT_THAT(s.R_mag[0], ElementsAre(0.004F, 0, 0, 0, 0, 0));
  EXPECT_THAT(s.R_pos[5], ElementsAre(0, 0, 0, 0, 0, 0.001F));
  EXPECT_THAT(s.P_pos[0], ElementsAre(0.1F, 0, 0, 0, 0, 0));
  EXPECT_THAT((std::array{s.mag_dip_tolerance, s.mag_norm_tolerance, s.mag_dip_reference, s.mag_norm_reference}),
              ElementsAre(10.0F, 5.0F, 75.4F, 23.0F));
  EXPECT_TRUE(std::isnan(get_percent_disturb_magnetometer_data(&s)));
  unit.feed(kUp, kStill);
  reset_tracker(&unit.state, 50, 0);
  EXPECT_EQ(s.still_count, 0);
  EXPECT_EQ(s.dt, 0.02F);
  EXPECT_EQ(s.P_pos[0][0], 0);
}

TEST(TrackerState, SettersFillTheirMatricesInRows) {
  TrackedUnit unit(100);
  std::array<float, 36> counting{};
  for (std::size_t i = 0; i < counting.size(); ++i) { counting[i] = static_cast<float>(i + 1); }
  set_quaternion_process_noise_cov_matrix(&unit.state, counting.data());
  set_imu_quaternion_observation_noise_cov_matrix(&unit.state, counting.data(), counting.data() + 9);
  set_position_observation_noise_cov_matrix(&unit.state, counting.data());
  set_motionless_thresh(&unit.state, counting.data());
  EXPECT_THAT(unit.state.Q[2], ElementsAre(9, 10, 11, 12));
  EXPECT_THAT(unit.state.R_acc[1], ElementsAre(4, 5, 6));
  EXPECT_THAT(unit.state.R_mag[1], ElementsAre(13, 14, 15, 0, 0, 0));
  EXPECT_THAT(unit.state.R_mag[3], Each(0));
  EXPECT_THAT(unit.state.R_pos[5], ElementsAre(31, 32, 33, 34, 35, 36));
  EXPECT_THAT(unit.state.motionless_thresh, ElementsAre(1, 2, 3));
}

TEST(TrackerDriver, BufferTakesTenSamplesAndGivesThemBackInOrder) {
  TrackedUnit unit(100);
  unit.output.fill(-7);
  EXPECT_EQ(run_tracker(&unit.state, unit.output.data()), 0);
  EXPECT_THAT(unit.output, Each(-7));
  const auto add = [&unit](int i) {
    return add_to_tracker_buffer(&unit.state, narrow({double(i), 0, 0}).data(), narrow(kStill).data(), nullptr);
  };
  unit.state.initialised = 1;
  for (int i = 0; i < 10; ++i) { EXPECT_EQ(add(i), 1); }
  EXPECT_EQ(add(10), 0);
  for (int i = 0; i < 25; ++i) {  // wraps around twice with a full buffer
    EXPECT_EQ(run_tracker(&unit.state, unit.output.data()), 3);
    EXPECT_EQ(unit.state.accel_norm, static_cast<float>(i));
    EXPECT_EQ(add(i + 10), 1);
  }
  EXPECT_THAT(unit.output, ElementsAre(::testing::_, ::testing::_, ::testing::_, ::testing::_, -7, -7, -7));
}

TEST(TrackerDriver, StartsOnTheFifthStillSampleInARow) {
  const struct {
    Vec3 accel, gyro;
    bool still;
  } cases[] = {{{0, 0, 1.05}, {10, 0, 0}, true}, {{0, 0, 1.11}, {0, 0, 0}, false}, {{0, 0, 0.89}, {0, 0, 0}, false},
               {{0, 0, 1}, {0, 0, 15}, false},   {{0, 0, 1}, {0, 0, -14.9}, true}, {{0, 0, 1}, {9, 9, 9}, false}};
  for (const auto& c : cases) {
    TrackedUnit unit(100);
    set_motionless_thresh(&unit.state, std::array{1.05F, 0.1F, 15.0F}.data());
    for (int i = 0; i < 4; ++i) { EXPECT_EQ(unit.feed(kUp, kStill), 2); }
    EXPECT_EQ(unit.feed(c.accel, c.gyro), c.still ? 3 : 2);
    if (!c.still) {
      for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(unit.feed(kUp, kStill), i < 4 ? 2 : 3) << "a moving sample starts the count anew";
      }
    }
  }
}

TEST(TrackerDriver, FieldSeenWhileMovingStaysUntilACollectionIsAbandoned) {
  TrackedUnit unit(100);
  const Vec3 field{1, 2, 3}, fast{100, 0, 0};
  unit.feed(kUp, fast, &field);
  unit.feed(kUp, fast, &field);
  EXPECT_THAT(unit.state.mag_sum, ElementsAre(2, 4, 6));
  unit.feed(kUp, kStill, &field);
  EXPECT_EQ(unit.state.mag_init_count, 3);
  unit.feed(kUp, fast, &field);
  EXPECT_THAT(unit.state.mag_sum, Each(0));
  EXPECT_EQ(unit.state.mag_init_count, 0);
}

TEST(TrackerDriver, InitialHeadingIsThatOfTheMeanField) {
  for (const double heading : {0.0, 0.7, 1.5, 2.5, -0.7, -3.0}) {
    TrackedUnit unit(100);
    const Vec3 field{20 * std::cos(heading), 20 * std::sin(heading), 5};
    for (int i = 0; i < 5; ++i) { unit.feed(kUp, kStill, &field); }
    EXPECT_LT(angle_between(unit.q(), {std::cos(heading / 2), 0, 0, std::sin(heading / 2)}), 0.01) << heading;
  }
}

TEST(TrackerDriver, AxisTableRemapsEveryAxisBeforeUse) {
  TrackedUnit unit(100);
  const std::array<std::int32_t, 9> map{1, 2, 0, 5, 3, 4, 7, 6, 8}, sign{-1, 1, 1, 1, -1, 1, 1, 1, -1};
  std::copy(map.begin(), map.end(), unit.state.axis_map);
  std::copy(sign.begin(), sign.end(), unit.state.axis_sign);
  unit.state.initialised = 1;
  const Vec3 field{20, 21, 22};
  unit.feed({10, 11, 12}, {1, 2, 3}, &field);
  EXPECT_THAT(unit.state.filter_work.rates,
              ElementsAre(3 / 57.2957763671875F, -1 / 57.2957763671875F, 2 / 57.2957763671875F));
  EXPECT_EQ(unit.state.mag_total_count, 1);
  unit.state.axis_map[8] = 9;  // then the presence flag lies outside the buffer
  unit.feed({10, 11, 12}, {1, 2, 3}, &field);
  EXPECT_EQ(unit.state.mag_total_count, 1);
}

TEST(TrackerDriver, OrientationResetTakesOneSample) {
  TrackedUnit unit(100);
  reset_orientation(&unit.state, nullptr);
  EXPECT_EQ(unit.state.orientation_reset_pending, 0);
  const std::array<float, 4> target{0, 0.6F, 0, 0.8F};
  reset_orientation(&unit.state, target.data());
  EXPECT_EQ(unit.feed({9, 9, 9}, {900, 0, 0}), 1);
  EXPECT_THAT(unit.state.q, ElementsAreArray(target));
  EXPECT_EQ(unit.output[3], 0.8F);
  EXPECT_EQ(unit.state.P[2][2], 0.001F);
  EXPECT_EQ(unit.state.accel_norm, 0) << "the sample is used for nothing else";
  EXPECT_EQ(unit.feed(kUp, kStill), 3) << "the reset counts as initialisation";
  reset_orientation_local(&unit.state);
  EXPECT_THAT(unit.state.q, ElementsAreArray(target));
  EXPECT_EQ(unit.state.orientation_reset_pending, 0);
}

TEST(PositionFilter, IntegratesWhileMovingAndHoldsWhileMotionless) {
  TrackedUnit unit(100, 1);
  const std::array<float, 3> push{0.1F, 0, -0.2F};
  unit.state.moving = 1;
  run_position_Kalman_filter(&unit.state, push.data());
  EXPECT_FLOAT_EQ(unit.state.position_state[0], 0.00004903F);
  EXPECT_FLOAT_EQ(unit.state.position_state[3], 0.009806F);
  EXPECT_FLOAT_EQ(unit.state.position_state[5], -0.019612F);
  run_position_Kalman_filter(&unit.state, push.data());
  EXPECT_FLOAT_EQ(unit.state.position_state[3], 0.98F * 0.009806F + 0.009806F);
  EXPECT_FLOAT_EQ(unit.state.position_state[0], 0.00004903F * 2 + 0.98F * 0.009806F * 0.01F);
  const float reached = unit.state.position_state[0];
  unit.state.moving = 0;
  for (int i = 0; i < 3; ++i) {
    run_position_Kalman_filter(&unit.state, push.data());
    EXPECT_EQ(unit.state.position_state[0], reached);
    EXPECT_EQ(unit.state.position_state[3], 0);
    EXPECT_FLOAT_EQ(unit.state.P_pos[3][3], 4e-6F) << "zero-velocity update";
  }
}

TEST(PositionFilter, BoundsEachComponent) {
  const struct {
    float position, velocity, bounded_position, bounded_velocity;
  } cases[] = {{-2e9F, 150, -1e9F, 90}, {2e9F, -150, 1e9F, -90}, {1e9F, 100, 1e9F, 100}, {0, -100.1F, 0, -90}};
  for (const auto& c : cases) {
    TrackedUnit unit(1000000, 1);
    unit.state.moving = 1;
    unit.state.position_state[1] = c.position;
    unit.state.position_state[4] = c.velocity / 0.98F;
    run_position_Kalman_filter(&unit.state, std::array<float, 3>{}.data());
    EXPECT_FLOAT_EQ(unit.state.position_state[4], c.bounded_velocity);
    EXPECT_NEAR(unit.state.position_state[1], c.bounded_position, 0.001);
  }
}

TEST(PositionFilter, ResetMeasuresThePreviousStateOnce) {
  TrackedUnit unit(100, 1);
  unit.state.moving = 1;
  unit.state.position_state[3] = 10;
  const std::array<float, 3> position{1, 2, 3}, velocity{4, 5, 6};
  reset_position(&unit.state, position.data(), velocity.data());
  reset_position(&unit.state, position.data(), nullptr);
  EXPECT_THAT(unit.state.initial_velocity, ElementsAreArray(velocity));
  run_position_Kalman_filter(&unit.state, std::array{1.0F, 0.0F, 0.0F}.data());
  EXPECT_EQ(unit.state.position_reset_pending, 0);
  // One axis by hand: prior P = F 0.1 F' + 4e-6, S = P + 0.001; the measurement is (0, 9.8).
  const double dt = 0.01, u = 9.806, p00 = 0.1 + 0.1 * dt * dt + 4e-6, p01 = 0.1 * dt, p11 = 0.1 + 4e-6;
  const double s00 = p00 + 1e-3, s11 = p11 + 1e-3, det = s00 * s11 - p01 * p01;
  const double x = 9.8 * dt + 0.5 * dt * dt * u, v = 9.8 + dt * u, dx = 0 - x, dv = 9.8 - v;
  const double k00 = (p00 * s11 - p01 * p01) / det, k01 = (p01 * s00 - p00 * p01) / det;
  const double k10 = (p01 * s11 - p11 * p01) / det, k11 = (p11 * s00 - p01 * p01) / det;
  EXPECT_NEAR(unit.state.position_state[0], x + k00 * dx + k01 * dv, 1e-5);
  EXPECT_NEAR(unit.state.position_state[3], v + k10 * dx + k11 * dv, 1e-5);
  EXPECT_NEAR(unit.state.P_pos[0][0], (1 - k00) * p00 - k01 * p01, 1e-6);
  EXPECT_THAT(unit.state.initial_position, ElementsAreArray(position));
}

TEST(PositionFilter, RunsOnlyWhenEnabled) {
  for (const int enabled : {0, 1}) {
    TrackedUnit unit(100, enabled);
    unit.output.fill(-7);
    unit.state.initialised = 1;
    unit.feed({0.5, 0, 1}, kStill);
    EXPECT_EQ(unit.output[4] == -7, enabled == 0);
    unit.output.fill(-7);
    apply_localization(&unit.state, unit.output.data());
    EXPECT_EQ(unit.output[4] == unit.state.position_state[0], enabled == 1);
    EXPECT_EQ(unit.output[0], -7);
  }
}

}  // namespace
}  // namespace tracker_testing
