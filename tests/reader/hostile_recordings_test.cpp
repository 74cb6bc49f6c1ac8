// Recordings made to take long: processor time per byte, against a typical one of the same size.
#include <gtest/gtest.h>

#include <ctime>
#include <functional>
#include <limits>
#include <random>

#include "reader/bin_reader2.h"
#include "simulator/recording_builder.h"
#include "simulator/simulated_recording.h"
#include "tests/support/scratch_folder.h"

namespace vortena::testing {
namespace {

using namespace simulator;

constexpr std::size_t kBlocks = 1000;
constexpr int kPairs = 31;  // of accelerometer and gyroscope in a block
constexpr std::int64_t kLargest = INT32_MAX;
constexpr Axes kOneG{0, 0, 2048};

using FillBlock = std::function<BlockArray(std::size_t index)>;

Bytes with_blocks(const HeaderBuilder& header, const FillBlock& fill) {
  std::vector<BlockArray> blocks{header.bytes()};
  for (std::size_t i = 0; i < kBlocks; ++i) {
    blocks.push_back(fill(i));
  }
  return recording(blocks);
}

BlockArray pairs(std::uint32_t base, int first_delta, int step, const Axes& accel, const Axes& gyro) {
  BlockBuilder built = block(base);
  for (int i = 0; i < kPairs; ++i) {
    const auto delta = static_cast<std::uint8_t>(first_delta + i * step);
    built.accel(delta, accel).gyro(delta, gyro);
  }
  return built.bytes();
}

std::uint32_t tick_of(std::size_t block_index) {
  return static_cast<std::uint32_t>(1 + block_index * kPairs);
}

Bytes typical() {
  SimulationPlan plan;
  plan.side_channels = false;
  plan.seconds = static_cast<double>(kBlocks * kPairs) / plan.rate_hz;
  return simulate(plan);
}

/// Offsets next to the measured values, over the largest gain, leave 3.6e-12 of them: P fills with denormal numbers.
Bytes denormals() {
  const Axes tiny_accel{0, 17, -17}, accel_offsets{0, 83, -83}, accel_gains{10000, kLargest, kLargest};
  const Axes tiny_gyro{-37, -37, 0}, gyro_offsets{-22583, -22583, 0}, gyro_gains{kLargest, kLargest, 10000};
  const HeaderBuilder start =
      header().time_base(65535).accel(65535, 1, accel_offsets, accel_gains).gyro(65535, 3, gyro_offsets, gyro_gains);
  return with_blocks(start, [&](std::size_t i) {
    return pairs(tick_of(i), 0, 1, i == 0 ? Axes{2048, 17, -17} : tiny_accel, tiny_gyro);
  });
}

/// Ten digits before the point.
Bytes long_cells() {
  const Axes offsets{kLargest, kLargest, kLargest}, gains{1, 1, 1};
  return with_blocks(header().time_base(100).accel(100, 1, offsets, gains).gyro(100, 3, offsets, gains),
                     [](std::size_t i) { return pairs(tick_of(i), 0, 1, kOneG, {}); });
}

Bytes descending_ticks() {
  return with_blocks(header().time_base(100).accel(100).gyro(100),
                     [](std::size_t i) { return pairs(tick_of(i), kPairs - 1, -1, kOneG, {}); });
}

/// The second half of the blocks, in any order, falls between the samples of the first.
Bytes blocks_inside_a_run() {
  std::mt19937 random(1);
  return with_blocks(header().time_base(100).accel(100).gyro(100), [&](std::size_t i) {
    const auto anywhere = static_cast<std::uint32_t>(random() % (kBlocks * kPairs * 4));
    return i < kBlocks / 2 ? pairs(8 * tick_of(i), 0, 8, kOneG, {}) : pairs(anywhere, 0, 1, kOneG, {});
  });
}

double seconds_per_byte(const ScratchFolder& folder, const Bytes& bytes) {
  const std::string path = folder.write("hostile.bin", bytes), csv = folder.path("hostile.csv");
  std::clock_t shortest = std::numeric_limits<std::clock_t>::max();
  for (int i = 0; i < 3; ++i) {
    const std::clock_t start = std::clock();
    BinReader2().read(path.c_str(), csv.c_str());
    shortest = std::min(shortest, std::clock() - start);
  }
  return static_cast<double>(shortest) / CLOCKS_PER_SEC / static_cast<double>(bytes.size());
}

TEST(HostileRecordings, TakeAtMostTwentyTimesWhatTypicalOnesTake) {
  const ScratchFolder folder;
  const double usual = seconds_per_byte(folder, typical());
  const std::pair<const char*, Bytes (*)()> kinds[] = {{"denormals", denormals},
                                                       {"long cells", long_cells},
                                                       {"descending ticks", descending_ticks},
                                                       {"blocks inside a run", blocks_inside_a_run}};
  for (const auto& [name, make] : kinds) {
    EXPECT_LT(seconds_per_byte(folder, make()), 20 * usual) << name;
  }
}

}  // namespace
}  // namespace vortena::testing
