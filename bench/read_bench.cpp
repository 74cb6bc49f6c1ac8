// Whole recordings, from file to CSV, on a memory file system.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "bench/bench_recording.h"
#include "reader/bin_reader2.h"
#include "tests/oracle/straightforward_reader.h"

namespace {

constexpr std::size_t kGibibyte = std::size_t{1} << 30;

/// Times `make()`, which writes the file `out` and takes less than `memory` bytes for it. Removing an older file and
/// warming the memory is nobody's work.
template <typename Make>
void run_to_file(benchmark::State& state, const std::string& out, std::size_t memory, Make make) {
  for (auto _ : state) {
    std::filesystem::remove(out);
    bench::warm_memory(memory);
    const auto start = std::chrono::steady_clock::now();
    make();
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
}

void run_library(benchmark::State& state, const std::string& recording, const char* name, std::size_t memory) {
  const std::string csv = bench::bench_file(name);
  run_to_file(state, csv, memory,
              [&] { benchmark::DoNotOptimize(vortena::BinReader2().read(recording.c_str(), csv.c_str())); });
}

void read_straightforward(benchmark::State& state) {
  const std::string recording = bench::recording_file();
  const std::string csv = bench::bench_file("straightforward.csv");
  run_to_file(state, csv, 2 * kGibibyte, [&] { oracle::straightforward_read(recording.c_str(), csv.c_str()); });
}
BENCHMARK(read_straightforward)->Repetitions(3)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void read_library(benchmark::State& state) {
  run_library(state, bench::recording_file(), "library.csv", kGibibyte);
  const std::string csv = bench::bench_file("library.csv"), rival = bench::bench_file("straightforward.csv");
  if (std::filesystem::exists(rival) && std::system(("cmp '" + csv + "' '" + rival + "'").c_str()) != 0) {
    state.SkipWithError("the library and its straightforward rival write different texts");
  }
}
BENCHMARK(read_library)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void copy_csv(benchmark::State& state) {
  const std::string csv = bench::bench_file("library.csv"), copy = bench::bench_file("copy.csv");
  if (!std::filesystem::exists(csv)) {
    vortena::BinReader2().read(bench::recording_file().c_str(), csv.c_str());
  }
  run_to_file(state, copy, kGibibyte, [&] {
    if (std::system(("cp '" + csv + "' '" + copy + "'").c_str()) != 0) {
      state.SkipWithError("the CSV cannot be copied");
    }
  });
  std::filesystem::remove(copy);
}
BENCHMARK(copy_csv)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void read_library_ten_times(benchmark::State& state) {
  run_library(state, bench::long_recording_file(), "long.csv", 8 * kGibibyte);
}
BENCHMARK(read_library_ten_times)->Repetitions(3)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
