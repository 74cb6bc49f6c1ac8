// Each operation owns what it decodes; failures become answers here.
#include "reader/bin_reader2.h"

#include <cstdint>
#include <fstream>

#include "reader/configuration_writer.h"
#include "reader/csv_export.h"
#include "reader/file_basename.h"
#include "reader/json_answers.h"
#include "reader/output_file.h"
#include "reader/quaternion_channel.h"
#include "reader/recording_file.h"
#include "reader/synchronisation.h"

namespace vortena {
namespace {

constexpr const char* kReadError = R"({"error":"Error during data loading."})";

// The numbers do not follow the order of the stages; callers know them as they are.
constexpr const char* kAllDone = "OK";
constexpr const char* kReadingFailed = "-10";
constexpr const char* kSynchronisationFailed = "-11";
constexpr const char* kExportFailed = "-12";
constexpr const char* kOrientationFailed = "-13";

/// Runs a stage over all recordings, also after one has failed; true when none has.
template <typename Stage>
bool for_all(std::size_t count, Stage stage) {
  bool succeeded = true;
  for (std::size_t i = 0; i < count; ++i) {
    succeeded = stage(i) && succeeded;
  }
  return succeeded;
}

template <typename T>
std::vector<T*> pointers_to(std::vector<T>& items) {
  std::vector<T*> pointers;
  pointers.reserve(items.size());
  for (T& item : items) {
    pointers.push_back(&item);
  }
  return pointers;
}

}  // namespace

std::string BinReader2::read(const char* path, const char* csv_path) {
  kiv_Config config;
  SensorMap sensors;
  if (kiv_read(&config, &sensors, path)) {
    kiv_computeQuaternion(&config, &sensors);
  }
  // Whether decoding succeeded does not decide the answer: what there is gets exported.
  if (!exportCSV(csv_path, &config, &sensors)) {
    return kReadError;
  }
  return _generate_read_answer_JSON(config);
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
  std::vector<kiv_Config> configs(n);
  std::vector<SensorMap> sensors(n);
  if (!for_all(n, [&](std::size_t i) { return kiv_read(&configs[i], &sensors[i], paths[i].c_str()); })) {
    return kReadingFailed;
  }
  if (!for_all(n, [&](std::size_t i) { return kiv_computeQuaternion(&configs[i], &sensors[i]); })) {
    return kOrientationFailed;
  }
  SynchronisedMaps synchronised;
  if (!kiv_sync(synchronised.maps, pointers_to(configs), pointers_to(sensors)) || synchronised.maps.size() != n) {
    return kSynchronisationFailed;
  }
  const bool exported = for_all(n, [&](std::size_t i) {
    const std::string path = out_dir + "/" + _file_basename(paths[i]) + ".csv";
    return exportCSV(path.c_str(), &configs[i], synchronised.maps[i]);
  });
  return exported ? kAllDone : kExportFailed;
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
