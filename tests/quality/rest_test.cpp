#include "quality/rest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <string>

#include "quality/assessment.h"
#include "quality/quality_report_json.h"
#include "simulator/simulated_recording.h"

namespace vortena::testing {
namespace {

using namespace simulator;

using Vector = std::array<double, 3>;

struct Unit : Recording {
  LoadReport report;

  explicit Unit(const SimulationPlan& plan) {
    const Bytes bytes = simulate(plan);
    report = load_recording(this, std::span(bytes));
  }
  [[nodiscard]] RestEstimate rest() const { return estimate_rest(*this, report); }
};

SimulationPlan quiet_unit(double still_seconds) {
  SimulationPlan plan{.seconds = still_seconds + 10, .still_seconds = still_seconds, .side_channels = false};
  plan.accel_noise_g = 0.003;
  return plan;
}

/// Root mean square of the errors, and of the errors in standard errors, over units and axes.
struct Accuracy {
  double error = 0;
  double deviations = 0;
  double worst_deviations = 0;
};

Accuracy accuracy(double still_seconds, double noise, int units = 25) {
  Accuracy sum;
  for (int unit = 0; unit < units; ++unit) {
    SimulationPlan plan = quiet_unit(still_seconds);
    plan.gyro_noise_deg_s = noise;
    plan.noise_seed = static_cast<std::uint32_t>(unit);
    plan.gyro_bias_deg_s = {0.21 - 0.0137 * unit, -0.12 + 0.0071 * unit, 0.9 - 0.043 * unit};
    const RestEstimate rest = Unit(plan).rest();
    EXPECT_EQ(rest.problem, RestProblem::kNone);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      const double error = rest.offset_deg_s[axis] - plan.gyro_bias_deg_s[axis];
      const double deviations = error / rest.standard_error_deg_s[axis];
      sum.error += error * error / (3 * units);
      sum.deviations += deviations * deviations / (3 * units);
      sum.worst_deviations = std::max(sum.worst_deviations, std::abs(deviations));
    }
  }
  return {std::sqrt(sum.error), std::sqrt(sum.deviations), sum.worst_deviations};
}

TEST(Rest, FindsAKnownOffsetAndItsOwnError) {
  const struct {
    double still_seconds, noise, most_error;
  } cases[] = {{5, 0.1, 0.006}, {20, 0.1, 0.003}, {5, 0.02, 0.02}, {20, 0, 0.025}, {5, 0.2, 0.012}};
  for (const auto& c : cases) {
    const Accuracy found = accuracy(c.still_seconds, c.noise);
    EXPECT_LT(found.error, c.most_error) << c.still_seconds << " s, noise " << c.noise;
    EXPECT_GT(found.deviations, 0.4) << "too modest";
    EXPECT_LT(found.deviations, 1.4) << "too bold";
    EXPECT_LT(found.worst_deviations, 4.5);
  }
}

TEST(Rest, WanderWidensTheError) {
  // A first-order process: 0.03 deg/s that wander within two seconds.
  double deviations = 0;
  const int units = 30;
  std::mt19937 random(7);
  for (int i = 0; i < units; ++i) {
    SimulationPlan plan = quiet_unit(60);
    plan.gyro_noise_deg_s = 0.05;
    plan.noise_seed = static_cast<std::uint32_t>(i);
    Unit unit(plan);
    double wander = 0;
    for (std::size_t k = 0; k < unit.sensors.at(kGyroKey).sampleCount; ++k) {
      const double even = (static_cast<double>(random()) / UINT32_MAX - 0.5) * std::sqrt(12.0);
      wander += -wander / (2.0 * plan.rate_hz) + 0.03 * even / std::sqrt(plan.rate_hz);
      unit.sensors.at(kGyroKey).values[k] += wander;
    }
    const RestEstimate rest = unit.rest();
    deviations += std::pow(rest.offset_deg_s[0] / rest.standard_error_deg_s[0], 2) / units;
    EXPECT_GT(rest.standard_error_deg_s[0], 2 * rest.standard_error_deg_s[1]);
  }
  EXPECT_LT(std::sqrt(deviations), 1.6);
  EXPECT_GT(std::sqrt(deviations), 0.6);
}

TEST(Rest, IsNotFoundWhereThereIsNone) {
  const auto problem_of = [](const SimulationPlan& plan) { return Unit(plan).rest().problem; };
  SimulationPlan plan = quiet_unit(4);
  EXPECT_EQ(problem_of(plan), RestProblem::kTooLittle);
  plan.still_seconds = 0;
  EXPECT_EQ(problem_of(plan), RestProblem::kTooLittle);
  plan = quiet_unit(20);
  plan.gyro_bias_deg_s = {0, 0, 2.5};
  EXPECT_EQ(problem_of(plan), RestProblem::kNone);
  plan.gyro_bias_deg_s = {0, 0, 5};  // as of a turntable
  EXPECT_EQ(problem_of(plan), RestProblem::kTooLittle);
  plan = quiet_unit(20);
  plan.gyro_noise_deg_s = 0.6;  // as of a hand that sways
  EXPECT_EQ(problem_of(plan), RestProblem::kTooLittle);
  plan.gyro_noise_deg_s = 0;
  plan.accel_noise_g = 0.05;  // as in a car
  EXPECT_EQ(problem_of(plan), RestProblem::kTooLittle);
}

TEST(Rest, ToleratesWhatIsMissing) {
  Unit unit(quiet_unit(6));
  kiv_DataSensor gyro = unit.sensors.at(kGyroKey);
  unit.sensors.erase(kGyroKey);
  EXPECT_EQ(unit.rest().problem, RestProblem::kNoGyroscope);
  unit.sensors.emplace(kGyroKey, gyro);
  unit.config.frequency = 0;
  EXPECT_EQ(unit.rest().problem, RestProblem::kNoTimes);
  unit.sensors.erase(kAccelKey);
  EXPECT_EQ(unit.rest().problem, RestProblem::kNoAccelerometer);
  EXPECT_NE(rest_json(unit.rest()).find(R"({"found":false,"reason":"no-accelerometer","seconds":0,"offset":null)"),
            std::string::npos);
}

TEST(Rest, ComparesTheHalvesOfARecording) {
  SimulationPlan plan = quiet_unit(20);
  plan.seconds = 20;
  plan.gyro_noise_deg_s = 0.1;
  EXPECT_TRUE(Unit(plan).rest().agrees);
  EXPECT_TRUE(Unit(plan).rest().change_deg_s.has_value());
  Unit drifting(plan);
  kiv_DataSensor& gyro = drifting.sensors.at(kGyroKey);
  for (std::size_t i = gyro.sampleCount / 2; i < gyro.sampleCount; ++i) {
    gyro.values[gyro.sampleCount + i] += 0.08;
  }
  EXPECT_FALSE(drifting.rest().agrees);
  EXPECT_NEAR(drifting.rest().change_deg_s.value()[1], 0.08, 0.01);
  plan.seconds = 45;
  EXPECT_FALSE(Unit(plan).rest().change_deg_s.has_value()) << "rest in the first half only";
}

TEST(Rest, ChannelsOfOtherRatesAndLostSamplesDoNotShiftTheWindows) {
  SimulationPlan plan = quiet_unit(12);
  plan.gyro_bias_deg_s = {0.5, -0.5, 0.25};
  plan.gyro_noise_deg_s = 0.1;
  Unit unit(plan);
  kiv_DataSensor& accel = unit.sensors.at(kAccelKey);
  kiv_DataSensor sparse(3, accel.sampleCount / 4);
  for (std::size_t i = 0; i < sparse.sampleCount; ++i) {
    sparse.timestamps[i] = accel.timestamps[4 * i];
    for (std::size_t axis = 0; axis < 3; ++axis) {
      sparse.values[axis * sparse.sampleCount + i] = accel.values[axis * accel.sampleCount + 4 * i];
    }
  }
  accel = sparse;
  const RestEstimate rest = unit.rest();
  EXPECT_NEAR(rest.seconds, 12, 0.6);
  EXPECT_NEAR(rest.accel_norm_g, 1, 0.001);
  EXPECT_NEAR(rest.offset_deg_s[1], -0.5, 0.02);
  subtract_gyroscope_offset(&unit.sensors.at(kGyroKey), rest.offset_deg_s);
  for (const double left : unit.rest().offset_deg_s) {
    EXPECT_NEAR(left, 0, 1e-9);
  }
  kiv_DataSensor one_axis(1, 1);
  subtract_gyroscope_offset(&one_axis, rest.offset_deg_s);
  subtract_gyroscope_offset(nullptr, rest.offset_deg_s);
  EXPECT_EQ(one_axis.values[0], 0);
}

/// Ten seconds of rest, twenty of motion, ten of rest. In motion the unit turns about x, as it lies: three turns one
/// way.
struct TurnedUnit : Unit {
  static constexpr double kRest = 10, kMotion = 20, kTurns = 3;

  explicit TurnedUnit(const Vector& offset, double gain_error = 0) : Unit(quiet_unit(30)) {
    kiv_DataSensor& gyro = sensors.at(kGyroKey);
    kiv_DataSensor& accel = sensors.at(kAccelKey);
    const std::size_t n = gyro.sampleCount;
    double before = 0;
    for (std::size_t i = 0; i < n; ++i) {
      const double share = std::clamp((static_cast<double>(i) / 200 - kRest) / kMotion, 0.0, 1.0);
      const double angle = 2 * std::numbers::pi * kTurns * share;
      gyro.values[i] = offset[0] + (1 + gain_error) * (share - before) * 360 * kTurns * 200;
      before = share;
      gyro.values[n + i] = offset[1];
      gyro.values[2 * n + i] = offset[2];
      accel.values[i] = 0;
      accel.values[n + i] = std::sin(angle);
      accel.values[2 * n + i] = std::cos(angle);
    }
  }
  [[nodiscard]] bool has_note() const {
    const auto notes = assess(*this, report, OrientationProblem::kNone).notes;
    return std::any_of(notes.begin(), notes.end(),
                       [](const QualityNote& note) { return note.code == std::string("offset-helps-little"); });
  }
};

TEST(Rest, TellsWhetherTheOffsetIsWhatTilts) {
  const double seconds = TurnedUnit::kMotion + 9.75;  // from the first window at rest, and to the first after motion
  const double decay = 4000.0 / 200;                  // seconds of the pull to the accelerometer
  const TurnedUnit offset_alone({0.2, 0, 0});
  const TiltAtRest tilt = offset_alone.rest().tilt.value();
  EXPECT_EQ(tilt.rests, 1);
  EXPECT_NEAR(tilt.as_read_deg, 0.2 * decay * (1 - std::exp(-seconds / decay)), 0.05);
  EXPECT_LT(tilt.corrected_deg, 0.05);
  EXPECT_FALSE(offset_alone.has_note());

  const TurnedUnit wrong_gain({0.2, 0, 0}, -0.01);  // 10.8 degrees too little, partly made up for by the offset
  EXPECT_GT(wrong_gain.rest().tilt->corrected_deg, wrong_gain.rest().tilt->as_read_deg);
  EXPECT_TRUE(wrong_gain.has_note());
  EXPECT_TRUE(TurnedUnit({0, 0.1, 0}, -0.01).has_note()) << "the turns spread this offset to all sides";
  EXPECT_FALSE(TurnedUnit({0.2, 0, 0}, -0.002).has_note());
  EXPECT_FALSE(Unit(quiet_unit(20)).rest().tilt) << "no rest after the motion";
}

TEST(Rest, StretchesThatDisagreeAreNoRest) {
  Unit unit(quiet_unit(6));
  kiv_DataSensor& gyro = unit.sensors.at(kGyroKey);
  for (std::size_t i = 0; i < gyro.sampleCount; ++i) {  // each half second creeps about another axis
    gyro.values[i / 100 % 3 * gyro.sampleCount + i] += 2.4;
  }
  const RestEstimate rest = unit.rest();
  EXPECT_TRUE(rest.problem == RestProblem::kTooLittle || rest.seconds >= 4.75) << rest.seconds;
  EXPECT_TRUE(std::isfinite(rest.offset_deg_s[0]));
}

}  // namespace
}  // namespace vortena::testing
