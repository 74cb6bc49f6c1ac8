// One table of recipes, a line a key; texts are walked piece by piece.
#include "reader/texts/configuration_writer.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <limits>
#include <stdexcept>
#include <string_view>

#include "reader/decoding/recording_format.h"
#include "reader/texts/base64.h"

namespace vortena {
namespace {

/// Gives the pieces of a text one by one, so that a long text is not held a second time as a list.
class Pieces {
 public:
  Pieces(std::string_view text, char separator) : rest_(text), separator_(separator) {}

  /// The next piece in `piece`, or false at the end.
  bool next(std::string_view& piece) {
    if (rest_.empty()) {
      return false;
    }
    const std::size_t end = rest_.find(separator_);
    piece = rest_.substr(0, end);
    rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
    return true;
  }

 private:
  std::string_view rest_;
  char separator_;
};

/// Sensor identifiers that the writer gives, whatever the recording used.
constexpr std::uint8_t kAccelIdentifier = 19;
constexpr std::uint8_t kGyroIdentifier = 20;
constexpr std::uint8_t kBaroIdentifier = 21;

constexpr std::array<std::uint8_t, kFrameTrailerSize> kTrailer{0xFF, 0xFE};
constexpr std::size_t kMaxValues = 8;

/// A frame's payload: the identifier, if it has one, then the values, each in its number of bytes, highest
/// first.
struct FrameRecipe {
  std::string_view key;
  std::uint8_t family;
  std::uint8_t id;
  std::uint8_t identifier;  ///< 0: none
  std::size_t value_count;
  std::array<std::uint8_t, kMaxValues> widths;
};

constexpr std::array kRecipes{
    FrameRecipe{"accel", 2, 0, kAccelIdentifier, 8, {1, 1, 4, 4, 4, 4, 4, 4}},
    FrameRecipe{"gyro", 2, 1, kGyroIdentifier, 8, {1, 1, 4, 4, 4, 4, 4, 4}},
    FrameRecipe{"baro", 2, 2, kBaroIdentifier, 1, {1}},
    FrameRecipe{"device", 1, 1, 0, 3, {4, 1, 1}},
    FrameRecipe{"firmware", 1, 2, 0, 3, {2, 2, 2}},
    FrameRecipe{"radio", 1, 5, 0, 2, {1, 1}},
};
constexpr std::string_view kUnknownFramesKey = "unknownFrames";

/// Where in the text the writer is, for messages.
struct Place {
  std::size_t entry;  ///< from 1
  std::string_view key;
  std::size_t field = 0;  ///< from 1, the key being field 1; 0: the entry as a whole

  [[nodiscard]] std::string describe(std::string_view problem) const {
    std::string text = "Configuration entry " + std::to_string(entry);
    if (!key.empty()) {
      text.append(" (").append(key).append(")");
    }
    if (field > 0) {
      text.append(", field ").append(std::to_string(field));
    }
    return text.append(": ").append(problem);
  }
};

/// Leading blanks, a sign, then digits up to the first other character.
std::int32_t parse_decimal(std::string_view text, const Place& place) {
  const auto is_blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
  const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
  auto position = std::find_if_not(text.begin(), text.end(), is_blank);
  const bool negative = position != text.end() && *position == '-';
  if (position != text.end() && (*position == '-' || *position == '+')) {
    ++position;
  }
  if (position == text.end() || !is_digit(*position)) {
    throw std::invalid_argument(place.describe("not a number"));
  }
  std::int64_t value = 0;
  for (; position != text.end() && is_digit(*position); ++position) {
    value = value * 10 + (negative ? '0' - *position : *position - '0');
    if (value < std::numeric_limits<std::int32_t>::min() || value > std::numeric_limits<std::int32_t>::max()) {
      throw std::out_of_range(place.describe("a number beyond 32 bits"));
    }
  }
  return static_cast<std::int32_t>(value);
}

void append_big_endian(std::vector<std::uint8_t>& bytes, std::int32_t value, int width) {
  constexpr int kBitsPerByte = 8;
  for (int byte = width - 1; byte >= 0; --byte) {
    bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(value) >> (byte * kBitsPerByte) & UINT8_MAX));
  }
}

/// `fields` begin with the key.
std::vector<std::uint8_t> recipe_payload(const FrameRecipe& recipe, const std::vector<std::string>& fields,
                                         Place place) {
  std::vector<std::uint8_t> payload;
  if (recipe.identifier != 0) {
    payload.push_back(recipe.identifier);
  }
  for (std::size_t k = 0; k < recipe.value_count; ++k) {
    place.field = k + 2;
    if (fields.size() < place.field) {
      throw std::invalid_argument(place.describe("missing"));
    }
    append_big_endian(payload, parse_decimal(fields[k + 1], place), recipe.widths[k]);
  }
  return payload;
}

std::vector<std::uint8_t> make_frame(std::uint8_t family, std::uint8_t id, const std::vector<std::uint8_t>& payload) {
  std::vector<std::uint8_t> frame;
  frame.reserve(payload.size() + kFrameOverhead);
  for (const std::uint8_t byte : {kMagic0, kMagic1, family, id, static_cast<std::uint8_t>(payload.size())}) {
    frame.push_back(byte);
  }
  frame.insert(frame.end(), payload.begin(), payload.end());
  frame.insert(frame.end(), kTrailer.begin(), kTrailer.end());
  return frame;
}

/// The key and as many fields as any key has; whatever follows is ignored, and may be long.
std::string leading_fields(std::string_view entry) {
  std::size_t end = 0;
  for (std::size_t separators = 0; end < entry.size(); ++end) {
    separators += entry[end] == ',' ? 1U : 0U;
    if (separators > kMaxValues) {
      break;
    }
  }
  return std::string(entry.substr(0, end));
}

/// The bytes that one entry adds to the file. A key that is not known, an empty one among them, still adds an empty
/// frame, of zeros for family and id.
std::vector<std::uint8_t> entry_frames(std::string_view entry, std::size_t number) {
  std::vector<std::string> fields;
  _split(leading_fields(entry), ',', fields);
  if (fields.empty()) {
    throw std::invalid_argument(Place{number, {}}.describe("no key"));
  }
  const std::string& key = fields.front();
  const Place place{number, key};
  if (key == kUnknownFramesKey) {
    return base64_decode(fields.size() < 2 ? "" : fields[1]);  // none when everything was understood
  }
  const auto recipe =
      std::find_if(kRecipes.begin(), kRecipes.end(), [&key](const FrameRecipe& r) { return r.key == key; });
  if (recipe == kRecipes.end()) {
    return make_frame(0, 0, {});
  }
  return make_frame(recipe->family, recipe->id, recipe_payload(*recipe, fields, place));
}

}  // namespace

void _split(const std::string& text, char separator, std::vector<std::string>& out) {
  Pieces pieces(text, separator);
  for (std::string_view piece; pieces.next(piece);) {
    out.emplace_back(piece);
  }
}

std::vector<std::uint8_t> configuration_frames(std::string_view text) {
  std::vector<std::uint8_t> frames;
  Pieces entries(text, ':');
  std::size_t number = 0;
  for (std::string_view entry; entries.next(entry);) {
    const std::vector<std::uint8_t> added = entry_frames(entry, ++number);
    if (frames.size() + added.size() > kBlockSize) {
      throw std::invalid_argument(Place{number, {}}.describe("more frames than a header block holds"));
    }
    frames.insert(frames.end(), added.begin(), added.end());
  }
  return frames;
}

}  // namespace vortena
