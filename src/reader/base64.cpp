#include "reader/base64.h"

#include <cstdint>
#include <string_view>

namespace vortena {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned int kGroupBytes = 3;
constexpr unsigned int kGroupCharacters = 4;
constexpr unsigned int kBitsPerCharacter = 6;
constexpr std::uint32_t kCharacterMask = (1U << kBitsPerCharacter) - 1;

/// Up to three bytes as a 24-bit number, first byte on top, missing ones zero.
std::uint32_t group_bits(const unsigned char* bytes, unsigned int count) {
  std::uint32_t bits = 0;
  for (unsigned int k = 0; k < kGroupBytes; ++k) {
    bits = bits << 8 | (k < count ? bytes[k] : 0U);
  }
  return bits;
}

}  // namespace

std::string base64_encode(const unsigned char* bytes, unsigned int length) {
  std::string text;
  text.reserve((std::size_t{length} + kGroupBytes - 1) / kGroupBytes * kGroupCharacters);
  for (unsigned int position = 0; position < length; position += kGroupBytes) {
    const unsigned int count = length - position < kGroupBytes ? length - position : kGroupBytes;
    const std::uint32_t bits = group_bits(bytes + position, count);
    for (unsigned int k = 0; k < kGroupCharacters; ++k) {
      const unsigned int shift = (kGroupCharacters - 1 - k) * kBitsPerCharacter;
      text += k <= count ? kAlphabet[bits >> shift & kCharacterMask] : '=';
    }
    if (length - position <= kGroupBytes) {
      break;
    }
  }
  return text;
}

}  // namespace vortena
