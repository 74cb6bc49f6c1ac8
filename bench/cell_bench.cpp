// One CSV cell of five decimals.
#include <benchmark/benchmark.h>

#include <charconv>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <vector>

#include "reader/texts/fixed_decimal.h"
#include "simulator/simulated_recording.h"

namespace {

/// The inertial cells of a simulated recording, in the order of its rows: multiples of a 16-bit full scale.
std::vector<double> sensor_values() {
  const vortena::simulator::SimulationPlan plan;
  std::vector<double> values;
  const auto add = [&values](double value, double full_scale) {
    values.push_back(std::round(value / full_scale * 32768) * full_scale / 32768);
  };
  for (int i = 0; i < 10000; ++i) {
    const auto sample = vortena::simulator::true_sample(plan, i / 200.0);
    for (const double rate : sample.gyro_deg_s) {
      add(rate, 2000);
    }
    for (const double acceleration : sample.accel_g) {
      add(acceleration, 16);
    }
  }
  return values;
}

template <typename Write>
void run_cells(benchmark::State& state, Write write) {
  const std::vector<double> values = sensor_values();
  std::vector<char> buffer(values.size() * 16 + vortena::kLongestCell);
  for (auto _ : state) {
    char* to = buffer.data();
    for (const double value : values) {
      to = write(to, value);
    }
    benchmark::DoNotOptimize(to);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(values.size()));
}

void cell_library(benchmark::State& state) {
  run_cells(state, vortena::write_cell<5>);
}
BENCHMARK(cell_library);

void cell_to_chars(benchmark::State& state) {
  run_cells(state, [](char* to, double value) {
    to = std::to_chars(to, to + vortena::kLongestCell, value, std::chars_format::fixed, 5).ptr;
    *to = ',';
    return to + 1;
  });
}
BENCHMARK(cell_to_chars);

void cell_stream(benchmark::State& state) {
  const std::vector<double> values = sensor_values();
  for (auto _ : state) {
    std::ostringstream out;
    out << std::fixed << std::setprecision(5);
    for (const double value : values) {
      out << value << ',';
    }
    benchmark::DoNotOptimize(out);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(values.size()));
}
BENCHMARK(cell_stream);

}  // namespace
