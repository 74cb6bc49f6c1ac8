// The folder comes from the script that also removes it.
#include "bench/bench_recording.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>

namespace bench {
namespace {

constexpr double kRows = 3.6e6;

Bytes simulate_rows(double rows) {
  vortena::simulator::SimulationPlan plan;
  plan.seconds = rows / plan.rate_hz;
  plan.side_channels = false;
  plan.slow_every = 5;
  return vortena::simulator::simulate(plan);
}

Bytes shuffled(const Bytes& recording) {
  std::vector<std::size_t> order;
  for (std::size_t at = vortena::kBlockSize; at < recording.size(); at += vortena::kBlockSize) {
    order.push_back(at);
  }
  std::shuffle(order.begin(), order.end(), std::mt19937(1));
  Bytes result(recording.begin(), recording.begin() + vortena::kBlockSize);
  for (const std::size_t at : order) {
    result.insert(result.end(), &recording[at], &recording[at] + vortena::kBlockSize);
  }
  return result;
}

template <typename Make>
std::string made_once(const std::string& name, Make make) {
  const std::string path = bench_file(name);
  if (!std::filesystem::exists(path)) {
    const Bytes bytes = make();
    std::ofstream out(path, std::ios::binary);
    out.exceptions(std::ios::failbit | std::ios::badbit);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  return path;
}

}  // namespace

const Bytes& recording() {
  static const Bytes bytes = simulate_rows(kRows);
  return bytes;
}

std::string bench_file(const std::string& name) {
  const char* const folder = std::getenv("BENCH_FOLDER");
  return ((folder != nullptr ? folder : std::filesystem::temp_directory_path()) / name).string();
}

std::string recording_file() {
  return made_once("recording.bin", recording);
}

std::string shuffled_recording_file() {
  return made_once("shuffled.bin", [] { return shuffled(recording()); });
}

std::string short_recording_file() {
  return made_once("short.bin", [] { return simulate_rows(kRows / 8); });
}

std::string long_recording_file() {
  return made_once("long.bin", [] { return simulate_rows(kRows * 4); });
}

std::vector<std::string> set_files() {
  std::vector<std::string> files;
  for (std::uint8_t unit = 0; unit < 4; ++unit) {
    vortena::simulator::SimulationPlan plan;
    plan.seconds = kRows / 4 / plan.rate_hz;
    plan.start_seconds = 0.3 * unit;
    plan.first_tick = 1000U * unit;
    plan.radio_role = unit == 0 ? 0 : 1;
    plan.radio_ticks_ahead = std::lround(plan.start_seconds * plan.rate_hz) - std::int64_t{plan.first_tick};
    files.push_back(made_once("unit" + std::to_string(unit) + ".bin", [&] { return simulate(plan); }));
  }
  return files;
}

void warm_memory(std::size_t bytes) {
  constexpr std::size_t kPage = 4096;
  const auto memory = std::make_unique_for_overwrite<volatile char[]>(bytes);
  for (std::size_t at = 0; at < bytes; at += kPage) {
    memory[at] = 1;
  }
}

}  // namespace bench
