// Thin: recording.h holds the loader.
#include "reader/recording_file.h"

#include <system_error>
#include <utility>

#include "reader/recording.h"
#include "system/file_access.h"

namespace vortena {

bool kiv_readConfig(kiv_Config* config, const char* path) {
  return load_header(config, path).status == LoadStatus::kRead;
}

bool _kiv_readConfig(kiv_Config* config, std::ifstream& stream) {
  if (!stream.is_open()) {
    return false;
  }
  const LoadStatus status = load_header(config, stream).status;
  stream.close();
  return status == LoadStatus::kRead;
}

bool kiv_read(kiv_Config* config, SensorMap* sensors, const char* path) {
  std::error_code failure;
  std::ifstream stream = open_recording(path, &failure);
  return _kiv_read(config, sensors, stream);
}

bool _kiv_read(kiv_Config* config, SensorMap* sensors, std::ifstream& stream) {
  if (!stream.is_open()) {
    return false;
  }
  Recording recording{std::move(*config), std::move(*sensors)};
  const LoadReport report = load_recording(&recording, stream);
  *config = std::move(recording.config);
  *sensors = std::move(recording.sensors);
  if (report.status == LoadStatus::kRead || report.status == LoadStatus::kNoHeader) {
    stream.close();
  }
  return report.status == LoadStatus::kRead;
}

}  // namespace vortena
