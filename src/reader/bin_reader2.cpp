#include "reader/bin_reader2.h"

#include <fstream>

#include "reader/csv_export.h"
#include "reader/json_answers.h"
#include "reader/quaternion_channel.h"
#include "reader/recording_file.h"
#include "reader/utf8_path.h"

namespace vortena {
namespace {

constexpr const char* kReadError = R"({"error":"Error during data loading."})";

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

bool BinReader2::exportCSV(const char* path, const kiv_Config* config, const SensorMap* sensors) {
  // Binary, so that lines end in a line feed alone on every platform.
  std::ofstream out(utf8_path(path), std::ios::binary | std::ios::trunc);
  if (!out.is_open()) {
    return false;
  }
  write_csv(out, *config, *sensors);
  return true;
}

}  // namespace vortena
