// The reader's operations, one per method of the module: from file paths to an answer text.
#pragma once

#include <string>
#include <vector>

#include "reader/decoding/recording_model.h"

namespace vortena {

/// Holds no state; every call owns what it decodes and releases it before it returns. Paths are zero-terminated UTF-8.
/// Failures are answers; what throws says so, and a failed allocation does (std::bad_alloc, std::length_error).
class BinReader2 {
 public:
  /// Decodes the recording at `path`, writes it as CSV to `csvPath` and answers with a JSON summary. A
  /// recording that cannot be decoded still gives a CSV and a summary, of what was decoded; only a CSV that
  /// cannot be created gives the error JSON {"error":"Error during data loading."}.
  std::string read(const char* path, const char* csv_path);

  /// The configuration header as JSON, or the empty string when it cannot be read.
  std::string readConfig(const char* path);

  /// {"deviceId":N}, or the empty string when the header cannot be read.
  std::string readConfigDeviceId(const char* path);

  /// Reads recordings made together, synchronises them and writes out_dir + "/" + name + ".csv" for each,
  /// name being the recording's file name without its last extension. Every stage runs for all recordings;
  /// the first that failed for any decides the answer: "-10" reading, "-13" orientation, "-11"
  /// synchronisation, "-12" writing, otherwise "OK".
  std::string readAndSync(const std::vector<std::string>& paths, const std::string& out_dir);

  /// Creates or truncates `path` and writes the header frames of a configuration text. False when the file
  /// cannot be created; later write errors are not detected. Throws what configuration_frames() throws; the
  /// file is empty then.
  bool writeConfig(const char* path, const char* config);

  /// Creates or truncates `path` and writes the CSV text. False when the file cannot be created; later write
  /// errors are not detected.
  bool exportCSV(const char* path, const kiv_Config* config, const SensorMap* sensors);
};

}  // namespace vortena
