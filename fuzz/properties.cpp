// Counting is done anew here, from the series alone.
#include "fuzz/properties.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "reader/quaternion_channel.h"
#include "reader/recording.h"
#include "reader/texts/base64.h"
#include "reader/texts/csv_export.h"
#include "reader/texts/json_answers.h"

namespace fuzz {
namespace {

using namespace vortena;

bool same_bits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

std::string answers(const kiv_Config& config) {
  return config_answer_json(config) + _generate_read_answer_JSON(config) + device_id_answer_json(config);
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
  decoded.report = load_recording(&decoded, file);
  if (decoded.report.status == LoadStatus::kRead) {
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

void require_sound_report(const LoadReport& report, const SensorMap& sensors) {
  std::uint64_t records = report.packages.skipped_records + report.packages.blank_records;
  for (const std::uint64_t foreign : report.packages.foreign_records) {
    records += foreign;
  }
  for (const auto& [key, counts] : report.channels) {
    records += counts.records;
    require(counts.records - counts.repeated + counts.header_samples.size() == sensors.at(key).sampleCount,
            "every sample is a record that was counted");
    // A record that gives way to the header block's may have been late, too.
    require(counts.out_of_order + counts.repeated <= counts.records + counts.header_samples.size(),
            "no record is both dropped and out of order");
  }
  require(records == (report.blocks - 1 - report.packages.blank_blocks) * kRecordsPerBlock,
          "every record is counted once");
}

}  // namespace fuzz
