#include "support/simulated_recording.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "reader/bin_reader2.h"
#include "tracker/tracked_unit.h"

namespace vortena::testing {
namespace {

using tracker_testing::angle_between;
using tracker_testing::Quat;
using Row = std::vector<std::string>;

std::vector<Row> split_rows(const std::string& csv) {
  std::vector<Row> rows;
  std::istringstream lines(csv);
  for (std::string line; std::getline(lines, line);) {
    rows.emplace_back();
    std::istringstream cells(line);
    for (std::string cell; std::getline(cells, cell, ',');) { rows.back().push_back(cell); }
  }
  return rows;
}

/// Half a quantisation step of the sensor, and half a unit of the cell's last decimal.
void expect_cell(const std::string& cell, double truth, double step, double last_decimal) {
  ASSERT_FALSE(cell.empty());
  EXPECT_NEAR(std::stod(cell), truth, step / 2 + last_decimal / 2 + 1e-9);
}

TEST(SimulatedRecording, CsvAgreesWithWhatWentInCellByCell) {
  const ScratchFolder folder;
  SimulationPlan plan;
  plan.first_tick = 1;  // the row clock's first row is one tick late
  const std::string path = folder.write("unit.bin", simulate(plan));
  EXPECT_EQ(BinReader2().read(path.c_str(), folder.path("unit.csv").c_str()),
            R"({"createdAt":"2024-05-17 09:05:00","endDate":"2024-05-17 09:35:30","frequency":200,)"
            R"("version":"3","minorVersion":"4","majorVersion":"1","measureId":77})");

  const std::vector<Row> lines = split_rows(folder.read("unit.csv"));
  const std::uint32_t ticks = tick_count(plan);
  ASSERT_EQ(lines.size(), 7 + ticks);
  EXPECT_EQ(lines[2][0], "Total data points: " + std::to_string(ticks));
  std::vector<std::pair<std::uint32_t, std::string>> events;
  std::size_t events_seen = 0;
  for (std::uint32_t tick = 0; tick < ticks; ++tick) {
    SCOPED_TRACE(tick);
    const Row& row = lines[7 + tick];
    const TrueSample truth = true_sample(plan, static_cast<double>(tick) / plan.rate_hz);
    expect_cell(row[0], (tick + 1.0) / plan.rate_hz, 0, 1e-5);
    for (std::size_t axis = 0; axis < 3; ++axis) {
      expect_cell(row[1 + axis], truth.gyro_deg_s[axis], 2000.0 / 32768, 1e-5);
      expect_cell(row[4 + axis], truth.accel_g[axis], 16.0 / 32768, 1e-5);
    }
    if (tick % 8 == 0) {
      expect_cell(row[7], truth.pressure_mbar, 1.0 / 4096, 1e-3);
      expect_cell(row[8], truth.temperature_c, 0.01, 0.1);
    } else {
      EXPECT_EQ(row[7] + row[8], "");
    }
    if (tick >= 4 && tick + 1 < ticks) {  // the first five samples find the start, the last has no orientation
      Quat q{};
      for (std::size_t k = 0; k < 4; ++k) { q[k] = std::stod(row[10 + k]); }
      EXPECT_LT(angle_between(q, truth.attitude), 1.0) << "degrees";
    }
    if (const int event = true_event(plan, tick); event != 0) {
      events.emplace_back(tick, std::to_string(event) + ".000");
    }
    // The row clock adds up rounding errors, so an event at a row's very time may stand one row later.
    if (!row[9].empty()) {
      ASSERT_LT(events_seen, events.size());
      EXPECT_EQ(row[9], events[events_seen].second);
      EXPECT_LE(tick, events[events_seen++].first + 1);
    }
  }
  EXPECT_EQ(events_seen, events.size());
}

}  // namespace
}  // namespace vortena::testing
