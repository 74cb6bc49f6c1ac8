#include "reader/decoding/header_frames.h"

#include <gtest/gtest.h>

#include <numeric>

#include "simulator/recording_builder.h"

namespace vortena::testing {
namespace {

using namespace simulator;

using List = std::vector<double>;
using Config = const kiv_Config&;

/// Payload bytes 1, 2, 3 ...
Bytes counting(int length) {
  Bytes payload(static_cast<std::size_t>(length));
  std::iota(payload.begin(), payload.end(), std::uint8_t{1});
  return payload;
}

List list(auto... values) {
  return {static_cast<double>(values)...};
}
List channel(const auto& c) {
  return list(c.present, c.id, c.frequency);
}
List channel_with_auxiliary(const auto& c) {
  return list(c.present, c.id, c.frequency, c.auxiliary);
}
List words(const auto& c) {
  return list(c.present, c.id, c.value1, c.value2);
}
List date(const auto& d) {
  return list(d.second, d.minute, d.hour, d.day, d.month, d.year);
}
List group(const auto& g) {
  return list(g.b1, g.b2, g.b3, g.w, g.t);
}
List sensor(const auto& s) {
  return list(s.id, s.frequency, s.offsetX * 1e4, s.offsetY * 1e4, s.offsetZ * 1e4, s.gainX * 1e4, s.gainY * 1e4,
              s.gainZ * 1e4, s.auxiliary);
}
List legacy_sensor(const auto& s) {
  return list(s.id, s.frequency, s.range, s.offsetX, s.offsetY, s.offsetZ, s.gainX, s.gainY, s.gainZ);
}

const List kSensor{1, 0x0203, 0x05060708, 0x090A0B0C, 0x0D0E0F10, 0x11121314, 0x15161718, 0x191A1B1C, 0x1D1E};
const List kLegacySensor{1, 2, 3, 0x04050607, 0x08090A0B, 0x0C0D0E0F, 0x10111213, 0x14151617, 0x18191A1B};

// clang-format off
const struct {
  int family, id, minimum;
  List (*fields)(Config);
  List expected;  // of the counting payload
} kFrames[] = {
    {1, 1, 6, [](Config c) { return list(c.hasDevice, c.deviceId, c.deviceType, c.bodyLocation); }, {1, 0x01020304, 5, 6}},
    {1, 5, 2, [](Config c) { return list(c.radioMode, c.radioChannel); }, {1, 2}},
    {2, 0, 27, [](Config c) { return legacy_sensor(c.accel); }, kLegacySensor},
    {2, 1, 27, [](Config c) { return legacy_sensor(c.gyro); }, kLegacySensor},
    {2, 2, 2, [](Config c) { return channel(c.baro); }, {1, 1, 2}},
    {3, 0, 7, [](Config c) { return date(c.createdAt); }, {1, 2, 3, 4, 5, 0x0607}},
    {3, 1, 4, [](Config c) { return list(c.extVersion, c.extMajorVersion, c.extMinorVersion); }, {0x0102, 3, 4}},
    {3, 2, 30, [](Config c) { return sensor(c.accel); }, kSensor},
    {3, 3, 30, [](Config c) { return sensor(c.gyro); }, kSensor},
    {3, 4, 5, [](Config c) { return channel_with_auxiliary(c.baro); }, {1, 1, 0x0203, 0x0405}},
    {3, 6, 7, [](Config c) { return date(c.endDate); }, {1, 2, 3, 4, 5, 0x0607}},
    {3, 8, 2, [](Config c) { return list(c.frequency); }, {0x0102}},
    {3, 9, 8, [](Config c) { return list(c.radioMode, c.radioParam1); }, {1, 0x02030405}},
    {3, 10, 5, [](Config c) { return channel_with_auxiliary(c.mag); }, {1, 1, 0x0203, 0x0405}},
    {3, 11, 4, [](Config c) { return list(c.accel.parameter); }, {0x01020304}},
    {3, 12, 4, [](Config c) { return list(c.gyro.parameter); }, {0x01020304}},
    {3, 13, 4, [](Config c) { return list(c.baro.parameter); }, {0x01020304}},
    {3, 14, 4, [](Config c) { return list(c.gps.parameter); }, {0x01020304}},
    {3, 15, 4, [](Config c) { return list(c.mag.parameter); }, {0x01020304}},
    {3, 16, 3, [](Config c) { return channel(c.radioByte); }, {1, 1, 0x0203}},
    {3, 17, 5, [](Config c) { return channel(c.radioTime); }, {1, 1, 0x0203}},
    {3, 17, 5, [](Config c) { return list(c.radioTime.option1, c.radioTime.option2); }, {4, 5}},
    {3, 18, 21, [](Config c) { return list(c.schedule.present, c.schedule.id, c.schedule.value); }, {1, 1, 0x0203}},
    {3, 18, 21, [](Config c) { return group(c.schedule.first); }, {4, 5, 6, 0x0708, 0x090A0B0C}},
    {3, 18, 21, [](Config c) { return group(c.schedule.second); }, {13, 14, 15, 0x1011, 0x12131415}},
    {3, 19, 5, [](Config c) { return words(c.auxA); }, {1, 1, 0x0203, 0x0405}},
    {3, 20, 5, [](Config c) { return words(c.auxB); }, {1, 1, 0x0203, 0x0405}},
    {3, 21, 2, [](Config c) { return list(c.measureId); }, {0x0102}},
    {3, 22, 3, [](Config c) { return channel(c.event); }, {1, 1, 0x0203}},
};
// clang-format on

TEST(HeaderFrames, FillTheirFieldsFromTheirMinimumLengthOn) {
  for (const auto& k : kFrames) {
    for (const int length : {k.minimum - 1, k.minimum, k.minimum + 1}) {
      SCOPED_TRACE(::testing::Message() << "frame " << k.family << "/" << k.id << " of " << length);
      const kiv_Config config = header().frame(k.family, k.id, counting(length)).frame(4, 1, {}).decoded();
      EXPECT_EQ(config.headerError, length < k.minimum);
      EXPECT_EQ(k.fields(config), length < k.minimum ? k.fields(kiv_Config()) : k.expected);
      EXPECT_EQ(config.unknownFrames.size(), kFrameOverhead) << "the next frame was not found";
    }
  }
}

TEST(HeaderFrames, RangeCodesAndCalibrationAreSigned) {
  const int ranges[][2] = {{2, 245},  {16, 500}, {4, 1000},
                           {8, 2000}, {4, 125},  {4, 1000}};  // g and deg/s of code 0 to 5
  for (const std::uint8_t code : Bytes{0, 1, 2, 3, 4, 5, 255}) {
    const kiv_Config config = header().accel(100, code, {-5, 0, 0}).gyro(100, code).decoded();
    EXPECT_EQ(config.accel.range, ranges[std::min<int>(code, 5)][0]) << int{code};
    EXPECT_EQ(config.gyro.range, ranges[std::min<int>(code, 5)][1]) << int{code};
    EXPECT_EQ(config.accel.offsetX, -0.0005);
  }
}

TEST(HeaderFrames, FramesOfTwoLengthsAreExact) {
  const auto firmware = [](const Bytes& payload) {
    const kiv_Config c = header().frame(1, 2, payload).decoded();
    return list(c.headerError, c.hasDevice, c.version, c.majorVersion, c.minorVersion);
  };
  EXPECT_EQ(firmware({0, 1, 0, 2, 0, 3}), (List{0, 1, 1, 2, 3}));
  EXPECT_EQ(firmware(be(999, 4)), (List{0, 1, 9, 9, 9}));
  EXPECT_EQ(firmware(be(1000, 4)), (List{0, 1, 0, 0, 0}));
  EXPECT_EQ(firmware(be(-123, 4)), (List{0, 1, -1, -2, -3}));
  for (const int length : {3, 5, 7}) {
    EXPECT_EQ(firmware(counting(length)), (List{1, 0, 0, 0, 0}));
  }
  const auto gps = [](const Bytes& payload) {
    const kiv_Config c = header().frame(3, 7, payload).decoded();
    return list(c.headerError, c.gps.present, c.gps.id, c.gps.frequency, c.gps.mode, c.gps.auxiliary);
  };
  EXPECT_EQ(gps({9, 0, 0, 0, 10, 7, 1, 2}), (List{0, 1, 9, 100, 7, 0x0102}));
  EXPECT_EQ(gps({9, 0, 0, 0, 0, 7, 1, 2}), (List{0, 1, 9, 0, 7, 0x0102}));
  EXPECT_EQ(gps(counting(5)), (List{0, 1, 1, 0x0203, 0, 0x0405}));
  for (const int length : {4, 6, 7, 9}) {
    EXPECT_EQ(gps(counting(length)), (List{1, 0, 0, 0, 0, 0}));
  }
}

TEST(HeaderFrames, SecondRadioParameterReachesIntoTheTrailer) {
  const std::uint32_t parameters[] = {0x060708FF, 0x06070809, 0x06070809};
  for (const int length : {8, 9, 10}) {
    const kiv_Config config = header().frame(3, 9, counting(length)).decoded();
    EXPECT_EQ(config.radioParam2, parameters[length - 8]);
    EXPECT_EQ(config.radioChannel, length < 10 ? 0 : 10);
  }
}

TEST(HeaderFrames, UnknownFramesAreKeptWholeAndInOrder) {
  const Bytes ids[] = {{0, 1}, {4, 1}, {1, 0}, {1, 3}, {1, 4}, {1, 6}, {2, 3}, {3, 5}, {3, 23}, {3, 255}};
  HeaderBuilder builder = header();
  Bytes expected;
  for (const Bytes& id : ids) {
    builder.frame(id[0], id[1], {7, 8}).time_base(100);
    expected = join({expected, {kMagic0, kMagic1}, id, {2, 7, 8, 0xFF, 0xFE}});
  }
  EXPECT_EQ(builder.decoded().unknownFrames, expected);
}

TEST(HeaderFrames, OneRightMagicByteOpensAFrameAndNoneEndsTheHeader) {
  const Bytes magics[] = {{kMagic0, 0}, {0, kMagic1}, {kMagic1, kMagic0}, {0, kMagic0, kMagic1}};
  for (const Bytes& magic : magics) {
    const kiv_Config config = header().device(1, 1, 1).raw(magic).raw({3, 8, 2, 0, 100, 0, 0}).decoded();
    EXPECT_EQ(config.frequency, &magic < &magics[2] ? 100 : 0);
  }
}

TEST(HeaderFrames, StartIsSoughtUpToPosition507AndWhatRunsOverTheBlockIsZero) {
  kiv_Config config;
  const std::size_t frequencies[][2] = {{1, 0x0102}, {505, 0x0102}, {506, 0x0100}, {507, 0}};
  for (const auto& [start, frequency] : frequencies) {
    EXPECT_TRUE(_readConfig(&config, header(start).time_base(0x0102).bytes()));
    EXPECT_EQ(config.frequency, frequency) << start;
  }
  EXPECT_FALSE(_readConfig(&config, header(508).time_base(0x0102).bytes()));
  EXPECT_FALSE(_readConfig(&config, header().raw({kMagic0, 0, 0, kMagic1}).bytes()));
  EXPECT_EQ(header(507).frame(9, 9, Bytes(255)).decoded().unknownFrames.size(), kMaxFrameSize);
  const Bytes last_byte_opens = header(500).frame(9, 9, {1, 2, 3, 4}).raw({kMagic0}).decoded().unknownFrames;
  EXPECT_EQ(last_byte_opens.size(), 11 + kFrameOverhead);
}

TEST(HeaderFrames, DecodeFromPlainMemoryThatEndsWithThem) {
  for (const int length : {0, 8, 255}) {
    const Bytes frame = join({{kMagic0, kMagic1, 3, 9}, be(length, 1), counting(length), {0x55, 0x66}});
    kiv_Config config;
    bool known = true;
    EXPECT_EQ(_readHeaderFrame(&config, &known, std::vector(frame).data()), length + 7);
    EXPECT_EQ(known && config.headerError, length < 8);
    EXPECT_EQ(config.radioParam2, length == 0 ? 0U : length == 8 ? 0x06070855U : 0x06070809U);
  }
  kiv_Config config;
  bool known = true;
  EXPECT_EQ(_readHeaderFrame(&config, &known, Bytes{kMagic1, kMagic0}.data()), -1);
  const BlockArray cut = header(505).time_base(0x0102).bytes();
  EXPECT_TRUE(_readConfig(&config, Bytes(cut.begin(), cut.end()).data()));
  EXPECT_EQ(config.frequency, 0x0102);
}

}  // namespace
}  // namespace vortena::testing
