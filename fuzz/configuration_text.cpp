// Input: a configuration text. Numbers are read a second time by the C library, and the frames by the header decoder.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <optional>
#include <span>
#include <sstream>
#include <stdexcept>
#include <string>

#include "fuzz/properties.h"
#include "reader/texts/base64.h"
#include "reader/texts/configuration_writer.h"

using namespace vortena;

namespace {

constexpr std::size_t kLongestWrittenFrame = kFrameOverhead + 27;  // a sensor's

std::optional<std::vector<std::uint8_t>> frames_of(const std::string& text) {
  try {
    return configuration_frames(text);
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  } catch (const std::out_of_range&) {
    return std::nullopt;
  }
}

std::vector<std::string> split(const std::string& text, char separator) {
  std::vector<std::string> pieces;
  std::istringstream stream(text);
  for (std::string piece; std::getline(stream, piece, separator);) {
    pieces.push_back(piece);
  }
  return pieces;
}

std::optional<std::int32_t> number(const std::string& text) {
  char* end = nullptr;
  errno = 0;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (end == text.c_str() || errno != 0 || value < INT32_MIN || value > INT32_MAX) {
    return std::nullopt;
  }
  return static_cast<std::int32_t>(value);
}

/// A field of the decoded header with the bytes that its place in a frame has.
struct Field {
  std::int64_t decoded;
  int width;
};

std::vector<Field> sensor_fields(const kiv_Config::SensorConfig& s) {
  const auto whole = [](double value) { return Field{static_cast<std::int64_t>(value), 4}; };
  return {{s.frequency, 1}, {s.range, 1},   whole(s.offsetX), whole(s.offsetY),
          whole(s.offsetZ), whole(s.gainX), whole(s.gainY),   whole(s.gainZ)};
}

std::vector<Field> fields_of(const kiv_Config& c, const std::string& key) {
  if (key == "device") {
    return {{c.deviceId, 4}, {c.deviceType, 1}, {c.bodyLocation, 1}};
  }
  if (key == "firmware") {
    return {{c.version, 2}, {c.majorVersion, 2}, {c.minorVersion, 2}};
  }
  if (key == "radio") {
    return {{c.radioMode, 1}, {c.radioChannel, 1}};
  }
  if (key == "accel") {
    return sensor_fields(c.accel);
  }
  if (key == "gyro") {
    return sensor_fields(c.gyro);
  }
  if (key == "baro") {
    return {{c.baro.frequency, 1}};
  }
  return {};
}

bool same_low_bytes(std::int64_t a, std::int64_t b, int width) {
  return ((a ^ b) & ((std::int64_t{1} << (8 * width)) - 1)) == 0;
}

/// True when a text is well-formed by this second reading.
bool is_well_formed(const std::vector<std::string>& entries) {
  return std::ranges::all_of(entries, [](const std::string& entry) {
    const auto fields = split(entry, ',');
    const std::size_t needed = fields.empty() ? 0 : fields_of({}, fields[0]).size();
    return fields.size() > needed &&
           std::all_of(fields.begin() + 1, fields.begin() + 1 + static_cast<std::ptrdiff_t>(needed),
                       [](const std::string& field) { return number(field).has_value(); });
  });
}

/// The last entry of each key is what the decoder must give back.
void require_reads_back(const std::vector<std::string>& entries, const std::vector<std::uint8_t>& frames) {
  std::array<std::uint8_t, kBlockSize> block{};
  std::ranges::copy(frames, block.begin());
  kiv_Config config;
  fuzz::require(_readConfig(&config, block) != entries.empty(), "a text with entries gives a header");
  fuzz::require(!config.headerError, "the frames are as long as their layouts need");
  std::vector<std::string> seen;
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    const auto written = split(*entry, ',');
    if (std::ranges::find(seen, written[0]) != seen.end()) {
      continue;
    }
    seen.push_back(written[0]);
    const auto fields = fields_of(config, written[0]);
    for (std::size_t k = 0; k < fields.size(); ++k) {
      fuzz::require(same_low_bytes(fields[k].decoded, *number(written[k + 1]), fields[k].width),
                    "what is written reads back");
    }
  }
}

void require_base64_round_trip(const std::string& text) {
  const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
  const std::string encoded = base64_encode(bytes, static_cast<unsigned int>(text.size()));
  fuzz::require(std::ranges::equal(base64_decode(encoded), std::span(bytes, text.size())), "Base64 round-trips");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The C library reads up to a zero, and so do the callers of the writer.
  const std::string text(reinterpret_cast<const char*>(data), size);
  require_base64_round_trip(text);
  const std::string cut = text.c_str();
  const auto frames = frames_of(cut);
  fuzz::require(frames == frames_of(cut), "a text gives the same frames twice");
  const auto entries = split(cut, ':');
  // Frames that come as Base64 can be anything: they may hide others or be too many.
  const bool has_foreign_frames =
      std::ranges::any_of(entries, [](const std::string& e) { return e.starts_with("unknownFrames"); });
  fuzz::require(!frames || frames->size() <= kBlockSize, "all frames fit into a header block");
  if (frames) {
    fuzz::require(is_well_formed(entries), "an ill-formed text is refused");
  }
  if (frames && !has_foreign_frames) {
    require_reads_back(entries, *frames);
  } else if (!frames && entries.size() <= kBlockSize / kLongestWrittenFrame && !has_foreign_frames) {
    fuzz::require(!is_well_formed(entries), "a well-formed text that fits is written");
  }
  return 0;
}
