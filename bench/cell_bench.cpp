// One CSV cell of five decimals.
#include <benchmark/benchmark.h>

#include <charconv>
#include <iomanip>
#include <random>
#include <sstream>
#include <vector>

#include "reader/fixed_decimal.h"

namespace {

/// Sensor values: multiples of a 16-bit full scale, some with a calibration that makes them uneven.
std::vector<double> sensor_values() {
  std::mt19937 random(1);
  std::vector<double> values;
  for (int i = 0; i < 65536; ++i) {
    const double count = static_cast<double>(random() % 65536) - 32768;
    values.push_back(i % 3 == 0 ? (count * 2000 / 32768 - 0.37) / 1.003 : count * (i % 3 == 1 ? 16 : 2000) / 32768);
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
