// Thin: recording.h holds the loader.
#include "reader/recording_file.h"

#include <array>
#include <system_error>
#include <utility>

#include "reader/decoding/header_frames.h"
#include "reader/recording.h"
#include "system/file_access.h"

namespace vortena {

bool kiv_readConfig(kiv_Config* config, const char* path) {
  std::error_code failure;
  std::ifstream stream = open_recording(path, &failure);
  return _kiv_readConfig(config, stream);
}

bool _kiv_readConfig(kiv_Config* config, std::ifstream& stream) {
  if (!stream.is_open()) {
    return false;
  }
  std::array<std::uint8_t, kBlockSize> block{};
  stream.read(reinterpret_cast<char*>(block.data()), block.size());
  const bool at_end = stream.eof();
  stream.close();
  if (stream.fail() && !at_end) {
    return false;
  }
  return _readConfig(config, block);
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
