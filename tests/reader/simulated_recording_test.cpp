#include "simulator/simulated_recording.h"

#include <gtest/gtest.h>

#include <sstream>

#include "reader/bin_reader2.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/tracked_unit.h"

namespace vortena::testing {
namespace {

using namespace simulator;

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
            R"({"createdAt":"2024-05-17 09:05:00","endDate":"2024-05-17 09:35:30","frequency":256,)"
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
    const tracker_testing::Quat q{std::stod(row[10]), std::stod(row[11]), std::stod(row[12]), std::stod(row[13])};
    EXPECT_TRUE(oriented ? tracker_testing::angle_between(q, truth.attitude) < 1.0 : q == tracker_testing::Quat{});
  }
  EXPECT_FALSE(std::getline(csv, line));
}

}  // namespace
}  // namespace vortena::testing
