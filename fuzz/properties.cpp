// Counting is done anew here, from the series alone.
#include "fuzz/properties.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string_view>

#include "reader/base64.h"
#include "reader/csv_export.h"
#include "reader/data_packages.h"
#include "reader/json_answers.h"
#include "reader/quaternion_channel.h"

namespace fuzz {
namespace {

using namespace vortena;

bool same_bits(const LargeArray<double>& a, const LargeArray<double>& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

std::string answers(const kiv_Config& config) {
  return config_answer_json(config) + _generate_read_answer_JSON(config) + device_id_answer_json(config);
}

/// A channel of the CSV with its number of cells per row.
struct ExportedChannel {
  bool present;
  ChannelKey key;
  std::size_t cells;
};

std::uint64_t samples_of(const SensorMap& sensors, const ExportedChannel& channel) {
  const auto entry = sensors.find(channel.key);
  return channel.present && entry != sensors.end() ? entry->second.sampleCount : 0;
}

struct Promise {
  std::uint64_t rows = 0;
  std::size_t commas = 1;
};

Promise promise_of(const kiv_Config& config, const SensorMap& sensors) {
  const ExportedChannel event{config.event.present, kEventKey, 1};
  const ExportedChannel radio_byte{config.radioByte.present, kRadioByteKey, 1};
  const std::array channels{
      ExportedChannel{config.gyro.present, kGyroKey, 3}, ExportedChannel{config.accel.present, kAccelKey, 3},
      ExportedChannel{config.baro.present, kBaroKey, 2}, samples_of(sensors, event) > 0 ? event : radio_byte,
      ExportedChannel{true, kQuaternionKey, 4}};
  Promise promise;
  for (const ExportedChannel& channel : channels) {
    const std::uint64_t samples = samples_of(sensors, channel);
    promise.rows = std::max(promise.rows, samples);
    promise.commas += samples > 0 ? channel.cells : 0;
  }
  return promise;
}

/// Takes the first line, without its end, off `text`.
std::string_view take_line(std::string_view& text) {
  const std::size_t end = text.find('\n');
  require(end != std::string_view::npos, "every line of a CSV ends");
  const std::string_view line = text.substr(0, end);
  text.remove_prefix(end + 1);
  return line;
}

}  // namespace

void require(bool holds, const char* claim) {
  if (!holds) {
    std::printf("Does not hold: %s\n", claim);  // the standard error stream may be closed
    std::fflush(stdout);
    std::abort();
  }
}

Decoded decode(Bytes file) {
  Decoded decoded;
  if (file.size() < kBlockSize) {
    return decoded;
  }
  decoded.has_header = _readConfig(&decoded.config, file.first<kBlockSize>());
  if (decoded.has_header) {
    PackageDecoder decoder(decoded.config);
    for (Bytes rest = file; rest.size() >= kBlockSize; rest = rest.subspan(kBlockSize)) {
      decoder.decode_block(rest.first<kBlockSize>());
    }
    decoder.transfer(decoded.config, &decoded.sensors);
    kiv_computeQuaternion(&decoded.config, &decoded.sensors);
  }
  return decoded;
}

std::string csv_of(const kiv_Config& config, const SensorMap& sensors) {
  std::ostringstream csv;
  write_csv(csv, config, sensors);
  return csv.str();
}

void require_equal(const kiv_Config& a, const kiv_Config& b) {
  require(answers(a) == answers(b) && a.headerError == b.headerError, "a header decodes to the same twice");
}

void require_equal(const SensorMap& a, const SensorMap& b) {
  require(a.size() == b.size(), "the same channels come twice");
  for (const auto& [key, series] : a) {
    const auto other = b.find(key);
    require(other != b.end() && other->second.axisCount == series.axisCount &&
                other->second.sampleCount == series.sampleCount && same_bits(other->second.values, series.values) &&
                same_bits(other->second.timestamps, series.timestamps),
            "a channel decodes to the same bits twice");
  }
}

void require_sound_answers(const kiv_Config& config) {
  require(nlohmann::json::accept(_generate_read_answer_JSON(config)), "the summary is JSON");
  require(nlohmann::json::accept(device_id_answer_json(config)), "the device identifier is JSON");
  const auto answer = nlohmann::json::parse(config_answer_json(config), nullptr, false);
  require(!answer.is_discarded(), "the configuration is JSON");
  require(base64_decode(answer.at("unknownFrames").get<std::string>()) == config.unknownFrames,
          "unknown frames come back through the configuration");
}

void require_sound_series(const kiv_Config& config, const SensorMap& sensors) {
  for (const auto& [key, series] : sensors) {
    require(series.values.size() == series.axisCount * series.sampleCount, "the values are as many as counted");
    require(series.timestamps.size() == series.sampleCount, "the time stamps are as many as counted");
    require(config.frequency == 0 || std::ranges::is_sorted(series.timestamps, std::ranges::less_equal{}),
            "time stamps strictly increase");
  }
}

void require_sound_csv(const std::string& csv, const kiv_Config& config, const SensorMap& sensors) {
  constexpr std::string_view kRowsLabel = "Total data points: ";
  const Promise promise = promise_of(config, sensors);
  std::string_view text = csv;
  take_line(text);
  take_line(text);
  const std::string_view promised = take_line(text);
  require(promised == std::string(kRowsLabel) + std::to_string(promise.rows), "the third line promises the rows");
  require(take_line(text).empty(), "the preamble ends with an empty line");
  take_line(text);
  const std::string_view names = take_line(text);
  const std::string_view units = take_line(text);
  require(std::ranges::count(names, ',') == std::ranges::count(units, ','), "every column has a unit");
  std::uint64_t rows = 0;
  for (; !text.empty(); ++rows) {
    const std::string_view row = take_line(text);
    require(static_cast<std::size_t>(std::ranges::count(row, ',')) == promise.commas && row.back() == ',',
            "a row has a cell for every axis that has samples");
  }
  require(rows == promise.rows, "there are as many rows as promised");
}

}  // namespace fuzz
