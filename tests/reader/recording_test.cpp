#include "reader/recording.h"

#include <gmock/gmock.h>

#include <cmath>
#include <map>
#include <numeric>
#include <random>
#include <sstream>
#include <utility>

#include "reader/decoding/byte_order.h"
#include "reader/decoding/data_packages.h"
#include "reader/decoding/header_frames.h"
#include "simulator/recording_builder.h"
#include "tests/support/scratch_folder.h"

namespace vortena::testing {
namespace {

using namespace simulator;

using ::testing::ElementsAre;

/// Bytes whose medium fails at a position: like a file's, a failing read delivers nothing of what it asked for.
struct Medium : std::stringbuf {
  std::streamoff fault;

  Medium(const Bytes& bytes, std::streamoff at)
      : std::stringbuf({bytes.begin(), bytes.end()}, std::ios::in), fault(at) {}
  std::streamsize xsgetn(char* to, std::streamsize count) override {
    const bool fails = seekoff(0, std::ios::cur, std::ios::in) + count > fault;
    return fails ? throw std::ios_base::failure("unreadable") : std::stringbuf::xsgetn(to, count);
  }
};

constexpr std::size_t kAllBlocks = SIZE_MAX / kBlockSize / 4;

struct Loaded : Recording {
  LoadReport report;
};

Loaded load(const std::vector<BlockArray>& blocks, const LoadOptions& options = {},
            std::size_t readable_blocks = kAllBlocks) {
  Medium medium(recording(blocks), static_cast<std::streamoff>(readable_blocks * kBlockSize + 1));
  std::istream stream(&medium);
  Loaded loaded;
  loaded.report = load_recording(&loaded, stream, options);
  return loaded;
}

SensorMap decode(const std::vector<BlockArray>& blocks, std::size_t readable_blocks = kAllBlocks) {
  return load(blocks, {}, readable_blocks).sensors;
}

TEST(DataPackages, ScalesEveryChannel) {
  // From offset 1 on, no frame byte stands where the header block would show it as a record.
  HeaderBuilder all = header(1).time_base(100).accel(100, 1, {10000, -20000, 5000}, {20000, 10000, 40000}).gyro(100);
  all.baro(25).mag(10).radio_byte(1).radio_time(1, 0, 0).event(1);
  BlockBuilder samples = block(200).accel(0, {2048, -4096, 32767}).gyro(1, {-32768, 16384, 0});
  samples.baro(2, 0x100000, -10).baro(3, 0xFFFFFF, 10).mag(4, {-1, 32767, -32768});
  samples.radio_byte(5, 255).radio_time(6, -150).event(7, 254);
  const SensorMap sensors = decode({all.bytes(), samples.bytes()});
  EXPECT_THAT(sensors.at(kAccelKey).values, ElementsAre(0, 0, (16.0 * 32767 / 32768 - 0.5) / 4));
  EXPECT_THAT(sensors.at(kGyroKey).values, ElementsAre(-2000, 1000, 0));
  EXPECT_THAT(sensors.at(kBaroKey).values, ElementsAre(256, 16777215.0 / 4096, -0.1, 0.1));
  EXPECT_THAT(sensors.at(kMagKey).values, ElementsAre(-1, 32767, -32768));
  EXPECT_THAT(sensors.at(kRadioByteKey).values, ElementsAre(255));
  EXPECT_THAT(sensors.at(kRadioTimeKey).values, ElementsAre(-1.5));
  EXPECT_THAT(sensors.at(kEventKey).values, ElementsAre(254));
  EXPECT_THAT(sensors.at(kBaroKey).timestamps, ElementsAre(2.02, 2.03));
  EXPECT_EQ(sensors.size(), 7U);
}

TEST(DataPackages, FirstSampleAtATickWinsInAnyOrderOfBlocks) {
  std::mt19937 random(1);
  std::vector<BlockArray> blocks{header().time_base(1).accel(1).bytes()};
  std::map<double, double> expected;
  for (std::int64_t b = 0; b < 700; ++b) {  // more than one piece of reading
    const std::int64_t base = b == 300 ? UINT32_MAX : b * 12345 % 9999;
    BlockBuilder builder(static_cast<std::uint32_t>(base));
    for (int r = 0; r < 63; ++r) {
      const auto delta = static_cast<std::uint8_t>(random());
      builder.accel(delta, {b, r, 0});
      expected.emplace(static_cast<double>(base + delta), static_cast<double>(b) / 2048);
    }
    blocks.push_back(builder.bytes());
  }
  const kiv_DataSensor accel = decode(blocks).at(kAccelKey);
  ASSERT_EQ(accel.sampleCount, expected.size());
  for (std::size_t i = 0; i < accel.sampleCount; ++i) {
    EXPECT_EQ(expected.at(accel.timestamps[i]), accel.values[i]);
    EXPECT_TRUE(i == 0 || accel.timestamps[i] > accel.timestamps[i - 1]);
  }
}

TEST(DataPackages, BlocksThatMeetAtATickKeepTheFirstInTheFile) {
  const SensorMap sensors =
      decode({header(1).time_base(1).accel(1).bytes(), block(9).accel(1, {1}).accel(2, {}).bytes(),
              block(0).accel(3, {}).accel(10, {2}).bytes()});
  EXPECT_THAT(sensors.at(kAccelKey).timestamps, ElementsAre(3, 10, 11));
  EXPECT_EQ(sensors.at(kAccelKey).values[1], 1.0 / 2048);
}

TEST(DataPackages, SharedIdentifiersGoToTheFirstChannelInOrder) {
  const int last_to_first[][4] = {
      // family, id, length, key; of key 0 the records are skipped
      {3, 22, 3, kEventKey}, {3, 20, 5, 0}, {3, 19, 5, 0},       {3, 17, 5, kRadioTimeKey}, {3, 16, 3, kRadioByteKey},
      {3, 10, 5, kMagKey},   {3, 7, 5, 0},  {2, 2, 2, kBaroKey}, {2, 1, 27, kGyroKey},      {2, 0, 27, kAccelKey}};
  HeaderBuilder claims = header();
  std::size_t channels = 0;
  for (const auto& [family, id, length, winner] : last_to_first) {
    claims.frame(family, id, Bytes(static_cast<std::size_t>(length)));  // all claim 0, the records of an empty block
    const SensorMap sensors = decode({claims.bytes(), BlockArray{}});
    EXPECT_EQ(sensors.size(), channels += winner == 0 ? 0 : 1);
    for (const auto& [key, sensor] : sensors) {
      EXPECT_EQ(sensor.sampleCount > 0, key == winner) << key << winner;
    }
  }
}

TEST(DataPackages, HeaderBlockCountsAsDataAndAReadErrorKeepsWhatPrecedesIt) {
  std::vector<BlockArray> blocks{header().time_base(1).accel(1).bytes()};
  std::ranges::copy(be(kAccelId, 1), blocks[0].end() - kRecordSize);
  for (std::uint32_t b = 1; b < 600; ++b) {
    blocks.push_back(block(b).accel(0, {1, 1, 1}).bytes());
  }
  EXPECT_EQ(decode(blocks).at(kAccelKey).sampleCount, 600U);
  EXPECT_EQ(decode(blocks).at(kAccelKey).timestamps.back(), 0x020001FF) << "the header's bytes 4 to 7 as base tick";
  for (const std::size_t readable : {7U, 550U}) {
    EXPECT_EQ(decode(blocks, readable).at(kAccelKey).sampleCount, readable);
  }
}

TEST(DataPackages, AnEntryThatStandsThereIsFilledAsFarAsItHasRoom) {
  kiv_Config config;
  config.frequency = 10;
  const auto transfer = [&](kiv_DataSensor entry) {
    SampleSeries<3> series;
    for (std::int16_t i = 0; i < 4; ++i) {
      series.append(10 * i, {i, static_cast<std::int16_t>(10 + i), static_cast<std::int16_t>(20 + i)});
    }
    std::ranges::fill(entry.values, 7);
    std::ranges::fill(entry.timestamps, 7);
    SensorMap sensors{{kMagKey, entry}};
    _transfertData(&sensors, config, kMagKey, &series);
    EXPECT_EQ(series.size(), 0U);
    return sensors.at(kMagKey);
  };
  EXPECT_THAT(transfer({3, 2}).values, ElementsAre(0, 1, 10, 11, 20, 21));
  EXPECT_THAT(transfer({3, 2}).timestamps, ElementsAre(0, 1));
  EXPECT_THAT(transfer({3, 5}).values, ElementsAre(0, 1, 2, 3, 7, 10, 11, 12, 13, 7, 20, 21, 22, 23, 7));
  EXPECT_THAT(transfer({3, 5}).timestamps, ElementsAre(0, 1, 2, 3, 7));
  EXPECT_THAT(transfer({1, 4}).values, ElementsAre(0, 1, 2, 3));
  EXPECT_THAT(transfer({4, 1}).values, ElementsAre(0, 10, 20, 7));
  EXPECT_THAT(transfer({3, 0}).values, ElementsAre());
  kiv_DataSensor smaller(3, 4);
  smaller.values.resize(5);
  smaller.timestamps.resize(1);
  EXPECT_THAT(transfer(smaller).values, ElementsAre(0, 1, 2, 3, 10));
}

TEST(DataPackages, TimeBaseOfZeroGivesInfiniteTimes) {
  const BlockArray no_time_base = header().accel(1).radio_time(1, 0, 0).bytes();
  const SensorMap sensors = decode({no_time_base, block(5).accel(0, {1, 1, 1}).radio_time(0, 0).bytes()});
  EXPECT_TRUE(std::isinf(sensors.at(kAccelKey).timestamps[0]));
  EXPECT_TRUE(std::isnan(sensors.at(kRadioTimeKey).values[0]));
}

TEST(DataPackages, ARangeOfZeroMakesZeros) {
  const BlockArray no_range =
      header(1).time_base(1).frame(2, 0, join({{kAccelId, 1, 0}, Bytes(12), be_axes({1, 1, 1}, 4)})).bytes();
  const SensorMap sensors = decode({no_range, block(1).accel(0, {-1, 5, 0}).bytes()});
  for (const double value : sensors.at(kAccelKey).values) {
    EXPECT_TRUE(value == 0 && !std::signbit(value)) << "printed without a sign";
  }
}

/// Eight blocks of ten accelerometer samples each, a tick apart, behind a header that holds no record.
std::vector<BlockArray> sound_recording() {
  std::vector<BlockArray> blocks{header(1).time_base(100).accel(100).frame(3, 19, {250, 0, 0, 0, 0}).bytes()};
  for (std::uint32_t b = 0; b < 8; ++b) {
    BlockBuilder builder = block(1000 + 10 * b);
    for (std::uint8_t delta = 0; delta < 10; ++delta) {
      builder.accel(delta, {b, delta, 7});
    }
    blocks.push_back(builder.bytes());
  }
  return blocks;
}

TEST(LoadReport, EachDamageRaisesItsOwnCounters) {
  using Blocks = std::vector<BlockArray>;
  const struct {
    const char* name;
    void (*damage)(Blocks&);
    std::array<std::uint64_t, 8>
        expected;  // blank, back in time, blank, skipped, foreign; records, repeated, out of order
  } cases[] = {
      {"none", [](Blocks&) {}, {0, 0, 424, 0, 0, 80, 0, 0}},
      {"zeroed block", [](Blocks& b) { b[3].fill(0); }, {1, 0, 371, 0, 0, 70, 0, 0}},
      {"erased block", [](Blocks& b) { b[3].fill(0xFF); }, {1, 0, 371, 0, 0, 70, 0, 0}},
      {"missing block", [](Blocks& b) { b.erase(b.begin() + 3); }, {0, 0, 371, 0, 0, 70, 0, 0}},
      {"block twice", [](Blocks& b) { b.insert(b.begin() + 3, b[3]); }, {0, 0, 477, 0, 0, 90, 10, 0}},
      {"old block again", [](Blocks& b) { b.push_back(b[3]); }, {0, 1, 477, 0, 0, 90, 10, 0}},
      {"blocks swapped", [](Blocks& b) { std::swap(b[3], b[4]); }, {0, 1, 424, 0, 0, 80, 0, 10}},
      {"foreign record", [](Blocks& b) { b[3][8] = 99; }, {0, 0, 424, 0, 1, 79, 0, 0}},
      {"skipped record", [](Blocks& b) { b[3][8] = 250; }, {0, 0, 424, 1, 0, 79, 0, 0}},
      {"tick twice", [](Blocks& b) { b[3][17] = 0; }, {0, 0, 424, 0, 0, 80, 1, 0}},
      {"record late", [](Blocks& b) { std::swap_ranges(&b[3][8], &b[3][16], &b[3][16]); }, {0, 0, 424, 0, 0, 80, 0, 1}},
  };
  for (const auto& c : cases) {
    std::vector<BlockArray> blocks = sound_recording();
    c.damage(blocks);
    const LoadReport report = load(blocks).report;
    const PackageCounts& p = report.packages;
    const ChannelCounts& accel = report.channels.at(kAccelKey);
    const std::uint64_t foreign = std::accumulate(p.foreign_records.begin(), p.foreign_records.end(), std::uint64_t{0});
    EXPECT_EQ((std::array{p.blank_blocks, p.blocks_back_in_time, p.blank_records, p.skipped_records, foreign,
                          accel.records, accel.repeated, accel.out_of_order}),
              c.expected)
        << c.name;
    EXPECT_EQ(foreign, p.foreign_records[99]) << c.name;
    EXPECT_EQ(report.blocks, blocks.size());
  }
}

TEST(LoadReport, TellsHowReadingEnded) {
  const Bytes whole = recording(sound_recording());
  const auto status_of = [](const Bytes& bytes) {
    Recording recording;
    return load_recording(&recording, std::span(bytes)).status;
  };
  EXPECT_EQ(status_of(whole), LoadStatus::kRead);
  EXPECT_EQ(status_of(Bytes(511)), LoadStatus::kTooShort);
  EXPECT_EQ(status_of(Bytes(9999)), LoadStatus::kNoHeader);
  Bytes cut = whole;
  cut.resize(cut.size() - 200);
  Recording recording;
  const LoadReport report = load_recording(&recording, std::span(std::as_const(cut)));
  EXPECT_EQ(report.bytes, cut.size());
  EXPECT_EQ(report.blocks, 8U);
  EXPECT_EQ(report.cut_off_bytes, 312U);
  const LoadReport faulty = load(sound_recording(), {}, 5).report;
  EXPECT_EQ(faulty.status, LoadStatus::kRead);
  EXPECT_EQ(faulty.first_unreadable_block, 5U);
  EXPECT_TRUE(faulty.failure);
  EXPECT_EQ(load(sound_recording(), {}, 0).report.status, LoadStatus::kUnreadable);
  const ScratchFolder folder;
  EXPECT_EQ(load_recording(&recording, folder.path("missing").c_str()).failure, std::errc::no_such_file_or_directory);
  EXPECT_EQ(load_recording(&recording, folder.path("").c_str()).failure, std::errc::is_a_directory);
  Watch watch;
  watch.stop = 1;
  EXPECT_EQ(load(sound_recording(), {.watch = &watch}).report.status, LoadStatus::kStopped);
  EXPECT_EQ(watch.total, 9);
}

TEST(LoadReport, SamplesOfTheHeaderBlockCanBeToldAndLeftOut) {
  std::vector<BlockArray> blocks = sound_recording();
  const std::uint32_t base = u32_be(&blocks[0][kBaseTickOffset]);  // some header bytes
  for (std::size_t b = 1; b < 5; ++b) {
    std::ranges::copy(be(base - 30 + 10 * static_cast<std::int64_t>(b), 4), &blocks[b][kBaseTickOffset]);
  }
  const auto put = [&](std::size_t record, std::uint8_t delta) {
    std::ranges::copy(Bytes{kAccelId, delta, 1, 1}, &blocks[0][record * kRecordSize]);
  };
  put(60, 200);  // behind everything
  put(61, 3);    // where block 3 has a sample, too: the header block is first
  put(62, 200);
  const Loaded kept = load(blocks), left_out = load(blocks, {.header_samples = false});
  const ChannelCounts& with = kept.report.channels.at(kAccelKey);
  const ChannelCounts& without = left_out.report.channels.at(kAccelKey);
  EXPECT_EQ(with.header_records, 3U);
  EXPECT_EQ(without.header_samples_left_out, 1U);
  ASSERT_EQ(with.header_samples.size(), 2U);
  const kiv_DataSensor &all = kept.sensors.at(kAccelKey), &true_times = left_out.sensors.at(kAccelKey);
  EXPECT_EQ(all.sampleCount, 81U);
  EXPECT_EQ(true_times.sampleCount, 80U);
  for (const std::uint64_t at : with.header_samples) {
    EXPECT_EQ(all.values[at], 0x101 * 16.0 / 32768);
  }
  EXPECT_EQ(std::ranges::count(true_times.values, 0x101 * 16.0 / 32768), 0);
  EXPECT_EQ(with.out_of_order + without.out_of_order, 2 * 40U) << "the header block's ticks say nothing about order";
}

}  // namespace
}  // namespace vortena::testing
