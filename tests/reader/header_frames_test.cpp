#include "reader/header_frames.h"

#include <gmock/gmock.h>

#include <numeric>

#include "support/recording_builder.h"

namespace vortena::testing {
namespace {

using List = std::vector<double>;
using Config = const kiv_Config&;

kiv_Config decode(const HeaderBuilder& builder) {
  kiv_Config config;
  EXPECT_TRUE(_readConfig(&config, builder.bytes()));
  return config;
}

/// Payload bytes 1, 2, 3 ...
Bytes counting(int length) {
  Bytes payload(static_cast<std::size_t>(length));
  std::iota(payload.begin(), payload.end(), std::uint8_t{1});
  return payload;
}

List list(auto... values) { return {static_cast<double>(values)...}; }

List date(const kiv_Config::DateStruct& d) { return list(d.second, d.minute, d.hour, d.day, d.month, d.year); }

List group(const kiv_Config::ScheduleConfig::Group& g) { return list(g.b1, g.b2, g.b3, g.w, g.t); }

List sensor(const kiv_Config::SensorConfig& s) {
  return list(s.id, s.frequency, s.offsetX, s.offsetY, s.offsetZ, s.gainX, s.gainY, s.gainZ, s.auxiliary);
}

const List kLegacySensor{1, 2, 0x04050607, 0x08090A0B, 0x0C0D0E0F, 0x10111213, 0x14151617, 0x18191A1B, 0};
const List kSensor{1,
                   0x0203,
                   0x05060708 / 1e4,
                   0x090A0B0C / 1e4,
                   0x0D0E0F10 / 1e4,
                   0x11121314 / 1e4,
                   0x15161718 / 1e4,
                   0x191A1B1C / 1e4,
                   0x1D1E};

struct FrameCase {
  int family, id, minimum;
  List (*fields)(Config);
  List expected;  // of the counting payload
};

// clang-format off
const FrameCase kFrameCases[] = {
    {1, 1, 6, [](Config c) { return list(c.hasDevice, c.deviceId, c.deviceType, c.bodyLocation); }, {1, 0x01020304, 5, 6}},
    {1, 5, 2, [](Config c) { return list(c.radioMode, c.radioChannel); }, {1, 2}},
    {2, 0, 27, [](Config c) { return sensor(c.accel); }, kLegacySensor},
    {2, 1, 27, [](Config c) { return sensor(c.gyro); }, kLegacySensor},
    {2, 2, 2, [](Config c) { return list(c.baro.present, c.baro.id, c.baro.frequency); }, {1, 1, 2}},
    {3, 0, 7, [](Config c) { return date(c.createdAt); }, {1, 2, 3, 4, 5, 0x0607}},
    {3, 1, 4, [](Config c) { return list(c.extVersion, c.extMajorVersion, c.extMinorVersion); }, {0x0102, 3, 4}},
    {3, 2, 30, [](Config c) { return sensor(c.accel); }, kSensor},
    {3, 3, 30, [](Config c) { return sensor(c.gyro); }, kSensor},
    {3, 4, 5, [](Config c) { return list(c.baro.present, c.baro.id, c.baro.frequency, c.baro.auxiliary); }, {1, 1, 0x0203, 0x0405}},
    {3, 6, 7, [](Config c) { return date(c.endDate); }, {1, 2, 3, 4, 5, 0x0607}},
    {3, 8, 2, [](Config c) { return list(c.frequency); }, {0x0102}},
    {3, 9, 8, [](Config c) { return list(c.radioMode, c.radioParam1); }, {1, 0x02030405}},
    {3, 10, 5, [](Config c) { return list(c.mag.present, c.mag.id, c.mag.frequency, c.mag.auxiliary); }, {1, 1, 0x0203, 0x0405}},
    {3, 11, 4, [](Config c) { return list(c.accel.parameter); }, {0x01020304}},
    {3, 12, 4, [](Config c) { return list(c.gyro.parameter); }, {0x01020304}},
    {3, 13, 4, [](Config c) { return list(c.baro.parameter); }, {0x01020304}},
    {3, 14, 4, [](Config c) { return list(c.gps.parameter); }, {0x01020304}},
    {3, 15, 4, [](Config c) { return list(c.mag.parameter); }, {0x01020304}},
    {3, 16, 3, [](Config c) { return list(c.radioByte.present, c.radioByte.id, c.radioByte.frequency); }, {1, 1, 0x0203}},
    {3, 17, 5, [](Config c) { return list(c.radioTime.present, c.radioTime.id, c.radioTime.frequency, c.radioTime.option1, c.radioTime.option2); }, {1, 1, 0x0203, 4, 5}},
    {3, 18, 21, [](Config c) { return list(c.schedule.present, c.schedule.id, c.schedule.value); }, {1, 1, 0x0203}},
    {3, 18, 21, [](Config c) { return group(c.schedule.first); }, {4, 5, 6, 0x0708, 0x090A0B0C}},
    {3, 18, 21, [](Config c) { return group(c.schedule.second); }, {13, 14, 15, 0x1011, 0x12131415}},
    {3, 19, 5, [](Config c) { return list(c.auxA.present, c.auxA.id, c.auxA.value1, c.auxA.value2); }, {1, 1, 0x0203, 0x0405}},
    {3, 20, 5, [](Config c) { return list(c.auxB.present, c.auxB.id, c.auxB.value1, c.auxB.value2); }, {1, 1, 0x0203, 0x0405}},
    {3, 21, 2, [](Config c) { return list(c.measureId); }, {0x0102}},
    {3, 22, 3, [](Config c) { return list(c.event.present, c.event.id, c.event.frequency); }, {1, 1, 0x0203}},
};
// clang-format on

TEST(HeaderFrames, FillTheirFieldsFromTheirMinimumLengthOn) {
  for (const FrameCase& k : kFrameCases) {
    for (const int length : {k.minimum - 1, k.minimum, k.minimum + 1}) {
      SCOPED_TRACE(::testing::Message() << "frame " << k.family << "/" << k.id << " of " << length);
      const bool fits = length >= k.minimum;
      const kiv_Config config = decode(header().frame(k.family, k.id, counting(length)).device(9, 9, 9));
      EXPECT_EQ(config.headerError, !fits);
      if (k.family != 1 || k.id != 1) {
        EXPECT_EQ(k.fields(config), fits ? k.expected : k.fields(kiv_Config()));
        EXPECT_EQ(config.deviceId, 9U) << "the next frame was not found";
      } else if (fits) {
        EXPECT_EQ(k.fields(decode(header().frame(1, 1, counting(length)))), k.expected);
      }
    }
  }
}

TEST(HeaderFrames, RangeCodesAndCalibrationAreSigned) {
  const struct {
    std::uint8_t code;
    int accel_g, gyro_deg_s;
  } cases[] = {{0, 2, 245}, {1, 16, 500}, {2, 4, 1000}, {3, 8, 2000}, {4, 4, 125}, {5, 4, 1000}, {0xFF, 4, 1000}};
  for (const auto& k : cases) {
    const kiv_Config config = decode(header().accel(100, k.code, {{-5, 0, 0}, {1, 1, 1}}).gyro(100, k.code));
    EXPECT_EQ(config.accel.range, k.accel_g) << int{k.code};
    EXPECT_EQ(config.gyro.range, k.gyro_deg_s) << int{k.code};
    EXPECT_EQ(config.accel.offsetX, -0.0005);
  }
}

TEST(HeaderFrames, ExactLengthsOfFirmwareAndPositionReceiver) {
  const auto firmware = [](const Bytes& payload) {
    const kiv_Config c = decode(header().frame(1, 2, payload));
    return list(c.headerError, c.hasDevice, c.version, c.majorVersion, c.minorVersion);
  };
  EXPECT_EQ(firmware({0, 1, 0, 2, 0, 3}), (List{0, 1, 1, 2, 3}));
  EXPECT_EQ(firmware(be(123, 4)), (List{0, 1, 1, 2, 3}));
  EXPECT_EQ(firmware(be(999, 4)), (List{0, 1, 9, 9, 9}));
  EXPECT_EQ(firmware(be(1000, 4)), (List{0, 1, 0, 0, 0}));
  EXPECT_EQ(firmware(be(-123, 4)), (List{0, 1, -1, -2, -3}));
  for (const int length : {3, 5, 7}) { EXPECT_EQ(firmware(counting(length)), (List{1, 0, 0, 0, 0})); }

  const auto gps = [](const Bytes& payload) {
    const kiv_Config c = decode(header().frame(3, 7, payload));
    return list(c.headerError, c.gps.present, c.gps.id, c.gps.frequency, c.gps.mode, c.gps.auxiliary);
  };
  EXPECT_EQ(gps(join({{9}, be(10, 4), {7, 1, 2}})), (List{0, 1, 9, 100, 7, 0x0102}));
  EXPECT_EQ(gps(join({{9}, be(0, 4), {7, 1, 2}})), (List{0, 1, 9, 0, 7, 0x0102}));
  EXPECT_EQ(gps(counting(5)), (List{0, 1, 1, 0x0203, 0, 0x0405}));
  for (const int length : {4, 6, 7, 9}) { EXPECT_EQ(gps(counting(length)), (List{1, 0, 0, 0, 0, 0})); }
}

TEST(HeaderFrames, SecondRadioParameterReachesIntoTheTrailer) {
  EXPECT_EQ(decode(header().frame(3, 9, counting(8))).radioParam2, 0x060708FFU);
  const kiv_Config nine = decode(header().frame(3, 9, counting(9)));
  EXPECT_EQ(nine.radioParam2, 0x06070809U);
  EXPECT_EQ(nine.radioChannel, 0);
  EXPECT_EQ(decode(header().frame(3, 9, counting(10))).radioChannel, 10);
}

TEST(HeaderFrames, UnknownFramesAreKeptWholeAndInOrder) {
  const int unknown[][2] = {{0, 1}, {4, 1}, {1, 0}, {1, 3}, {1, 4}, {1, 6}, {2, 3}, {3, 5}, {3, 23}, {3, 255}};
  HeaderBuilder builder = header().time_base(100);
  Bytes expected;
  for (const auto& [family, id] : unknown) {
    builder.frame(family, id, {7, 8}).time_base(100);
    const Bytes frame{kMagic0, kMagic1, std::uint8_t(family), std::uint8_t(id), 2, 7, 8, 0xFF, 0xFE};
    expected.insert(expected.end(), frame.begin(), frame.end());
  }
  EXPECT_EQ(decode(builder).unknownFrames, expected);
}

TEST(HeaderFrames, OneRightMagicByteOpensAFrameAndNoneEndsTheHeader) {
  const Bytes time_base{3, 8, 2, 0, 100, 0, 0};
  EXPECT_EQ(decode(header().device(1, 1, 1).raw({kMagic0, 0}).raw(time_base)).frequency, 100);
  EXPECT_EQ(decode(header().device(1, 1, 1).raw({0, kMagic1}).raw(time_base)).frequency, 100);
  EXPECT_EQ(decode(header().device(1, 1, 1).raw({kMagic1, kMagic0}).raw(time_base)).frequency, 0);
  EXPECT_EQ(decode(header().device(1, 1, 1).raw({0}).time_base(100)).frequency, 0);
}

TEST(HeaderFrames, StartIsSoughtUpToPosition507) {
  const auto starts_at = [](std::size_t position) {
    kiv_Config config;
    return _readConfig(&config, header(position).time_base(100).bytes());
  };
  EXPECT_TRUE(starts_at(1));
  EXPECT_TRUE(starts_at(507));
  EXPECT_FALSE(starts_at(508));
  EXPECT_EQ(decode(header(1).time_base(100)).frequency, 100);
}

TEST(HeaderFrames, WhatRunsOverTheBlockReadsAsZero) {
  EXPECT_EQ(decode(header(505).time_base(0x0102)).frequency, 0x0102);
  EXPECT_EQ(decode(header(506).time_base(0x0102)).frequency, 0x0100);
  EXPECT_EQ(decode(header(507).time_base(0x0102)).frequency, 0);

  const kiv_Config longest = decode(header(507).raw({kMagic0, kMagic1, 9, 9, 255}));
  EXPECT_EQ(longest.unknownFrames.size(), kMaxFrameSize);
  const kiv_Config last_byte = decode(header(500).raw({kMagic0, kMagic1, 9, 9, 4, 1, 2, 3, 4, 0, 0, kMagic0}));
  EXPECT_EQ(last_byte.unknownFrames.size(), 11U + 7U) << "a frame opened by the block's last byte";
}

}  // namespace
}  // namespace vortena::testing
