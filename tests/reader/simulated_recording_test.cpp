#include "simulator/simulated_recording.h"

#include <gtest/gtest.h>

#include <numeric>
#include <sstream>

#include "reader/bin_reader2.h"
#include "reader/recording_file.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/tracked_unit.h"

namespace vortena::testing {
namespace {

using namespace simulator;
using namespace tracker_testing;
using reference::operator+, reference::operator-, reference::operator*;

/// Half a quantisation step of the sensor, and half a unit of the cell's last decimal.
void expect_cell(const std::string& cell, double truth, double step, double last_decimal) {
  ASSERT_FALSE(cell.empty());
  EXPECT_NEAR(std::stod(cell), truth, step / 2 + last_decimal / 2 + 1e-9);
}

TEST(SimulatedRecording, CsvAgreesWithWhatWentInCellByCell) {
  const SimulationPlan plan{.rate_hz = 256, .first_tick = 1};  // a row clock that is exact, and a tick late
  const ScratchFolder folder;
  const std::string path = folder.write("unit.bin", simulate(plan));
  EXPECT_EQ(BinReader2().read(path.c_str(), folder.path("unit.csv").c_str()),
            R"({"createdAt":"2024-05-17 09:05:00","endDate":"2024-05-17 09:05:30","frequency":256,)"
            R"("version":"3","minorVersion":"4","majorVersion":"1","measureId":77})");
  std::istringstream csv(folder.read("unit.csv"));
  std::string line;
  for (int i = 0; i < 7; ++i) {
    std::getline(csv, line);
  }
  const std::uint32_t ticks = tick_count(plan);
  for (std::uint32_t tick = 0; tick < ticks; ++tick) {
    SCOPED_TRACE(tick);
    std::getline(csv, line);
    std::istringstream cells(line);
    std::array<std::string, 14> row;
    for (std::string& cell : row) {
      std::getline(cells, cell, ',');
    }
    const TrueSample truth = true_sample(plan, static_cast<double>(tick) / plan.rate_hz);
    expect_cell(row[0], (tick + 1.0) / plan.rate_hz, 0, 1e-5);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      expect_cell(row[1 + axis], truth.gyro_deg_s[axis], 2000.0 / 32768, 1e-5);
      expect_cell(row[4 + axis], truth.accel_g[axis], 16.0 / 32768, 1e-5);
    }
    if (tick % 8 == 0) {
      expect_cell(row[7], truth.pressure_mbar, 1.0 / 4096, 1e-3);
      expect_cell(row[8], truth.temperature_c, 0.01, 0.1);
    }
    EXPECT_EQ(row[7].empty() || row[8].empty(), tick % 8 != 0);
    const int event = true_event(plan, tick);
    EXPECT_EQ(row[9], event == 0 ? "" : std::to_string(event) + ".000");
    const bool oriented = tick >= 4 && tick + 1 < ticks;  // five samples find the start, the last has none
    const Quat q{std::stod(row[10]), std::stod(row[11]), std::stod(row[12]), std::stod(row[13])};
    EXPECT_TRUE(oriented ? angle_between(q, truth.attitude) < 1.0 : q == Quat{});
  }
  EXPECT_FALSE(std::getline(csv, line));
}

SimulationPlan gait(Place place) {
  return {.seconds = 20, .still_seconds = 3, .motion = Motion::kGait, .place = place, .event_every = 0};
}

class SimulatedMotion : public ::testing::TestWithParam<SimulationPlan> {};

TEST_P(SimulatedMotion, AttitudeRatesAndAccelerationsBelongTogether) {
  const SimulationPlan& plan = GetParam();
  constexpr double kStep = 2e-4;
  Vec3 velocity{};  // g s
  double fastest = 0, hardest = 0;
  for (double t = 0; t < plan.seconds; t += kStep) {
    const TrueSample before = true_sample(plan, t), now = true_sample(plan, t + kStep / 2);
    const Quat turned = conjugate(before.attitude) * true_sample(plan, t + kStep).attitude;
    const Vec3 rate = 2 * 180 / M_PI / kStep * imaginary(turned);
    ASSERT_LT(norm(rate - now.gyro_deg_s), 0.2) << t;
    velocity = velocity + kStep * (to_earth(now.attitude, now.accel_g) - kUp);
    fastest = std::max(fastest, norm(now.gyro_deg_s));
    hardest = std::max(hardest, norm(now.accel_g));
  }
  EXPECT_LT(norm(velocity), 0.005) << "stands at the end as at the start";
  const bool walks = plan.motion == Motion::kGait;
  EXPECT_GT(fastest, walks && plan.place == Place::kFoot ? 300 : 50);
  EXPECT_GT(hardest, walks ? 1.5 : 0.999);
}

INSTANTIATE_TEST_SUITE_P(All, SimulatedMotion,
                         ::testing::Values(SimulationPlan(), gait(Place::kHip), gait(Place::kFoot)));

TEST(SimulatedRecording, SensorsErrAsPlanned) {
  SimulationPlan plan = gait(Place::kHip);
  plan.still_seconds = plan.seconds;
  plan.gyro_bias_deg_s = {0.5, -0.3, 0.2};
  plan.gyro_noise_deg_s = 0.2;
  plan.accel_noise_g = 0.005;
  const ScratchFolder folder;
  kiv_Config config;
  SensorMap sensors;
  ASSERT_TRUE(kiv_read(&config, &sensors, folder.write("unit.bin", simulate(plan)).c_str()));
  const auto expect_noise = [&](int key, std::size_t axis, double mean, double deviation) {
    const kiv_DataSensor& sensor = sensors.at(key);
    const auto n = static_cast<double>(sensor.sampleCount);
    const double* const values = &sensor.values[axis * sensor.sampleCount];
    const double sum = std::accumulate(values, values + sensor.sampleCount, 0.0);
    const double squares = std::inner_product(values, values + sensor.sampleCount, values, 0.0);
    EXPECT_NEAR(sum / n, mean, 4 * deviation / std::sqrt(n)) << key << ", " << axis;
    EXPECT_NEAR(std::sqrt(squares / n - sum / n * sum / n), deviation, 0.05 * deviation) << key << ", " << axis;
  };
  for (std::size_t axis = 0; axis < 3; ++axis) {
    expect_noise(kGyroKey, axis, plan.gyro_bias_deg_s[axis], 0.2);
    expect_noise(kAccelKey, axis, axis == 2 ? 1 : 0, 0.005);
  }
  SimulationPlan other = plan;
  other.noise_seed = 2;
  EXPECT_NE(simulate(plan), simulate(other));
  EXPECT_EQ(simulate(plan), simulate(plan));
}

}  // namespace
}  // namespace vortena::testing
