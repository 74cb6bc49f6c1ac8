// The filter against physics: known motions, closed forms, finite differences, and a second implementation.
#include <gmock/gmock.h>

#include <cstring>

#include "support/simulated_recording.h"
#include "tracker/tracked_unit.h"

namespace tracker_testing {
namespace {

using reference::operator*;
using reference::operator+;
using reference::operator-;

constexpr int kRate = 100;
const Vec3 kUp{0, 0, 1};
const Vec3 kStill{0, 0, 0};

/// A unit started at rest in an attitude whose gravity is known.
TrackedUnit started(const Vec3& accel, const Vec3* mag = nullptr) {
  TrackedUnit unit(kRate);
  for (int i = 0; i < 5; ++i) { EXPECT_EQ(unit.feed(accel, kStill, mag), i < 4 ? 2 : 3); }
  return unit;
}

TEST(Orientation, StandstillGivesTheTiltInEveryDirection) {
  Noise noise(1);
  std::vector<Vec3> directions{{1, 0, 0},     {0, -1, 0},   {0, 0, 1},    {0, 0, -1},
                               {1e-4, 0, -1}, {0, 1, 1e-7}, {0, 1, -1e-7}};
  for (int i = 0; i < 100; ++i) { directions.push_back(reference::unit(noise.vector(1))); }
  for (const Vec3& accel : directions) {
    const Vec3 earth = reference::to_earth(started(reference::unit(accel)).q(), reference::unit(accel));
    EXPECT_LT(reference::norm(earth - kUp), 2e-6) << accel[0] << ' ' << accel[1] << ' ' << accel[2];
  }
  EXPECT_EQ(started({0, 0, 1}).q(), (Quat{1, 0, 0, 0}));
  EXPECT_EQ(started({0, 0, -1}).q(), (Quat{0, 1, 0, 0}));
}

TEST(Orientation, ConstantRateTurnsAboutTheAxisOfTheBody) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    TrackedUnit unit = started(kUp);
    Vec3 rate{};
    rate[axis] = 90;
    const auto turned = [axis](double degrees) {
      Quat q{std::cos(degrees * M_PI / 360), 0, 0, 0};
      q[1 + axis] = std::sin(degrees * M_PI / 360);
      return q;
    };
    for (int i = 1; i <= 4 * kRate; ++i) { unit.feed(reference::to_body(turned(0.9 * i), kUp), rate); }
    EXPECT_LT(angle_between(unit.q(), turned(360)), 0.5) << "axis " << axis;
    EXPECT_EQ(unit.state.moving, 1);
  }
}

TEST(Orientation, SwingIsFollowedAndTiltIsPulledBack) {
  vortena::testing::SimulationPlan plan;
  TrackedUnit unit(plan.rate_hz);
  double worst = 0;
  for (int i = 0; i < 30 * plan.rate_hz; ++i) {
    const auto truth = vortena::testing::true_sample(plan, double(i) / plan.rate_hz);
    unit.feed(truth.accel_g, truth.gyro_deg_s);
    worst = std::max(worst, angle_between(unit.q(), truth.attitude));
  }
  EXPECT_LT(worst, 1.0) << "degrees, over 25 s of turning by up to 100 degrees";

  TrackedUnit tilted = started(kUp);
  const std::array<float, 4> wrong{std::cos(0.1F), std::sin(0.1F), 0, 0};
  reset_orientation(&tilted.state, wrong.data());
  for (int i = 0; i < 10 * kRate; ++i) { tilted.feed(kUp, kStill); }
  EXPECT_LT(tilt_between(tilted.q(), {1, 0, 0, 0}), 0.05);
}

TEST(Orientation, AStillUnitStaysWhereItIsForAnHour) {
  const Vec3 accel = reference::unit(Vec3{0.3, -0.5, 0.8});
  TrackedUnit unit = started(accel);
  const Quat start = unit.q();
  for (int i = 0; i < 3600 * kRate; ++i) { unit.feed(accel, kStill); }
  EXPECT_LT(angle_between(unit.q(), start), 0.01);
  EXPECT_EQ(unit.state.moving, 0);
  EXPECT_NEAR(reference::norm(unit.q()), 1, 1e-6);
  for (const float residue : unit.state.linear_accel) { EXPECT_NEAR(residue, 0, 1e-4); }
}

TEST(Orientation, JacobiansAreTheDerivativesOfTheirMeasurements) {
  Noise noise(4);
  for (int i = 0; i < 50; ++i) {
    TrackedUnit unit(kRate);
    const Quat q = reference::unit(Quat{noise.uniform(1), noise.uniform(1), noise.uniform(1), noise.uniform(1)});
    const auto set_prediction = [&] {
      for (std::size_t k = 0; k < 4; ++k) { unit.state.filter_work.q_predicted[k] = static_cast<float>(q[k]); }
    };
    // M(q) b in components, so that q need not be of unit length while it is varied.
    const auto expect_jacobian = [&](const Vec3& b) {
      constexpr double kStep = 1e-6;
      for (std::size_t k = 0; k < 4; ++k) {
        Quat ahead = q, behind = q;
        ahead[k] += kStep;
        behind[k] -= kStep;
        const Vec3 slope = 1 / (2 * kStep) * (reference::to_body(ahead, b) - reference::to_body(behind, b));
        for (std::size_t row = 0; row < 3; ++row) {
          EXPECT_NEAR(unit.state.filter_work.H[row][k], slope[row], 1e-5) << "row " << row << " column " << k;
          EXPECT_NEAR(unit.state.filter_work.h[row], reference::to_body(q, b)[row], 1e-5);
        }
      }
    };
    set_prediction();
    run_accelerometer(&unit.state, narrow(noise.vector(1)).data());
    expect_jacobian(kUp);
    set_prediction();
    const Vec3 m = noise.vector(20);
    const double s = std::clamp(reference::to_earth(q, reference::unit(m))[2], -1.0, 1.0);
    run_magnetometer_update(&unit.state, narrow(m).data());
    expect_jacobian({std::sqrt(1 - s * s), 0, s});
  }
}

/// Random wandering with still stretches, close enough to 1 g that both branches of the stillness test are
/// taken.
struct Wander {
  Noise noise{9};
  Vec3 rate{};
  Quat attitude{1, 0, 0, 0};
  int sample = 0;

  void step() {
    const bool still = sample++ / 150 % 2 == 0;
    for (double& component : rate) { component = still ? 0 : 0.9 * component + noise.uniform(40); }
    const Vec3 half = M_PI / 360 / kRate * rate;
    attitude = reference::unit(attitude * reference::unit(Quat{1, half[0], half[1], half[2]}));
  }
  [[nodiscard]] Vec3 accel() { return reference::to_body(attitude, kUp) + noise.vector(0.04); }
  [[nodiscard]] Vec3 field() { return reference::to_body(attitude, {5.8, 0, 22.2}) + noise.vector(1.5); }
};

void use_recording_settings(tracker_state* state, reference::OrientationFilter* filter) {
  std::array<float, 9> acc{}, mag{};
  acc[0] = acc[4] = acc[8] = 10000;
  mag[0] = mag[4] = mag[8] = 200000;
  set_imu_quaternion_observation_noise_cov_matrix(state, acc.data(), mag.data());
  filter->R_acc = reference::diagonal<3>(10000);
  filter->R_mag = reference::diagonal<3>(200000);
}

TEST(Orientation, FollowsASecondImplementationOnRandomMotion) {
  for (const bool with_mag : {false, true}) {
    for (const bool recording_settings : {false, true}) {
      TrackedUnit unit(kRate, 1);
      reference::OrientationFilter filter(kRate, true);
      if (recording_settings) { use_recording_settings(&unit.state, &filter); }
      Wander wander;
      for (int i = 0; i < 6000; ++i) {
        wander.step();
        const Vec3 accel = wander.accel(), field = wander.field();
        const Vec3* mag = with_mag ? &field : nullptr;
        ASSERT_EQ(unit.feed(accel, wander.rate, mag), filter.feed(accel, wander.rate, mag));
        ASSERT_EQ(unit.state.moving, filter.moving ? 1 : 0) << i;
        ASSERT_LT(reference::norm(unit.q() - filter.q), 1e-4) << i;
        for (std::size_t r = 0; r < 4; ++r) {
          for (std::size_t c = 0; c < 4; ++c) {
            const double scale = std::sqrt(filter.P[r][r] * filter.P[c][c]);
            ASSERT_NEAR(unit.state.P[r][c], filter.P[r][c], 1e-3 * scale + 1e-6) << i;
            ASSERT_NEAR(unit.state.P[r][c], unit.state.P[c][r], 1e-4 * scale + 1e-6) << "symmetry, sample " << i;
          }
          ASSERT_GT(unit.state.P[r][r], 0);
        }
      }
      EXPECT_EQ(unit.state.mag_disturbed_count, static_cast<float>(filter.mag_disturbed_count));
      EXPECT_EQ(unit.state.mag_total_count, with_mag ? 5995.0F : 0.0F);
      for (std::size_t k = 0; k < 6; ++k) {
        EXPECT_NEAR(unit.state.position_state[k], filter.position_state[k],
                    1e-3 * (1 + std::abs(filter.position_state[k])));
      }
    }
  }
}

TEST(Orientation, MagnetometerGivesTheHeading) {
  const double dip = 75.4 * M_PI / 180;
  const Vec3 field_in_earth{23 * std::cos(dip), 0, 23 * std::sin(dip)};
  TrackedUnit unit(kRate);
  const Quat east{std::cos(0.4), 0, 0, std::sin(0.4)};
  const Vec3 field = reference::to_body(east, field_in_earth);
  for (int i = 0; i < 60 * kRate; ++i) { unit.feed(kUp, kStill, &field); }
  EXPECT_LT(angle_between(unit.q(), east), 0.5);
  EXPECT_EQ(get_percent_disturb_magnetometer_data(&unit.state), 0);
}

TEST(Orientation, DisturbedSamplesChangeNothingButPAndTheCounters) {
  const double dip = 75.4 * M_PI / 180;
  const auto field_of = [](double norm, double angle) {
    return Vec3{norm * std::cos(angle), 0, norm * std::sin(angle)};
  };
  const struct {
    Vec3 field;
    bool disturbed;
  } cases[] = {{field_of(23, dip), false},
               {field_of(27.9, dip), false},
               {field_of(28.1, dip), true},
               {field_of(17.9, dip), true},
               {field_of(18.1, dip), false},
               {field_of(23, dip - 9.9 * M_PI / 180), false},
               {field_of(23, dip - 10.1 * M_PI / 180), true},
               {field_of(23, -dip), false}};
  for (const auto& c : cases) {
    TrackedUnit unit = started(kUp);
    unit.feed(kUp, kStill);
    tracker_state before = unit.state;
    const Vec3 turned{c.field[0] * 0.8, c.field[0] * 0.6, c.field[2]};
    run_magnetometer_update(&unit.state, narrow(turned).data());
    EXPECT_EQ(std::memcmp(before.q, unit.state.q, sizeof before.q) == 0, c.disturbed) << c.field[0];
    EXPECT_LT(unit.state.P[3][3], before.P[3][3]);
    EXPECT_EQ(get_percent_disturb_magnetometer_data(&unit.state), c.disturbed ? 100 : 0);
  }
}

TEST(Orientation, EntriesDifferInUnitsAndStillness) {
  TrackedUnit a = started(kUp), b = started(kUp);
  std::array<float, 3> degrees{57.2957763671875F, 0, 0};
  call_ekf_quaternion(&a.state, degrees.data(), narrow(kUp).data(), nullptr);
  EXPECT_EQ(degrees[0], 1.0F) << "radians per second after the call";
  EXPECT_EQ(a.state.moving, 1);
  const std::array<float, 3> radians{1, 0, 0};
  b.state.moving = 1;
  imu_ekf_quaternion_tracker(&b.state, radians.data(), narrow(kUp).data(), nullptr);
  EXPECT_EQ(a.q(), b.q());
  const Quat before = b.q();
  imu_ekf_quaternion_tracker(&b.state, radians.data(), nullptr, nullptr);
  EXPECT_NE(b.q(), before);
}

TEST(Orientation, DigitsAreThoseOfEveryBuild) {
  TrackedUnit unit(kRate);
  Wander wander;
  std::uint64_t digest = 14695981039346656037U;  // FNV-1a over the bits of every output
  for (int i = 0; i < 5000; ++i) {
    wander.step();
    unit.feed(wander.accel(), wander.rate);
    for (const float component : unit.state.q) {
      std::uint32_t bits = 0;
      std::memcpy(&bits, &component, sizeof bits);
      digest = (digest ^ bits) * 1099511628211U;
    }
  }
  EXPECT_EQ(digest, 2077046676788916816U);
}

}  // namespace
}  // namespace tracker_testing
