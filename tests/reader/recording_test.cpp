#include "reader/data_packages.h"

#include <gmock/gmock.h>

#include <cmath>
#include <map>
#include <random>
#include <sstream>

#include "reader/recording_file.h"
#include "simulator/recording_builder.h"

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

SensorMap decode(const std::vector<BlockArray>& blocks, std::size_t readable_blocks = SIZE_MAX / kBlockSize / 4) {
  Medium medium(recording(blocks), static_cast<std::streamoff>(readable_blocks * kBlockSize + 1));
  std::istream stream(&medium);
  kiv_Config config;
  EXPECT_TRUE(_readConfig(&config, blocks.at(0)));
  PackageDecoder decoder(config);
  read_packages(stream, blocks.size(), &decoder);
  SensorMap sensors;
  decoder.transfer(config, &sensors);
  return sensors;
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

TEST(DataPackages, TimeBaseOfZeroGivesInfiniteTimes) {
  const BlockArray no_time_base = header().accel(1).radio_time(1, 0, 0).bytes();
  const SensorMap sensors = decode({no_time_base, block(5).accel(0, {1, 1, 1}).radio_time(0, 0).bytes()});
  EXPECT_TRUE(std::isinf(sensors.at(kAccelKey).timestamps[0]));
  EXPECT_TRUE(std::isnan(sensors.at(kRadioTimeKey).values[0]));
}

TEST(DataPackages, TransferFillsAnEntryOfTheSameShapeOnly) {
  SensorMap sensors{{kAccelKey, {3, 2}}, {kGyroKey, {3, 1}}};
  const kiv_DataSensor& same = sensors.at(kAccelKey);
  kiv_Config config;
  config.frequency = 10;
  for (const int key : {kAccelKey, kGyroKey}) {
    SampleSeries<3> series;
    series.append(10, {1, 2, 3});
    series.append(20, {4, 5, 6});
    _transfertData(&sensors, config, key, &series);
    EXPECT_EQ(series.size(), 0U);
  }
  EXPECT_THAT(same.values, ElementsAre(1, 4, 2, 5, 3, 6));
  EXPECT_THAT(same.timestamps, ElementsAre(1, 2));
  EXPECT_THAT(sensors.at(kGyroKey).values, ElementsAre(0, 0, 0));
}

}  // namespace
}  // namespace vortena::testing
