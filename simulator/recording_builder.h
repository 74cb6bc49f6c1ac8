// A small language for recordings: header().time_base(100).accel(100).bytes() makes a header block,
// block(base).accel(delta, {x, y, z}).bytes() a data package, recording({...}) a file's bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <initializer_list>
#include <vector>

#include "reader/decoding/header_frames.h"

namespace vortena::simulator {

using Bytes = std::vector<std::uint8_t>;
using BlockArray = std::array<std::uint8_t, kBlockSize>;
using Axes = std::array<std::int64_t, 3>;
inline constexpr Axes kUnitGains{10000, 10000, 10000};

/// Identifiers that the builder gives to channels.
enum ChannelId : std::uint8_t { kAccelId = 200, kGyroId, kBaroId, kMagId, kRadioByteId, kRadioTimeId, kEventId };

inline Bytes join(std::initializer_list<Bytes> pieces) {
  Bytes all;
  for (const Bytes& piece : pieces) {
    all.insert(all.end(), piece.begin(), piece.end());
  }
  return all;
}

/// The low `size` bytes of a number, lowest first; be: highest first.
inline Bytes le(std::int64_t value, int size) {
  Bytes bytes;
  for (int k = 0; k < size; ++k) {
    bytes.push_back(static_cast<std::uint8_t>(value >> (8 * k) & UINT8_MAX));
  }
  return bytes;
}

inline Bytes be(std::int64_t value, int size) {
  const Bytes bytes = le(value, size);
  return {bytes.rbegin(), bytes.rend()};
}

inline Bytes be_axes(const Axes& axes, int size) {
  return join({be(axes[0], size), be(axes[1], size), be(axes[2], size)});
}

/// A header block under construction. Range codes: 1 is 16 g, 3 is 2000 deg/s.
class HeaderBuilder {
 public:
  explicit HeaderBuilder(std::size_t position) : position_(position) {}

  /// Cut off at the end of the block.
  HeaderBuilder& raw(const Bytes& bytes) {
    for (std::size_t i = 0; i < bytes.size() && position_ < kBlockSize; ++i) {
      block_[position_++] = bytes[i];
    }
    return *this;
  }
  HeaderBuilder& frame(int family, int id, const Bytes& payload) {
    const Bytes start{kMagic0, kMagic1, static_cast<std::uint8_t>(family), static_cast<std::uint8_t>(id)};
    return raw(join({start, be(static_cast<std::int64_t>(payload.size()), 1), payload, {0xFF, 0xFE}}));
  }
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
  HeaderBuilder& channel(int frame_id, ChannelId id, int hz, const Bytes& rest = {}) {
    return frame(3, frame_id, join({{id}, be(hz, 2), rest}));
  }
  /// Offsets and gains in ten-thousandths.
  HeaderBuilder& accel(int hz, std::uint8_t range_code = 1, const Axes& offsets = {}, const Axes& gains = kUnitGains) {
    return channel(2, kAccelId, hz, join({{range_code}, be_axes(offsets, 4), be_axes(gains, 4), {0, 0}}));
  }
  HeaderBuilder& gyro(int hz, std::uint8_t range_code = 3, const Axes& offsets = {}, const Axes& gains = kUnitGains) {
    return channel(3, kGyroId, hz, join({{range_code}, be_axes(offsets, 4), be_axes(gains, 4), {0, 0}}));
  }
  HeaderBuilder& baro(int hz) { return channel(4, kBaroId, hz, {0, 0}); }
  HeaderBuilder& mag(int hz) { return channel(10, kMagId, hz, {0, 0}); }
  HeaderBuilder& radio_byte(int hz) { return channel(16, kRadioByteId, hz); }
  HeaderBuilder& radio_time(int hz, std::uint8_t option1, std::uint8_t option2) {
    return channel(17, kRadioTimeId, hz, {option1, option2});
  }
  HeaderBuilder& event(int hz) { return channel(22, kEventId, hz); }

  [[nodiscard]] const BlockArray& bytes() const { return block_; }
  [[nodiscard]] kiv_Config decoded() const {
    kiv_Config config;
    _readConfig(&config, block_);
    return config;
  }

 private:
  BlockArray block_{};
  std::size_t position_;
};

/// A header block whose first frame opens at `position`.
inline HeaderBuilder header(std::size_t position = 0) {
  return HeaderBuilder(position);
}

/// A data package under construction; it takes 63 records.
class BlockBuilder {
 public:
  explicit BlockBuilder(std::uint32_t base_tick) { std::ranges::copy(be(base_tick, 4), &block_[kBaseTickOffset]); }

  /// Up to six payload bytes; the rest is zero.
  BlockBuilder& record(std::uint8_t id, std::uint8_t delta, const Bytes& payload) {
    std::ranges::copy(join({{id, delta}, payload}), &block_.at(next_));
    next_ += kRecordSize;
    return *this;
  }
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

inline BlockBuilder block(std::uint32_t base_tick) {
  return BlockBuilder(base_tick);
}

inline Bytes recording(const std::vector<BlockArray>& blocks) {
  Bytes bytes;
  for (const BlockArray& block : blocks) {
    bytes.insert(bytes.end(), block.begin(), block.end());
  }
  return bytes;
}

}  // namespace vortena::simulator
