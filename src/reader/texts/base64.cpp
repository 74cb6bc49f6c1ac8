// Groups of three bytes against groups of four six-bit characters.
#include "reader/texts/base64.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace vortena {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr unsigned int kGroupBytes = 3;
constexpr unsigned int kGroupCharacters = 4;
constexpr unsigned int kBitsPerCharacter = 6;
constexpr unsigned int kBitsPerByte = 8;
constexpr std::uint32_t kCharacterMask = (1U << kBitsPerCharacter) - 1;

/// Up to three bytes as a 24-bit number, first byte on top, missing ones zero.
std::uint32_t group_bits(const unsigned char* bytes, unsigned int count) {
  std::uint32_t bits = 0;
  for (unsigned int k = 0; k < kGroupBytes; ++k) {
    bits = bits << kBitsPerByte | (k < count ? bytes[k] : 0U);
  }
  return bits;
}

/// Position of each character in the alphabet, or -1.
constexpr std::array<int, UINT8_MAX + 1> kPositions = [] {
  std::array<int, UINT8_MAX + 1> positions{};
  positions.fill(-1);
  for (std::size_t k = 0; k < kAlphabet.size(); ++k) {
    positions[static_cast<unsigned char>(kAlphabet[k])] = static_cast<int>(k);
  }
  return positions;
}();

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

std::vector<std::uint8_t> base64_decode(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  std::uint32_t bits = 0;
  unsigned int bit_count = 0;  // bits read and not yet given out
  for (const char character : text) {
    const int position = kPositions[static_cast<unsigned char>(character)];
    if (position < 0) {
      break;
    }
    bits = bits << kBitsPerCharacter | static_cast<std::uint32_t>(position);
    bit_count += kBitsPerCharacter;
    if (bit_count >= kBitsPerByte) {
      bit_count -= kBitsPerByte;
      bytes.push_back(static_cast<std::uint8_t>(bits >> bit_count & UINT8_MAX));
    }
  }
  return bytes;
}

}  // namespace vortena
