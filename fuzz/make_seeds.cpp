// make_seeds FOLDER: writes a seed corpus for every fuzz target into FOLDER/TARGET, from simulated recordings.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>

#include "simulator/simulated_recording.h"

using namespace vortena::simulator;

namespace {

Bytes bytes_of(const std::string& text) {
  return {text.begin(), text.end()};
}

Bytes doubles(const std::vector<double>& values) {
  Bytes bytes(values.size() * sizeof(double));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

Bytes first_blocks(const Bytes& bytes, std::size_t count) {
  const std::size_t size = std::min(bytes.size(), count * vortena::kBlockSize);
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

/// A short recording in which everything happens: a still start, motion, events, all channels.
Bytes short_recording(std::uint32_t first_tick = 0, std::uint8_t radio_role = 0) {
  SimulationPlan plan;
  plan.seconds = 1;
  plan.still_seconds = 0.2;
  plan.rate_hz = 50;
  plan.event_every = 9;
  plan.first_tick = first_tick;
  plan.radio_role = radio_role;
  plan.radio_ticks_ahead = radio_role * 7;
  return simulate(plan);
}

/// Blocks the other way round behind the header.
Bytes reversed(const Bytes& bytes) {
  Bytes turned = first_blocks(bytes, 1);
  for (std::size_t end = bytes.size(); end > vortena::kBlockSize; end -= vortena::kBlockSize) {
    turned.insert(turned.end(), bytes.begin() + static_cast<std::ptrdiff_t>(end - vortena::kBlockSize),
                  bytes.begin() + static_cast<std::ptrdiff_t>(end));
  }
  return turned;
}

Bytes legacy_header() {
  const Bytes calibration = be_axes({0, -1, 1}, 4);
  const Bytes gains = be_axes({1, 1, 2}, 4);
  const BlockArray block = header(17)
                               .frame(2, 0, join({{19, 100, 16}, calibration, gains}))
                               .frame(2, 1, join({{20, 100, 250}, calibration, gains}))
                               .frame(2, 2, {21, 25})
                               .frame(1, 2, be(314, 4))
                               .frame(1, 5, {1, 12})
                               .frame(3, 7, join({{9}, be(1000, 4), {1}, be(2, 2)}))
                               .frame(3, 9, join({{2}, be(1, 4), be(2, 4), {5}}))
                               .frame(3, 18, Bytes(21, 3))
                               .bytes();
  return {block.begin(), block.end()};
}

/// Names are given in order, as the fuzzer does not care for them.
void write_corpus(const std::filesystem::path& folder, const std::vector<Bytes>& inputs) {
  std::filesystem::create_directories(folder);
  for (std::size_t i = 0; i < inputs.size(); ++i) {
    std::ofstream file(folder / ("seed-" + std::to_string(i)), std::ios::binary);
    file.write(reinterpret_cast<const char*>(inputs[i].data()), static_cast<std::streamsize>(inputs[i].size()));
    file.exceptions(std::ios::failbit);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::fputs("usage: make_seeds FOLDER\n", stderr);
    return EXIT_FAILURE;
  }
  const std::filesystem::path folder = argv[1];
  const Bytes recording = short_recording();
  const Bytes slave = short_recording(20, 1);
  write_corpus(folder / "header_block", {first_blocks(recording, 1), legacy_header(), bytes_of("KV"), {}});
  write_corpus(folder / "recording", {recording, first_blocks(recording, 3), reversed(recording), legacy_header()});
  write_corpus(
      folder / "recording_set",
      {join({recording, slave}), join({recording, slave, slave}),
       join({first_blocks(slave, 4), first_blocks(recording, 4), first_blocks(slave, 3), first_blocks(slave, 2)})});
  write_corpus(folder / "configuration_text",
               {bytes_of("device,1234,2,5:firmware,3,1,0:radio,1,12:accel,200,16,-5,0,0,1,1,1"),
                bytes_of("gyro,100,200,0,0,0,1,1,1:baro,25:unknownFrames,S1YDBQMBAgP//g=="), bytes_of("x::,"),
                bytes_of("device,-1, +7,2147483648")});
  write_corpus(folder / "csv_cell", {doubles({0.5, -0.25, 1e-5, 0.000005, 1e17, 12345.678905}),
                                     doubles({0.0, -0.0, 5e-324, 1.7976931348623157e308, 10995116.27776})});
  return EXIT_SUCCESS;
} catch (const std::exception& failure) {
  std::fprintf(stderr, "%s\n", failure.what());
  return EXIT_FAILURE;
}
