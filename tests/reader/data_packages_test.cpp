#include "reader/data_packages.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>

#include "reader/recording_file.h"
#include "support/recording_builder.h"

namespace vortena::testing {
namespace {

using ::testing::ElementsAre;

struct Decoded {
  kiv_Config config;
  SensorMap sensors;
  bool result = false;

  [[nodiscard]] const kiv_DataSensor& at(int key) const { return sensors.at(key); }
};

Decoded decode(const Bytes& bytes) {
  const ScratchFolder folder;
  Decoded decoded;
  decoded.result = kiv_read(&decoded.config, &decoded.sensors, folder.write("r.bin", bytes).c_str());
  return decoded;
}

Decoded decode(const HeaderBuilder& header, std::initializer_list<BlockBuilder> blocks) {
  Bytes bytes = recording({header.bytes()});
  for (const BlockBuilder& b : blocks) { bytes.insert(bytes.end(), b.bytes().begin(), b.bytes().end()); }
  return decode(bytes);
}

TEST(DataPackages, ScalesEveryChannel) {
  // From offset 1 on, no frame byte stands where the header block would show it as a record.
  const HeaderBuilder all = header(1)
                                .time_base(100)
                                .accel(100, 1, {{10000, -20000, 0}, {20000, 10000, 40000}})
                                .gyro(100)
                                .baro(25)
                                .mag(10)
                                .radio_byte(1)
                                .radio_time(1, 0, 0)
                                .event(1);
  const Decoded d = decode(all, {block(200)
                                     .accel(0, {2048, -4096, 32767})
                                     .gyro(1, {-32768, 16384, 0})
                                     .baro(2, 0x100000, -10)
                                     .baro(3, 0xFFFFFF, 10)
                                     .mag(4, {-1, 32767, -32768})
                                     .radio_byte(5, 255)
                                     .radio_time(6, -150)
                                     .event(7, 254)});
  ASSERT_TRUE(d.result);
  EXPECT_THAT(d.at(kAccelKey).values, ElementsAre(0, 0, 16.0 * 32767 / 32768 / 4));
  EXPECT_THAT(d.at(kGyroKey).values, ElementsAre(-2000, 1000, 0));
  EXPECT_THAT(d.at(kBaroKey).values, ElementsAre(256, 16777215.0 / 4096, -0.1, 0.1));
  EXPECT_THAT(d.at(kMagKey).values, ElementsAre(-1, 32767, -32768));
  EXPECT_THAT(d.at(kRadioByteKey).values, ElementsAre(255));
  EXPECT_THAT(d.at(kRadioTimeKey).values, ElementsAre(-1.5));
  EXPECT_THAT(d.at(kEventKey).values, ElementsAre(254));
  EXPECT_THAT(d.at(kBaroKey).timestamps, ElementsAre(2.02, 2.03));
  EXPECT_EQ(d.sensors.size(), 7U);
}

TEST(DataPackages, OrdersByTickAndKeepsTheFirstSampleAtATick) {
  const Decoded d =
      decode(header().time_base(1).accel(1), {block(100).accel(5, {1, 0, 0}).accel(0, {2, 0, 0}).accel(5, {3, 0, 0}),
                                              block(90).accel(10, {4, 0, 0}).accel(255, {5, 0, 0}).accel(0, {6, 0, 0}),
                                              block(0xFFFFFFFF).accel(255, {7, 0, 0}), block(105).accel(0, {8, 0, 0})});
  const kiv_DataSensor& accel = d.at(kAccelKey);
  EXPECT_THAT(accel.timestamps, ElementsAre(90, 100, 105, 345, 4294967550));
  ASSERT_EQ(accel.sampleCount, 5U);
  std::vector<double> counts(accel.values.begin(), accel.values.begin() + 5);
  std::ranges::transform(counts, counts.begin(), [](double g) { return g * 2048; });
  EXPECT_THAT(counts, ElementsAre(6, 2, 1, 5, 7));
}

TEST(DataPackages, ShuffledBlocksGiveTheSeriesOfOrderedOnes) {
  std::vector<BlockBuilder> blocks;
  for (std::uint32_t b = 0; b < 700; ++b) {  // more than one piece of reading
    blocks.push_back(block(b * 20));
    for (int r = 0; r < 63; ++r) {  // overlaps the next two blocks, with other values
      blocks.back().gyro(static_cast<std::uint8_t>(r), {static_cast<int>(b), r, 0});
    }
  }
  const auto series = [&blocks] {
    Bytes bytes = recording({header().time_base(100).gyro(100).bytes()});
    for (const BlockBuilder& b : blocks) { bytes.insert(bytes.end(), b.bytes().begin(), b.bytes().end()); }
    return decode(bytes).at(kGyroKey);
  };
  const kiv_DataSensor ordered = series();
  EXPECT_EQ(ordered.sampleCount, 699 * 20 + 63U);
  EXPECT_EQ(ordered.values[30], 0) << "the first block holds tick 30, the second comes later";
  std::ranges::reverse(blocks);
  const kiv_DataSensor reversed = series();
  EXPECT_EQ(reversed.timestamps, ordered.timestamps);
  EXPECT_NEAR(reversed.values[30] * 32768 / 2000, 1, 1e-9) << "now the second block comes first";
  std::shuffle(blocks.begin(), blocks.end(), std::mt19937(1));
  EXPECT_EQ(series().timestamps, ordered.timestamps);
}

TEST(DataPackages, SharedIdentifiersGoToTheFirstChannelInOrder) {
  struct Claim {
    int family, id, length, key;  // key 0: the records are skipped
  };
  const Claim last_to_first[] = {
      {3, 22, 3, kEventKey}, {3, 20, 5, 0}, {3, 19, 5, 0},       {3, 17, 5, kRadioTimeKey}, {3, 16, 3, kRadioByteKey},
      {3, 10, 5, kMagKey},   {3, 7, 5, 0},  {2, 2, 2, kBaroKey}, {2, 1, 27, kGyroKey},      {2, 0, 27, kAccelKey}};
  HeaderBuilder claims = header();
  for (const Claim& claim : last_to_first) {
    Bytes payload(static_cast<std::size_t>(claim.length));
    payload[0] = 9;
    claims.frame(claim.family, claim.id, payload);
    kiv_Config config;
    ASSERT_TRUE(_readConfig(&config, claims.bytes()));
    PackageDecoder decoder(config);
    decoder.decode_block(block(0).record(9, 1, {1, 2, 3, 4, 5, 6}).bytes());
    SensorMap sensors;
    decoder.transfer(config, &sensors);
    for (const auto& [key, sensor] : sensors) {
      EXPECT_EQ(sensor.sampleCount, key == claim.key ? 1U : 0U) << "key " << key << " against " << claim.key;
    }
  }
}

TEST(DataPackages, HeaderBlockCountsAsDataAndPartialBlocksDoNot) {
  // Records of the header block: bytes 8 r, r = 1..63. The base tick is the header's own bytes 4 to 7.
  BlockArray bytes = header().time_base(1).accel(1).bytes();
  const BlockBuilder record = block(0).accel(3, {2048, 0, 0});
  std::copy_n(record.bytes().begin() + kFirstRecordOffset, kRecordSize, bytes.end() - kRecordSize);
  Bytes file = recording({bytes, block(50).accel(0, {1, 1, 1}).bytes()});
  file.resize(2 * kBlockSize - 1);
  const Decoded d = decode(file);
  EXPECT_THAT(d.at(kAccelKey).timestamps, ElementsAre(0x020001FF + 3));
}

TEST(DataPackages, TimeBaseOfZeroGivesInfiniteTimes) {
  const Decoded d = decode(header().accel(1).radio_time(1, 0, 0), {block(5).accel(0, {1, 1, 1}).radio_time(0, 0)});
  EXPECT_TRUE(std::isinf(d.at(kAccelKey).timestamps[0]));
  EXPECT_TRUE(std::isnan(d.at(kRadioTimeKey).values[0]));
}

TEST(DataPackages, TransferFillsAnEntryOfTheSameShapeOnly) {
  SensorMap sensors;
  sensors.try_emplace(kAccelKey, 3, 2);
  sensors.try_emplace(kGyroKey, 3, 1);
  kiv_Config config;
  config.frequency = 10;
  SampleSeries<3> series;
  const auto fill = [&series] {
    series.append(10, {1, 2, 3});
    series.append(20, {4, 5, 6});
  };
  fill();
  _transfertData(&sensors, config, kAccelKey, &series);
  EXPECT_THAT(sensors.at(kAccelKey).values, ElementsAre(1, 4, 2, 5, 3, 6));
  EXPECT_THAT(sensors.at(kAccelKey).timestamps, ElementsAre(1, 2));
  EXPECT_EQ(series.size(), 0U);
  fill();
  _transfertData(&sensors, config, kGyroKey, &series);
  EXPECT_THAT(sensors.at(kGyroKey).values, ElementsAre(0, 0, 0));
}

TEST(RecordingFile, ShortAndMissingFiles) {
  const ScratchFolder folder;
  const Bytes whole = recording({header().time_base(100).accel(100).bytes()});
  for (const std::size_t size : {std::size_t{0}, std::size_t{1}, kBlockSize - 1, kBlockSize}) {
    const std::string path = folder.write("r.bin", Bytes(whole.begin(), whole.begin() + static_cast<long>(size)));
    kiv_Config config;
    SensorMap sensors;
    EXPECT_EQ(kiv_read(&config, &sensors, path.c_str()), size == kBlockSize) << size;
    EXPECT_EQ(sensors.size(), size == kBlockSize ? 1U : 0U);
    kiv_Config header_only;
    EXPECT_EQ(kiv_readConfig(&header_only, path.c_str()), size > 1) << size;
    EXPECT_EQ(header_only.accel.frequency, size > 1 ? 100 : 0);
  }
  for (const std::string& path : {folder.path("missing"), folder.path(""), std::string(), std::string(5000, 'x')}) {
    kiv_Config config;
    SensorMap sensors;
    EXPECT_FALSE(kiv_read(&config, &sensors, path.c_str()));
    EXPECT_FALSE(kiv_readConfig(&config, path.c_str()));
  }
}

/// A stream whose medium fails at a position: like a file's, a failing read delivers nothing of what it asked
/// for.
class FailingBuffer : public std::stringbuf {
 public:
  FailingBuffer(const Bytes& bytes, std::streamoff fault)
      : std::stringbuf(std::string(bytes.begin(), bytes.end()), std::ios::in), fault_(fault) {}

 protected:
  std::streamsize xsgetn(char* to, std::streamsize count) override {
    if (seekoff(0, std::ios::cur, std::ios::in) + count > fault_) { throw std::ios_base::failure("unreadable"); }
    return std::stringbuf::xsgetn(to, count);
  }

 private:
  std::streamoff fault_;
};

TEST(RecordingFile, AReadErrorKeepsAllThatPrecedesIt) {
  kiv_Config config;
  ASSERT_TRUE(_readConfig(&config, header().time_base(1).event(1).bytes()));
  Bytes bytes;
  for (std::uint32_t b = 0; b < 10; ++b) {
    const BlockArray array = block(b).event(0, 1).bytes();
    bytes.insert(bytes.end(), array.begin(), array.end());
  }
  FailingBuffer buffer(bytes, 7 * kBlockSize + 100);
  std::istream stream(&buffer);
  PackageDecoder decoder(config);
  read_packages(stream, 10, &decoder);
  SensorMap sensors;
  decoder.transfer(config, &sensors);
  EXPECT_EQ(sensors.at(kEventKey).sampleCount, 7U);
}

}  // namespace
}  // namespace vortena::testing
