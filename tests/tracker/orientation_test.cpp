// The filter against physics: known motions, closed forms, finite differences, and a second implementation.
#include <gmock/gmock.h>

#include <bit>
#include <limits>
#include <vector>

#include "tests/oracle/nested_loop_filter.h"
#include "tests/support/tracked_unit.h"

namespace tracker_testing {
namespace {

using ::testing::DoubleNear;
using ::testing::Pointwise;

/// A unit started at rest in an attitude whose gravity is known.
TrackedUnit started(const Vec3& accel) {
  TrackedUnit unit;
  for (int i = 0; i < 5; ++i) {
    unit.feed(accel, kStill);
  }
  return unit;
}

TEST(Orientation, StandstillGivesTheTiltInEveryDirection) {
  Noise noise{std::mt19937(1)};
  std::vector<Vec3> directions{{0, -1, 0}, {0, 0, -1}, {1e-4, 0, -1}, {0, 1, 1e-7}, {0, 1, -1e-7}};
  for (int i = 0; i < 100; ++i) {
    directions.push_back(unit(noise.vector(1)));
  }
  for (const Vec3& accel : directions) {
    EXPECT_LT(norm(to_earth(started(accel).q(), accel) - kUp), 2e-6) << ::testing::PrintToString(accel);
    EXPECT_THAT(started(accel).state.linear_accel, Pointwise(DoubleNear(1e-6), accel));
  }
  EXPECT_EQ(started({0, 0, -1}).q(), (Quat{0, 1, 0, 0}));
}

TEST(Orientation, ConstantRateTurnsAboutTheAxisOfTheBody) {
  for (std::size_t axis = 0; axis < 3; ++axis) {
    TrackedUnit unit = started(kUp);
    const Vec3 rate = 90 * diagonal<3>(1)[axis];
    for (int i = 1; i <= 3 * kRate; ++i) {
      unit.feed(to_body(turn(axis, i * M_PI / 2 / kRate), kUp), rate);
    }
    EXPECT_LT(angle_between(unit.q(), turn(axis, 1.5 * M_PI)), 0.5) << "axis " << axis;
  }
}

TEST(Orientation, AStillUnitStaysWhereItIsForAnHour) {
  const Vec3 accel = unit(Vec3{0.3, -0.5, 0.8});
  TrackedUnit still = started(accel);
  for (int i = 0; i < 3600 * kRate; ++i) {
    still.feed(accel, kStill);
  }
  EXPECT_LT(angle_between(still.q(), started(accel).q()), 0.01);
  EXPECT_NEAR(norm(still.q()), 1, 1e-6);
}

TEST(Orientation, JacobiansAreTheDerivativesOfTheirMeasurements) {
  Noise noise{std::mt19937(4)};
  for (int i = 0; i < 100; ++i) {
    TrackedUnit tracked;
    tracker_filter_work& work = tracked.state.filter_work;
    const bool by_field = i % 2 == 0;
    const Quat q = noise.attitude();
    const Vec3 measured = noise.vector(20), earth = to_earth(q, unit(measured));
    const Vec3 b = by_field ? Vec3{std::hypot(earth[0], earth[1]), 0, earth[2]} : kUp;
    std::ranges::copy(narrow(q), work.q_predicted);
    (by_field ? run_magnetometer_update : run_accelerometer)(&tracked.state, narrow(measured).data());
    EXPECT_THAT(work.h, Pointwise(DoubleNear(1e-5), to_body(q, b)));
    for (std::size_t k = 0; k < 4; ++k) {  // to_body is quadratic in q: a central difference of any step is exact
      const Vec3 slope = 0.5 * (to_body(q + diagonal<4>(1)[k], b) - to_body(q - diagonal<4>(1)[k], b));
      for (std::size_t row = 0; row < 3; ++row) {
        EXPECT_NEAR(work.H[row][k], slope[row], 1e-5) << row << k;
      }
    }
  }
}

/// Random wandering with still stretches, near enough to 1 g that both branches of the stillness test are taken.
struct Wander {
  Noise noise{std::mt19937(9)};
  Vec3 rate{};
  Quat attitude{1, 0, 0, 0};
  int sample = 0;

  void step() {
    const bool still = sample++ / 150 % 2 == 0;
    for (double& component : rate) {
      component = still ? 0 : 0.9 * component + noise.uniform(40);
    }
    attitude = unit(attitude * unit(Quat{1, 0, 0, 0} + pure(M_PI / 360 / kRate * rate)));
  }
  [[nodiscard]] Vec3 accel() { return to_body(attitude, kUp) + noise.vector(0.04); }
  [[nodiscard]] Vec3 field() { return to_body(attitude, {5.8, 0, 22.2}) + noise.vector(1.5); }
};

TEST(Orientation, FollowsASecondImplementationOnRandomMotion) {
  for (const auto& [with_mag, R] : {std::pair{false, 0.0F}, {true, 0.0F}, {false, 1e4F}, {true, 1e4F}}) {
    TrackedUnit unit;
    OrientationFilter filter{.dt = 1.0 / kRate};
    if (R != 0) {
      const std::array matrix{R, 0.0F, 0.0F, 0.0F, R, 0.0F, 0.0F, 0.0F, R};
      set_imu_quaternion_observation_noise_cov_matrix(&unit.state, matrix.data(), matrix.data());
      filter.R_acc = filter.R_mag = R;
    }
    unit.state.initialised = 1;
    Wander wander;
    for (int i = 0; i < 6000; ++i) {
      wander.step();
      const Vec3 accel = wander.accel(), field = wander.field();
      unit.feed(accel, wander.rate, with_mag ? &field : nullptr);
      filter.feed(accel, wander.rate, with_mag ? &field : nullptr);
      ASSERT_EQ(unit.state.moving, filter.moving ? 1 : 0) << i;
      ASSERT_LT(norm(unit.q() - filter.q), 1e-4) << i;
      ASSERT_THAT(unit.state.linear_accel, Pointwise(DoubleNear(1e-3), filter.linear_accel)) << i;
      for (std::size_t r = 0, c = 0; r < 4; c = (c + 1) % 4, r += c == 0 ? 1 : 0) {
        const double scale = std::sqrt(filter.P[r][r] * filter.P[c][c]);
        ASSERT_NEAR(unit.state.P[r][c], filter.P[r][c], 1e-3 * scale + 1e-6) << i;
        ASSERT_NEAR(unit.state.P[r][c], unit.state.P[c][r], 1e-4 * scale + 1e-6) << "symmetry, sample " << i;
        ASSERT_GT(unit.state.P[r][r], 0);
      }
    }
    EXPECT_EQ(unit.state.mag_disturbed_count, static_cast<float>(filter.mag_disturbed_count));
    EXPECT_EQ(unit.state.mag_total_count, with_mag ? 6000.0F : 0.0F);
  }
}

/// A series, by axis, and three ways through the tracker: as a series, sample by sample, and in nested loops.
struct Roads {
  static constexpr std::size_t kSamples = 3000;
  TrackedUnit pieces, singles;
  oracle::NestedLoopFilter nested{kRate};
  std::array<std::vector<double>, 2> axes;  // accelerometer, gyroscope
  std::vector<double> quaternion = std::vector<double>(4 * kSamples, 7);

  explicit Roads(std::array<float, 3> thresholds) {
    nested.thresholds = thresholds;
    nested.R = {9, 1, 2, 3, 8, 4, 5, 6, 7};  // no two alike, so that none can stand for another
    std::iota(nested.Q.begin(), nested.Q.end(), 1.0F);
    for (TrackedUnit* unit : {&pieces, &singles}) {
      set_motionless_thresh(&unit->state, thresholds.data());
      set_quaternion_process_noise_cov_matrix(&unit->state, nested.Q.data());
      set_imu_quaternion_observation_noise_cov_matrix(&unit->state, nested.R.data(), nested.R.data());
    }
    Wander wander;
    axes.fill(std::vector<double>(3 * kSamples));
    for (std::size_t i = 0; i < kSamples; ++i) {
      wander.step();
      const Vec3 accel = wander.accel();
      for (std::size_t k = 0; k < 3; ++k) {
        axes[0][k * kSamples + i] = accel[k];
        axes[1][k * kSamples + i] = wander.rate[k];
      }
    }
  }

  Vec3 sample(std::size_t sensor, std::size_t i) {
    return {axes[sensor][i], axes[sensor][kSamples + i], axes[sensor][2 * kSamples + i]};
  }
  void run_pieces(std::size_t first, std::size_t end) {
    const tracker_series series{axes[0].data(), axes[1].data(), quaternion.data(), kSamples};
    const std::size_t lengths[] = {9, 1, 2, 601};
    for (std::size_t k = 0, length = 0; first < end; first += length, ++k) {
      length = std::min(lengths[k % 4], end - first);
      run_tracker_series(&pieces.state, &series, first, length);
    }
  }
  Quat next_single(std::size_t i) { return singles.feed(sample(0, i), sample(1, i)) == 2 ? Quat{} : singles.q(); }
  std::array<float, 4> next_nested(std::size_t i) {
    nested.feed(narrow(sample(0, i)).data(), narrow(sample(1, i)).data());
    return nested.q;
  }
  Quat of_pieces(std::size_t i) {
    return {quaternion[i], quaternion[kSamples + i], quaternion[2 * kSamples + i], quaternion[3 * kSamples + i]};
  }
};

/// Equal to the bit; of what is no number, only that it is none.
MATCHER(HasSameBits, "") {
  const auto& [a, b] = arg;
  return (a == b && std::signbit(a) == std::signbit(b)) || (std::isnan(a) && std::isnan(b));
}

/// What passes from sample to sample.
std::vector<float> carried(const tracker_state& s) {
  std::vector<float> fields(s.P[0], s.P[0] + 24);
  fields.insert(fields.end(), std::begin(s.linear_accel), std::end(s.linear_accel));
  fields.insert(fields.end(), {s.q[0], s.position_state[0], s.accel_norm, static_cast<float>(s.moving)});
  return fields;
}

TEST(Orientation, SeriesSinglesAndNestedLoopsGiveTheSameBits) {
  constexpr double kInf = std::numeric_limits<double>::infinity();
  const std::array<float, 3> thresholds[] = {
      {1.05F, 0.1F, 15}, {1.0005F, 0.1F, 15}, {0.99F, 0.1F, 15}, {0.03F, 10, 1e9F}, {1e10F, 1e20F, 1e20F}};
  for (const auto& limits : thresholds) {
    for (const double spoiled : {1.0, 0.0, 1e-30, 1e-42, 1e12, 1e18, 1e25, kInf, std::nan("")}) {
      Roads roads(limits);
      roads.pieces.state.initialised = roads.singles.state.initialised = 1;
      for (std::size_t i = 2500; i < Roads::kSamples; i += 97) {
        roads.axes[i % 2][i % 3 * Roads::kSamples + i] *= spoiled;
      }
      roads.run_pieces(0, Roads::kSamples);
      for (std::size_t i = 0; i < Roads::kSamples; ++i) {
        const Quat single = roads.next_single(i);
        ASSERT_THAT(roads.next_nested(i), Pointwise(HasSameBits(), single)) << limits[0] << ' ' << spoiled << ' ' << i;
        ASSERT_THAT(roads.of_pieces(i), Pointwise(HasSameBits(), single)) << limits[0] << ' ' << spoiled << ' ' << i;
      }
      EXPECT_THAT(carried(roads.pieces.state), Pointwise(HasSameBits(), carried(roads.singles.state)));
    }
  }
}

TEST(Orientation, SeriesTakeUpTheRecordAsItIs) {
  void (*const changes[])(TrackedUnit&) = {
      [](TrackedUnit& u) {
        reset_orientation(&u.state, std::array{0.0F, 0.6F, 0.0F, 0.8F}.data());
        u.state.linear_accel[0] = 5;  // outlives the sample that the reset takes
      },
      [](TrackedUnit& u) { std::ranges::copy(narrow(u.q() * Quat{0, 1, 0, 0}), u.state.q); },
      [](TrackedUnit& u) { u.state.axis_sign[2] = -1; },
      [](TrackedUnit& u) { std::swap(u.state.axis_map[0], u.state.axis_map[4]); },
      [](TrackedUnit& u) { u.state.position_enabled = 1; },
      [](TrackedUnit& u) { u.state.linear_accel[0] = 2; },
      [](TrackedUnit& u) { std::ranges::fill(u.state.q, 2e-23F); },
      [](TrackedUnit& u) { std::ranges::fill(u.state.q, NAN); },
      [](TrackedUnit& u) { u.state.initialised = u.state.still_count = 0; },
  };
  for (const auto& change : changes) {
    Roads roads({1.05F, 0.1F, 15});
    for (std::size_t first = 0; first < Roads::kSamples; first += 1500) {
      roads.run_pieces(first, first + 1500);
      for (std::size_t i = first; i < first + 1500; ++i) {
        ASSERT_THAT(roads.of_pieces(i), Pointwise(HasSameBits(), roads.next_single(i))) << i;
      }
      EXPECT_THAT(carried(roads.pieces.state), Pointwise(HasSameBits(), carried(roads.singles.state)));
      change(roads.pieces);
      change(roads.singles);
    }
  }
}

TEST(Orientation, MagnetometerGivesTheHeading) {
  TrackedUnit unit = started(kUp);
  const Vec3 field = to_body(turn(2, 0.8), {5.8, 0, 22.2});
  for (int i = 0; i < 60 * kRate; ++i) {
    unit.feed(kUp, kStill, &field);
  }
  EXPECT_LT(angle_between(unit.q(), turn(2, 0.8)), 0.5);
  unit.state.filter_work.q_predicted[0] = 1.1F;  // rounding, too, may take the vertical part beyond 1
  run_magnetometer_update(&unit.state, narrow(field).data());
  EXPECT_NEAR(norm(unit.q()), 1, 1e-6);
}

TEST(Orientation, DisturbedSamplesChangeNothingButPAndTheCounters) {
  const struct {
    double magnitude, dip_deg;
    bool disturbed;
  } cases[] = {{23, 75.4, false}, {28.1, 75.4, true}, {23, 65.3, true}, {23, 85.5, true}, {23, -75.4, false}};
  for (const auto& [magnitude, dip_deg, disturbed] : cases) {
    TrackedUnit unit;
    unit.state.filter_work.q_predicted[0] = 1;
    const Vec3 field = to_earth(turn(2, 0.6) * turn(1, -dip_deg * M_PI / 180), {magnitude, 0, 0});
    run_magnetometer_update(&unit.state, narrow(field).data());
    EXPECT_EQ(unit.q() == (Quat{1, 0, 0, 0}), disturbed) << magnitude << ' ' << dip_deg;
    EXPECT_LT(unit.state.P[3][3], 0.0001F);
    EXPECT_EQ(get_percent_disturb_magnetometer_data(&unit.state), disturbed ? 100 : 0);
  }
}

TEST(Orientation, ADeviationAtItsToleranceIsNoDisturbance) {
  const float vertical_deg = TrackedUnit().state.deg_per_rad * std::atan(INFINITY);
  const float cases[][3] = {// magnitude, dip reference, disturbed
                            {28, vertical_deg - 8, 0},        {28.00001F, vertical_deg - 8, 1},
                            {18, vertical_deg + 8, 0},        {17.99999F, vertical_deg + 8, 1},
                            {23, vertical_deg - 8.00001F, 1}, {23, vertical_deg + 8.00001F, 1}};
  for (const auto& [magnitude, dip_reference, disturbed] : cases) {
    TrackedUnit unit;
    unit.state.filter_work.q_predicted[0] = 1;
    unit.state.mag_dip_tolerance = 8;
    unit.state.mag_dip_reference = dip_reference;
    run_magnetometer_update(&unit.state, std::array{0.0F, 0.0F, -magnitude}.data());
    EXPECT_EQ(unit.state.mag_disturbed_count, disturbed) << magnitude << ' ' << dip_reference;
  }
}

TEST(Orientation, BothSensorsWeighByTheWholeOfTheirNoise) {
  TrackedUnit by_gravity, by_field;  // a vertical field measures what gravity does
  const std::array R{9.0F, 1.0F, 2.0F, 3.0F, 8.0F, 4.0F, 5.0F, 6.0F, 7.0F};
  for (tracker_state* state : {&by_gravity.state, &by_field.state}) {
    std::ranges::copy(std::array{0.5F, 0.5F, 0.5F, 0.5F}, state->filter_work.q_predicted);
    set_imu_quaternion_observation_noise_cov_matrix(state, R.data(), R.data());
    for (int i = 0; i < 16; ++i) {
      state->filter_work.P_predicted[i / 4][i % 4] = state->P[i / 4][i % 4] =
          i % 5 == 0 ? 9.0F : static_cast<float>(i % 7);
    }
  }
  const std::array direction{0.0F, 1.0F, 0.0F}, field{0.0F, 23.0F, 0.0F};
  run_accelerometer(&by_gravity.state, direction.data());
  run_magnetometer_update(&by_field.state, field.data());
  for (int r = 0; r < 4; ++r) {
    EXPECT_THAT(by_field.state.P[r], Pointwise(DoubleNear(1e-4), by_gravity.state.P[r]));
  }
}

TEST(Orientation, EntriesDifferInUnitsAndStillness) {
  TrackedUnit a = started(kUp), b = a;
  std::array<float, 3> rates{57.2957763671875F, 0, 0};
  call_ekf_quaternion(&a.state, rates.data(), narrow(kUp).data(), nullptr);
  EXPECT_EQ(rates[0], 1.0F) << "radians per second after the call";
  b.state.moving = 1;
  imu_ekf_quaternion_tracker(&b.state, rates.data(), narrow(kUp).data(), nullptr);
  EXPECT_EQ(a.q(), b.q());
  imu_ekf_quaternion_tracker(&b.state, rates.data(), nullptr, nullptr);
  EXPECT_NE(a.q(), b.q());
}

TEST(Orientation, DigitsAreThoseOfEveryBuild) {
  TrackedUnit unit;
  const std::array R{0.9F, 0.1F, 0.2F, 0.3F, 0.8F, 0.4F, 0.5F, 0.6F, 0.7F};
  set_imu_quaternion_observation_noise_cov_matrix(&unit.state, R.data(), R.data());
  Wander wander;
  std::uint64_t digest = 14695981039346656037U;  // FNV-1a over the bits of every output
  for (int i = 0; i < 5000; ++i) {
    wander.step();
    const Vec3 accel = wander.accel();
    unit.feed(accel, wander.rate);
    for (const float q : unit.state.q) {
      digest = (digest ^ std::bit_cast<std::uint32_t>(q)) * 1099511628211U;
    }
  }
  EXPECT_EQ(digest, 17398535645821476769U);
}

}  // namespace
}  // namespace tracker_testing
