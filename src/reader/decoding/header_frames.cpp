// Header frames: one table line a frame, as in docs/recording-format.md.
#include "reader/decoding/header_frames.h"

#include <algorithm>
#include <array>
#include <optional>

#include "reader/decoding/byte_order.h"

namespace vortena {
namespace {

/// A frame's payload; its numbers are big-endian. The caller has checked that the offsets lie within the
/// frame.
class Payload {
 public:
  explicit Payload(FrameBytes frame) : bytes_(frame.data() + kFramePayloadOffset), length_(frame[kFrameLengthOffset]) {}

  [[nodiscard]] int length() const { return length_; }
  [[nodiscard]] std::int32_t u8(int k) const { return bytes_[k]; }
  [[nodiscard]] std::int32_t s8(int k) const { return static_cast<std::int8_t>(bytes_[k]); }
  [[nodiscard]] std::int32_t u16(int k) const { return u16_be(bytes_ + k); }
  [[nodiscard]] std::uint32_t u32(int k) const { return u32_be(bytes_ + k); }
  [[nodiscard]] std::int32_t s32(int k) const { return s32_be(bytes_ + k); }

 private:
  const std::uint8_t* bytes_;
  int length_;
};

enum class Length : std::uint8_t { kAtLeast, kExactly };
using enum Length;

/// One way of laying out a frame. A frame may have several rows, for different lengths.
struct FrameLayout {
  int family;
  int id;
  Length rule;
  int length;  ///< bytes of payload
  void (*store)(kiv_Config&, const Payload&);

  [[nodiscard]] bool fits(int payload_length) const {
    return rule == kExactly ? payload_length == length : payload_length >= length;
  }
};

void store_device(kiv_Config& c, const Payload& p) {
  c.hasDevice = true;
  c.deviceId = p.u32(0);
  c.deviceType = p.u8(4);
  c.bodyLocation = p.u8(5);
}

/// Four-byte form: one signed decimal number of three digits, major release first; above 999 it says nothing.
void store_packed_firmware(kiv_Config& c, const Payload& p) {
  constexpr std::int32_t kHighest = 999;
  const std::int32_t number = p.s32(0);
  const std::int32_t digits = number <= kHighest ? number : 0;
  c.hasDevice = true;
  c.version = digits / 100;
  c.majorVersion = digits % 100 / 10;
  c.minorVersion = digits % 10;
}

void store_firmware(kiv_Config& c, const Payload& p) {
  c.hasDevice = true;
  c.version = p.u16(0);
  c.majorVersion = p.u16(2);
  c.minorVersion = p.u16(4);
}

void store_date(kiv_Config::DateStruct& date, const Payload& p) {
  date = {p.u8(0), p.u8(1), p.u8(2), p.u8(3), p.u8(4), p.u16(5)};
}

/// The six calibration values of a sensor frame: offsets X Y Z, then gains X Y Z, each a 32-bit number over
/// `divisor`.
void store_calibration(kiv_Config::SensorConfig& sensor, const Payload& p, int first, double divisor) {
  const std::array fields{&sensor.offsetX, &sensor.offsetY, &sensor.offsetZ,
                          &sensor.gainX,   &sensor.gainY,   &sensor.gainZ};
  int k = first;
  for (double* field : fields) {
    *field = p.s32(k) / divisor;
    k += 4;
  }
}

/// Legacy frames hold offsets and gains as whole numbers.
void store_legacy_sensor(kiv_Config::SensorConfig& sensor, const Payload& p) {
  sensor.id = p.u8(0);
  sensor.present = true;
  sensor.frequency = p.u8(1);
  sensor.range = p.u8(2);
  store_calibration(sensor, p, 3, 1.0);
}

void store_sensor(kiv_Config::SensorConfig& sensor, const Payload& p, std::span<const int> ranges, int fallback_range) {
  constexpr double kFixedPoint = 10000.0;
  const int code = p.s8(3);
  sensor.id = p.u8(0);
  sensor.present = true;
  sensor.frequency = p.u16(1);
  sensor.range =
      code >= 0 && code < static_cast<int>(ranges.size()) ? ranges[static_cast<std::size_t>(code)] : fallback_range;
  store_calibration(sensor, p, 4, kFixedPoint);
  sensor.auxiliary = p.u16(28);
}

void store_accel(kiv_Config& c, const Payload& p) {
  static constexpr std::array kRanges{2, 16, 4, 8};  // g; in the order of the sensor's own codes, not ascending
  return store_sensor(c.accel, p, kRanges, 4);
}

void store_gyro(kiv_Config& c, const Payload& p) {
  static constexpr std::array kRanges{245, 500, 1000, 2000, 125};  // deg/s
  return store_sensor(c.gyro, p, kRanges, 1000);
}

void store_legacy_baro(kiv_Config& c, const Payload& p) {
  c.baro.id = p.u8(0);
  c.baro.present = true;
  c.baro.frequency = p.u8(1);
}

/// Barometer and three-axis raw channel share a layout: id, frequency, auxiliary.
template <typename Settings>
void store_with_auxiliary(Settings& settings, const Payload& p) {
  settings.id = p.u8(0);
  settings.present = true;
  settings.frequency = p.u16(1);
  settings.auxiliary = p.u16(3);
}

/// A period in milliseconds as a whole frequency in Hz. A period of 0 says nothing and gives 0.
std::int32_t frequency_of_period(std::uint32_t period_ms) {
  return period_ms == 0 ? 0 : static_cast<std::int32_t>(1.0 / (period_ms * 0.001));
}

void store_gps_by_period(kiv_Config& c, const Payload& p) {
  c.gps.id = p.u8(0);
  c.gps.present = true;
  c.gps.frequency = frequency_of_period(p.u32(1));
  c.gps.mode = p.u8(5);
  c.gps.auxiliary = p.u16(6);
}

void store_version(kiv_Config& c, const Payload& p) {
  c.extVersion = p.u16(0);
  c.extMajorVersion = p.u8(2);
  c.extMinorVersion = p.u8(3);
}

void store_legacy_radio(kiv_Config& c, const Payload& p) {
  c.radioMode = p.u8(0);
  c.radioChannel = p.u8(1);
}

/// With the minimum length of 8 the second parameter takes in the first trailer byte, on purpose: its low byte is 255
/// then.
void store_radio(kiv_Config& c, const Payload& p) {
  constexpr int kLengthWithChannel = 10;
  c.radioMode = p.u8(0);
  c.radioParam1 = p.u32(1);
  c.radioParam2 = p.u32(5);
  if (p.length() >= kLengthWithChannel) {
    c.radioChannel = p.u8(9);
  }
}

void store_one_byte_channel(kiv_Config::AuxConfig1& settings, const Payload& p) {
  settings = {p.u8(0), p.u16(1), true};
}

void store_radio_time(kiv_Config& c, const Payload& p) {
  c.radioTime = {p.u8(0), p.u16(1), p.u8(3), p.u8(4), true};
}

kiv_Config::ScheduleConfig::Group schedule_group(const Payload& p, int k) {
  return {p.u8(k), p.u8(k + 1), p.u8(k + 2), p.u16(k + 3), p.u32(k + 5)};
}

void store_schedule(kiv_Config& c, const Payload& p) {
  c.schedule = {p.u8(0), p.u16(1), schedule_group(p, 3), schedule_group(p, 12), true};
}

void store_two_words(kiv_Config::AuxConfig2w& settings, const Payload& p) {
  settings = {p.u8(0), p.u16(1), p.u16(3), true};
}

constexpr std::array kFrameLayouts{
    FrameLayout{1, 1, kAtLeast, 6, store_device},
    FrameLayout{1, 2, kExactly, 6, store_firmware},
    FrameLayout{1, 2, kExactly, 4, store_packed_firmware},
    FrameLayout{1, 5, kAtLeast, 2, store_legacy_radio},
    FrameLayout{2, 0, kAtLeast, 27, [](kiv_Config& c, const Payload& p) { store_legacy_sensor(c.accel, p); }},
    FrameLayout{2, 1, kAtLeast, 27, [](kiv_Config& c, const Payload& p) { store_legacy_sensor(c.gyro, p); }},
    FrameLayout{2, 2, kAtLeast, 2, store_legacy_baro},
    FrameLayout{3, 0, kAtLeast, 7, [](kiv_Config& c, const Payload& p) { store_date(c.createdAt, p); }},
    FrameLayout{3, 1, kAtLeast, 4, store_version},
    FrameLayout{3, 2, kAtLeast, 30, store_accel},
    FrameLayout{3, 3, kAtLeast, 30, store_gyro},
    FrameLayout{3, 4, kAtLeast, 5, [](kiv_Config& c, const Payload& p) { store_with_auxiliary(c.baro, p); }},
    FrameLayout{3, 6, kAtLeast, 7, [](kiv_Config& c, const Payload& p) { store_date(c.endDate, p); }},
    FrameLayout{3, 7, kExactly, 8, store_gps_by_period},
    FrameLayout{3, 7, kExactly, 5, [](kiv_Config& c, const Payload& p) { store_with_auxiliary(c.gps, p); }},
    FrameLayout{3, 8, kAtLeast, 2, [](kiv_Config& c, const Payload& p) { c.frequency = p.u16(0); }},
    FrameLayout{3, 9, kAtLeast, 8, store_radio},
    FrameLayout{3, 10, kAtLeast, 5, [](kiv_Config& c, const Payload& p) { store_with_auxiliary(c.mag, p); }},
    FrameLayout{3, 11, kAtLeast, 4, [](kiv_Config& c, const Payload& p) { c.accel.parameter = p.u32(0); }},
    FrameLayout{3, 12, kAtLeast, 4, [](kiv_Config& c, const Payload& p) { c.gyro.parameter = p.u32(0); }},
    FrameLayout{3, 13, kAtLeast, 4, [](kiv_Config& c, const Payload& p) { c.baro.parameter = p.u32(0); }},
    FrameLayout{3, 14, kAtLeast, 4, [](kiv_Config& c, const Payload& p) { c.gps.parameter = p.u32(0); }},
    FrameLayout{3, 15, kAtLeast, 4, [](kiv_Config& c, const Payload& p) { c.mag.parameter = p.u32(0); }},
    FrameLayout{3, 16, kAtLeast, 3, [](kiv_Config& c, const Payload& p) { store_one_byte_channel(c.radioByte, p); }},
    FrameLayout{3, 17, kAtLeast, 5, store_radio_time},
    FrameLayout{3, 18, kAtLeast, 21, store_schedule},
    FrameLayout{3, 19, kAtLeast, 5, [](kiv_Config& c, const Payload& p) { store_two_words(c.auxA, p); }},
    FrameLayout{3, 20, kAtLeast, 5, [](kiv_Config& c, const Payload& p) { store_two_words(c.auxB, p); }},
    FrameLayout{3, 21, kAtLeast, 2, [](kiv_Config& c, const Payload& p) { c.measureId = p.u16(0); }},
    FrameLayout{3, 22, kAtLeast, 3, [](kiv_Config& c, const Payload& p) { store_one_byte_channel(c.event, p); }},
};

/// Decodes a payload; false when no row of the table names the frame. One whose length fits no row stores nothing.
bool store_frame(kiv_Config& config, int family, int id, const Payload& payload) {
  bool known = false;
  for (const FrameLayout& layout : kFrameLayouts) {
    if (layout.family == family && layout.id == id) {
      known = true;
      if (layout.fits(payload.length())) {
        layout.store(config, payload);
        return true;
      }
    }
  }
  config.headerError = config.headerError || known;
  return known;
}

/// A header block followed by zeros, so that a frame opened at its last byte still lies in known memory.
using PaddedBlock = std::array<std::uint8_t, kBlockSize + kMaxFrameSize>;

std::optional<std::size_t> find_header_start(BlockBytes block) {
  for (std::size_t position = 0; position <= kLastHeaderStart; ++position) {
    if (block[position] == kMagic0 && block[position + 1] == kMagic1) {
      return position;
    }
  }
  return std::nullopt;
}

void walk_frames(kiv_Config* config, const PaddedBlock& block, std::size_t position) {
  // The zeros behind the block fail the magic test, so the walk ends there at the latest.
  while (position < kBlockSize) {
    const auto frame = std::span(block).subspan(position).first<kMaxFrameSize>();
    bool known = true;
    const int size = _readHeaderFrame(config, &known, frame);
    if (size < 0) {
      return;
    }
    if (!known) {
      config->unknownFrames.insert(config->unknownFrames.end(), frame.begin(), frame.begin() + size);
    }
    position += static_cast<std::size_t>(size);
  }
}

/// One right magic byte is enough on purpose: a frame with a single damaged magic byte still decodes.
bool opens_like_frame(const std::uint8_t* bytes) {
  return bytes[0] == kMagic0 || bytes[1] == kMagic1;
}

}  // namespace

int _readHeaderFrame(kiv_Config* config, bool* known, FrameBytes frame) {
  if (!opens_like_frame(frame.data())) {
    return -1;
  }
  const Payload payload(frame);
  *known = store_frame(*config, frame[kFrameFamilyOffset], frame[kFrameIdOffset], payload) && *known;
  return payload.length() + static_cast<int>(kFrameOverhead);
}

int _readHeaderFrame(kiv_Config* config, bool* known, const std::uint8_t* frame) {
  if (!opens_like_frame(frame)) {
    return -1;
  }
  std::array<std::uint8_t, kMaxFrameSize> padded{};
  std::copy_n(frame, kFrameOverhead + frame[kFrameLengthOffset], padded.begin());
  return _readHeaderFrame(config, known, FrameBytes(padded));
}

bool _readConfig(kiv_Config* config, BlockBytes block) {
  const std::optional<std::size_t> start = find_header_start(block);
  if (!start) {
    return false;
  }
  PaddedBlock padded{};
  std::copy(block.begin(), block.end(), padded.begin());
  walk_frames(config, padded, *start);
  return true;
}

bool _readConfig(kiv_Config* config, const std::uint8_t* block) {
  return _readConfig(config, BlockBytes(block, kBlockSize));
}

}  // namespace vortena
