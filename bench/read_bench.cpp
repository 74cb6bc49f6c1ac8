// Whole recordings, from file to CSV, on a memory file system.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

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

/// Copies the files at `csvs`, which `make()` writes where they are missing.
template <typename Make>
void run_copy(benchmark::State& state, const std::vector<std::string>& csvs, Make make) {
  const std::string folder = bench::bench_file("copies");
  std::string command = "cp";
  for (const std::string& csv : csvs) {
    command += " '" + csv + "'";
  }
  command += " '" + folder + "'";
  if (!std::filesystem::exists(csvs.front())) {
    make();
  }
  for (auto _ : state) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    bench::warm_memory(kGibibyte);
    const auto start = std::chrono::steady_clock::now();
    if (std::system(command.c_str()) != 0) {
      state.SkipWithError("the CSV cannot be copied");
    }
    state.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
  }
  std::filesystem::remove_all(folder);
}

void copy_csv(benchmark::State& state) {
  const std::string csv = bench::bench_file("library.csv");
  run_copy(state, {csv}, [&] { return vortena::BinReader2().read(bench::recording_file().c_str(), csv.c_str()); });
}
BENCHMARK(copy_csv)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void read_library_short(benchmark::State& state) {
  run_library(state, bench::short_recording_file(), "short.csv", kGibibyte);
}
BENCHMARK(read_library_short)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void read_library_long(benchmark::State& state) {
  run_library(state, bench::long_recording_file(), "long.csv", 4 * kGibibyte);
}
BENCHMARK(read_library_long)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void read_library_shuffled(benchmark::State& state) {
  run_library(state, bench::shuffled_recording_file(), "shuffled.csv", kGibibyte);
}
BENCHMARK(read_library_shuffled)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

std::string read_set() {
  return vortena::BinReader2().readAndSync(bench::set_files(), bench::bench_file(""));
}

void set_library(benchmark::State& state) {
  bench::set_files();
  run_to_file(state, bench::bench_file("unit0.csv"), 2 * kGibibyte, [&] {
    if (read_set() != "OK") {
      state.SkipWithError("the set cannot be synchronised");
    }
  });
}
BENCHMARK(set_library)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

void copy_set(benchmark::State& state) {
  std::vector<std::string> csvs;
  for (int unit = 0; unit < 4; ++unit) {
    csvs.push_back(bench::bench_file("unit" + std::to_string(unit) + ".csv"));
  }
  run_copy(state, csvs, read_set);
}
BENCHMARK(copy_set)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace
