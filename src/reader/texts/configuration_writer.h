// Header frames from a configuration text: entries separated by ":", their fields by ",", the first field
// being the key.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vortena {

/// Appends the pieces of `text` between separators to `out`. An empty text gives no piece, adjacent
/// separators an empty one, a trailing separator no further one.
void _split(const std::string& text, char separator, std::vector<std::string>& out);

/// The frames of a configuration text, in its order, without any fill. docs/configuration-text.md lists the
/// keys. Throws std::invalid_argument, naming entry and field, for an empty entry or one with too few
/// fields, for a field that is not a number, and for more frames than a header block holds; std::out_of_range
/// for a number beyond signed 32 bits. Numbers wider than their place in the frame keep their low bytes.
std::vector<std::uint8_t> configuration_frames(std::string_view text);

}  // namespace vortena
