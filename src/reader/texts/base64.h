// Base64 with the standard alphabet: carries header frames that the reader does not understand through text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vortena {

/// The Base64 text of `length` bytes, padded with "=" to whole groups of four, without line breaks.
std::string base64_encode(const unsigned char* bytes, unsigned int length);

/// The bytes of a Base64 text, up to its first "=" or other character outside the alphabet; what follows is
/// ignored. Of a last group, two or three characters give one or two bytes, a single one none.
std::vector<std::uint8_t> base64_decode(std::string_view text);

}  // namespace vortena
