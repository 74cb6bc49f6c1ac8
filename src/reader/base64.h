// Base64 with the standard alphabet: carries header frames that the reader does not understand through text.
#pragma once

#include <string>

namespace vortena {

/// The Base64 text of `length` bytes, padded with "=" to whole groups of four, without line breaks.
std::string base64_encode(const unsigned char* bytes, unsigned int length);

}  // namespace vortena
