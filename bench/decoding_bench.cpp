// Recordings into series, from memory and from files.
#include <benchmark/benchmark.h>

#include <span>

#include "bench/bench_recording.h"
#include "reader/recording.h"

namespace {

using namespace vortena;

/// From memory.
void decode_from_memory(benchmark::State& state) {
  const std::span<const std::uint8_t> bytes = bench::recording();
  for (auto _ : state) {
    Recording recording;
    benchmark::DoNotOptimize(load_recording(&recording, bytes));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes.size()));
}
BENCHMARK(decode_from_memory)->Unit(benchmark::kMillisecond);

void decode_file(benchmark::State& state, const std::string& path) {
  for (auto _ : state) {
    Recording recording;
    benchmark::DoNotOptimize(load_recording(&recording, path.c_str()));
  }
}

void decode_in_order(benchmark::State& state) {
  decode_file(state, bench::recording_file());
}
BENCHMARK(decode_in_order)->Unit(benchmark::kMillisecond);

void decode_in_random_order(benchmark::State& state) {
  decode_file(state, bench::shuffled_recording_file());
}
BENCHMARK(decode_in_random_order)->Unit(benchmark::kMillisecond);

}  // namespace
