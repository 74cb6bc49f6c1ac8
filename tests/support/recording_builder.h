// A small language for recordings: header().time_base(100).accel(100).bytes() makes a header block,
// block(base).accel(delta, {x, y, z}).bytes() a data package, recording({...}) a file's bytes.
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <string>
#include <vector>

#include "reader/recording_format.h"

namespace vortena::testing {

using Bytes = std::vector<std::uint8_t>;
using BlockArray = std::array<std::uint8_t, kBlockSize>;
using Axes = std::array<std::int64_t, 3>;

/// Identifiers that the builder gives to channels.
enum ChannelId : std::uint8_t { kAccelId = 200, kGyroId, kBaroId, kMagId, kRadioByteId, kRadioTimeId, kEventId };

/// The low `size` bytes of a number, highest first.
Bytes be(std::int64_t value, int size);
Bytes le(std::int64_t value, int size);
Bytes be_axes(const Axes& values, int size);
Bytes join(std::initializer_list<Bytes> pieces);

/// Offsets and gains of a sensor, in ten-thousandths.
struct Calibration {
  Axes offsets{0, 0, 0};
  Axes gains{10000, 10000, 10000};
};

/// A header block under construction. Range codes: 1 is 16 g, 3 is 2000 deg/s.
class HeaderBuilder {
 public:
  explicit HeaderBuilder(std::size_t position) : position_(position) {}

  HeaderBuilder& raw(const Bytes& bytes);  ///< cut off at the end of the block
  HeaderBuilder& frame(int family, int id, const Bytes& payload);
  HeaderBuilder& device(std::uint32_t id, std::uint8_t type, std::uint8_t location) {
    return frame(1, 1, join({be(id, 4), {type, location}}));
  }
  HeaderBuilder& firmware(int version, int major, int minor) {
    return frame(1, 2, be_axes({version, major, minor}, 2));
  }
  HeaderBuilder& time_base(int ticks_per_second) { return frame(3, 8, be(ticks_per_second, 2)); }
  HeaderBuilder& date(int frame_id, const Bytes& second_to_month, int year) {
    return frame(3, frame_id, join({second_to_month, be(year, 2)}));
  }
  HeaderBuilder& accel(int hz, std::uint8_t range_code = 1, const Calibration& c = {}) {
    return sensor(2, kAccelId, hz, range_code, c);
  }
  HeaderBuilder& gyro(int hz, std::uint8_t range_code = 3, const Calibration& c = {}) {
    return sensor(3, kGyroId, hz, range_code, c);
  }
  HeaderBuilder& baro(int hz) { return frame(3, 4, join({{kBaroId}, be(hz, 2), {0, 0}})); }
  HeaderBuilder& mag(int hz) { return frame(3, 10, join({{kMagId}, be(hz, 2), {0, 0}})); }
  HeaderBuilder& radio_byte(int hz) { return frame(3, 16, join({{kRadioByteId}, be(hz, 2)})); }
  HeaderBuilder& radio_time(int hz, std::uint8_t option1, std::uint8_t option2) {
    return frame(3, 17, join({{kRadioTimeId}, be(hz, 2), {option1, option2}}));
  }
  HeaderBuilder& event(int hz) { return frame(3, 22, join({{kEventId}, be(hz, 2)})); }

  [[nodiscard]] const BlockArray& bytes() const { return block_; }

 private:
  HeaderBuilder& sensor(int id, std::uint8_t channel, int hz, std::uint8_t range_code, const Calibration& c) {
    return frame(3, id, join({{channel}, be(hz, 2), {range_code}, be_axes(c.offsets, 4), be_axes(c.gains, 4), {0, 0}}));
  }

  BlockArray block_{};
  std::size_t position_;
};

/// A header block whose first frame opens at `position`.
inline HeaderBuilder header(std::size_t position = 0) { return HeaderBuilder(position); }

/// A data package under construction; it takes 63 records.
class BlockBuilder {
 public:
  explicit BlockBuilder(std::uint32_t base_tick);

  /// Up to six payload bytes; the rest is zero.
  BlockBuilder& record(std::uint8_t id, std::uint8_t delta, const Bytes& payload);
  BlockBuilder& accel(std::uint8_t delta, const Axes& c) { return record(kAccelId, delta, be_axes(c, 2)); }
  BlockBuilder& gyro(std::uint8_t delta, const Axes& c) { return record(kGyroId, delta, be_axes(c, 2)); }
  BlockBuilder& mag(std::uint8_t delta, const Axes& c) { return record(kMagId, delta, be_axes(c, 2)); }
  BlockBuilder& baro(std::uint8_t delta, std::int64_t pressure, std::int64_t temperature) {
    return record(kBaroId, delta, join({le(pressure, 3), le(temperature, 2)}));
  }
  BlockBuilder& radio_byte(std::uint8_t delta, std::uint8_t value) { return record(kRadioByteId, delta, {value}); }
  BlockBuilder& radio_time(std::uint8_t delta, std::int64_t ticks) { return record(kRadioTimeId, delta, be(ticks, 4)); }
  BlockBuilder& event(std::uint8_t delta, std::uint8_t value) {
    return record(kEventId, delta, {0, 0, 0, 0, 0, value});
  }

  [[nodiscard]] bool full() const { return next_ == kBlockSize; }
  [[nodiscard]] const BlockArray& bytes() const { return block_; }

 private:
  BlockArray block_{};
  std::size_t next_ = kFirstRecordOffset;
};

inline BlockBuilder block(std::uint32_t base_tick) { return BlockBuilder(base_tick); }

Bytes recording(std::initializer_list<BlockArray> blocks);

/// A folder of its own for a test's files, removed with everything in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return (folder_ / name).string(); }
  std::string write(const std::string& name, const Bytes& bytes) const;
  [[nodiscard]] std::string read(const std::string& name) const;

 private:
  std::filesystem::path folder_;
};

}  // namespace vortena::testing
