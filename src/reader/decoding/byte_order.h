// Numbers out of bytes, by shifts: independent of the machine's own byte order and of alignment.
#pragma once

#include <cstdint>

namespace vortena {

inline std::uint16_t u16_be(const std::uint8_t* bytes) {
  return static_cast<std::uint16_t>((bytes[0] << 8) | bytes[1]);
}

inline std::int16_t s16_be(const std::uint8_t* bytes) {
  return static_cast<std::int16_t>(u16_be(bytes));
}

inline std::uint32_t u32_be(const std::uint8_t* bytes) {
  return (std::uint32_t{u16_be(bytes)} << 16) | u16_be(bytes + 2);
}

inline std::int32_t s32_be(const std::uint8_t* bytes) {
  return static_cast<std::int32_t>(u32_be(bytes));
}

inline std::int16_t s16_le(const std::uint8_t* bytes) {
  return static_cast<std::int16_t>((bytes[1] << 8) | bytes[0]);
}

/// Unsigned 24-bit number.
inline std::int32_t u24_le(const std::uint8_t* bytes) {
  return (bytes[2] << 16) | (bytes[1] << 8) | bytes[0];
}

}  // namespace vortena
