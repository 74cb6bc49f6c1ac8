#include "reader/texts/configuration_writer.h"

#include <gmock/gmock.h>

#include <random>
#include <stdexcept>

#include "reader/bin_reader2.h"
#include "reader/recording_file.h"
#include "reader/texts/base64.h"
#include "simulator/recording_builder.h"
#include "tests/support/scratch_folder.h"

namespace vortena::testing {
namespace {

using namespace simulator;

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

TEST(ConfigurationWriter, WritesTheFramesOfEachKey) {
  EXPECT_THAT(configuration_frames("radio,1,12"), ElementsAre(0x4B, 0x56, 1, 5, 2, 1, 12, 0xFF, 0xFE));
  EXPECT_THAT(configuration_frames("baro,100:"), ElementsAre(0x4B, 0x56, 2, 2, 2, 21, 100, 0xFF, 0xFE));
  EXPECT_THAT(configuration_frames("device,-1, +2x,261,9"),
              ElementsAre(0x4B, 0x56, 1, 1, 6, 0xFF, 0xFF, 0xFF, 0xFF, 2, 5, 0xFF, 0xFE));
  EXPECT_THAT(configuration_frames("Accel,1:unknownFrames,S1YDBQA=:unknownFrames,:unknownFrames"),
              ElementsAre(0x4B, 0x56, 0, 0, 0, 0xFF, 0xFE, 0x4B, 0x56, 3, 5, 0));
  for (const char* text : {",", ",1", ",1:"}) {
    EXPECT_THAT(configuration_frames(text), ElementsAre(0x4B, 0x56, 0, 0, 0, 0xFF, 0xFE)) << text;
  }
  EXPECT_THAT(configuration_frames(""), ElementsAre());
}

TEST(ConfigurationWriter, RefusesWhatItCannotWriteAndNamesThePlace) {
  const std::string full = "unknownFrames," + base64_encode(Bytes(512).data(), 512);
  const std::pair<std::string, std::string> cases[] = {{"radio,1", "entry 1 (radio), field 3: missing"},
                                                       {"baro,1:gyro", "entry 2 (gyro), field 2: missing"},
                                                       {"baro,1::baro,1", "entry 2: no key"},
                                                       {":,1", "entry 1: no key"},
                                                       {"radio,1,x", "entry 1 (radio), field 3: not a number"},
                                                       {"radio,- 1,1", "entry 1 (radio), field 2: not a number"},
                                                       {"radio,,1", "entry 1 (radio), field 2: not a number"},
                                                       {full + ":x", "entry 2: more frames than a header block holds"}};
  for (const auto& [text, message] : cases) {
    try {
      configuration_frames(text);
      ADD_FAILURE() << text;
    } catch (const std::invalid_argument& error) {
      EXPECT_EQ(error.what(), "Configuration " + message);
    }
  }
  EXPECT_EQ(configuration_frames(full).size(), 512U);
  EXPECT_NO_THROW(configuration_frames("device,2147483647,-2147483648,0"));
  EXPECT_THROW(configuration_frames("device,2147483648,0,0"), std::out_of_range);
  EXPECT_THROW(configuration_frames("device,-2147483649,0,0"), std::out_of_range);
  const ScratchFolder folder;
  const std::string path = folder.write("config.bin", Bytes(99));
  EXPECT_THROW(BinReader2().writeConfig(path.c_str(), "radio,1"), std::invalid_argument);
  EXPECT_EQ(folder.read("config.bin"), "") << "created, and left empty";
  EXPECT_FALSE(BinReader2().writeConfig(folder.path("missing/x").c_str(), "radio,1"));
}

TEST(ConfigurationWriter, WhatIsWrittenReadsBack) {
  const ScratchFolder folder;
  const std::string path = folder.path("config.bin");
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    std::array<std::int64_t, 8> a{};
    std::string values;
    for (std::size_t k = 0; k < 8; ++k) {
      a[k] = static_cast<std::int64_t>(random()) % (k < 2 ? 256 : 100000) * (k % 3 == 2 ? -1 : 1);
      values += "," + std::to_string(a[k]);
    }
    const std::uint8_t length = static_cast<std::uint8_t>(random() % 60);
    const Bytes unknown = join({{kMagic0, kMagic1, 7, 7, length}, Bytes(length, 0x5A), {1, 2}});
    const std::string text = "gyro" + values + ":unknownFrames," +
                             base64_encode(unknown.data(), static_cast<unsigned>(unknown.size())) + ":accel" + values +
                             ":firmware," + std::to_string(a[0]) + ",65535,0:device," + std::to_string(a[7]) + ",1,2";
    ASSERT_TRUE(BinReader2().writeConfig(path.c_str(), text.c_str()));
    kiv_Config config;
    ASSERT_TRUE(kiv_readConfig(&config, path.c_str()));
    EXPECT_THAT(config.unknownFrames, ElementsAreArray(unknown));
    for (const auto& s : {config.accel, config.gyro}) {
      const std::array<double, 8> read{double(s.frequency), double(s.range), s.offsetX, s.offsetY,
                                       s.offsetZ,           s.gainX,         s.gainY,   s.gainZ};
      EXPECT_THAT(read, ElementsAreArray(a));
    }
    EXPECT_THAT(
        (std::array{config.accel.id, config.gyro.id, config.majorVersion, static_cast<std::int32_t>(config.deviceId)}),
        ElementsAre(19, 20, 65535, a[7]));
  }
}

TEST(Base64, DecodesUpToTheFirstForeignCharacter) {
  EXPECT_THAT(base64_decode("QUJD!QUJD"), ElementsAre('A', 'B', 'C'));
  EXPECT_THAT(base64_decode("QUI=QUJD"), ElementsAre('A', 'B'));
  EXPECT_THAT(base64_decode("QUJDQ"), ElementsAre('A', 'B', 'C'));
  EXPECT_THAT(base64_decode("+/+/QQ"), ElementsAre(0xFB, 0xFF, 0xBF, 'A'));
}

}  // namespace
}  // namespace vortena::testing
