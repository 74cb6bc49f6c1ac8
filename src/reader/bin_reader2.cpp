// Each operation owns what it decodes; failures become answers here.
#include "reader/bin_reader2.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>

#include "reader/quaternion_channel.h"
#include "reader/recording.h"
#include "reader/recording_file.h"
#include "reader/synchronisation.h"
#include "reader/texts/configuration_writer.h"
#include "reader/texts/csv_export.h"
#include "reader/texts/json_answers.h"
#include "system/file_access.h"

namespace vortena {
namespace {

constexpr const char* kReadError = R"({"error":"Error during data loading."})";

// The numbers do not follow the order of the stages; callers know them as they are.
constexpr const char* kAllDone = "OK";
constexpr const char* kReadingFailed = "-10";
constexpr const char* kSynchronisationFailed = "-11";
constexpr const char* kExportFailed = "-12";
constexpr const char* kOrientationFailed = "-13";

/// The results of a stage, one for each recording: it runs over all of them, also after one has failed.
template <typename Stage>
std::vector<bool> for_each_recording(std::size_t count, Stage stage) {
  std::vector<bool> results;
  results.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    results.push_back(stage(i));
  }
  return results;
}

bool all_succeeded(const std::vector<bool>& results) {
  return std::find(results.begin(), results.end(), false) == results.end();
}

}  // namespace

std::string BinReader2::read(const char* path, const char* csv_path) {
  Recording recording;
  if (kiv_read(&recording.config, &recording.sensors, path)) {
    kiv_computeQuaternion(&recording.config, &recording.sensors);
  }
  // Whether decoding succeeded does not decide the answer: what there is gets exported.
  if (!exportCSV(csv_path, &recording.config, &recording.sensors)) {
    return kReadError;
  }
  return _generate_read_answer_JSON(recording.config);
}

std::string BinReader2::readConfig(const char* path) {
  kiv_Config config;
  return kiv_readConfig(&config, path) ? config_answer_json(config) : "";
}

std::string BinReader2::readConfigDeviceId(const char* path) {
  kiv_Config config;
  return kiv_readConfig(&config, path) ? device_id_answer_json(config) : "";
}

std::string BinReader2::readAndSync(const std::vector<std::string>& paths, const std::string& out_dir) {
  const std::size_t n = paths.size();
  if (n == 0) {
    return kAllDone;
  }
  std::vector<Recording> set(n);
  const auto read = [&](std::size_t i) { return kiv_read(&set[i].config, &set[i].sensors, paths[i].c_str()); };
  if (!all_succeeded(for_each_recording(n, read))) {
    return kReadingFailed;
  }
  const auto orient = [&](std::size_t i) { return kiv_computeQuaternion(&set[i].config, &set[i].sensors); };
  if (!all_succeeded(for_each_recording(n, orient))) {
    return kOrientationFailed;
  }
  const SyncReport report = synchronise(set);
  if (report.problem != SyncProblem::kNone) {
    std::fputs(sync_message(report).c_str(), stderr);
    return kSynchronisationFailed;
  }
  const auto write = [&](std::size_t i) {
    const std::string path = out_dir + "/" + _file_basename(paths[i]) + ".csv";
    return exportCSV(path.c_str(), &set[i].config, &set[i].sensors);
  };
  return all_succeeded(for_each_recording(n, write)) ? kAllDone : kExportFailed;
}

bool BinReader2::writeConfig(const char* path, const char* config) {
  std::ofstream out = create_output_file(path);
  if (!out.is_open()) {
    return false;
  }
  const std::vector<std::uint8_t> frames = configuration_frames(config);
  out.write(reinterpret_cast<const char*>(frames.data()), static_cast<std::streamsize>(frames.size()));
  return true;
}

bool BinReader2::exportCSV(const char* path, const kiv_Config* config, const SensorMap* sensors) {
  std::ofstream out = create_output_file(path);
  if (!out.is_open()) {
    return false;
  }
  write_csv(out, *config, *sensors);
  return true;
}

}  // namespace vortena
