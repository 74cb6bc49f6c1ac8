// A recording's blocks into accumulators, and whole files into series.
#include <benchmark/benchmark.h>

#include <span>

#include "bench/bench_recording.h"
#include "reader/data_packages.h"
#include "reader/recording_file.h"

namespace {

using namespace vortena;

constexpr std::size_t kPieceBlocks = 512;

using Blocks = std::span<const std::uint8_t>;

void decode_blocks(PackageDecoder& decoder, Blocks blocks) {
  for (; blocks.size() >= kBlockSize; blocks = blocks.subspan(kBlockSize)) {
    decoder.decode_block(blocks.first<kBlockSize>());
  }
}

/// From memory, fresh accumulators each time.
void decode_to_accumulators(benchmark::State& state) {
  const Blocks recording = bench::recording();
  kiv_Config config;
  _readConfig(&config, recording.first<kBlockSize>());
  for (auto _ : state) {
    PackageDecoder decoder(config);
    decode_blocks(decoder, recording.first(kPieceBlocks * kBlockSize));
    decoder.reserve(recording.size() / kBlockSize, kPieceBlocks);
    decode_blocks(decoder, recording.subspan(kPieceBlocks * kBlockSize));
    benchmark::DoNotOptimize(decoder);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(recording.size()));
}
BENCHMARK(decode_to_accumulators)->Unit(benchmark::kMillisecond);

void decode_file(benchmark::State& state, const std::string& path) {
  for (auto _ : state) {
    kiv_Config config;
    SensorMap sensors;
    benchmark::DoNotOptimize(kiv_read(&config, &sensors, path.c_str()));
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
