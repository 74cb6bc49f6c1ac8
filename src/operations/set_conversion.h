// From the recordings of several units to CSVs on one clock: all of them or none.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "operations/outcome.h"
#include "operations/recording_steps.h"
#include "quality/quality_report.h"
#include "system/output_place.h"

namespace vortena {

struct SetOptions {
  Watch* watch = nullptr;  ///< outlives the call
  bool sync = false;       ///< on the disk before the call returns
  Existing existing = Existing::kReplace;
  std::vector<GyroscopeOffset> gyroscope_offsets;  ///< one for each recording, or none
  OrientationMethod orientation = OrientationMethod::kFilter;
};

struct ConvertedUnit {
  std::string output;  ///< path of the CSV
  kiv_Config config;
  QualityReport report;
  std::uint64_t rows = 0;
  std::uint64_t bytes = 0;
};

struct SetConversion {
  Outcome outcome;  ///< what follows counts only when it is good
  SyncReport synchronisation;
  std::vector<ConvertedUnit> units;  ///< in the order of the paths
};

/// Where BinReader2::readAndSync writes a recording's CSV.
std::string csv_path_in(const std::string& folder, const std::string& recording);

/// Decodes and synchronises the recordings at `paths` and writes a CSV for each into `folder`: those of
/// BinReader2::readAndSync, unless offsets are subtracted. Two recordings for one CSV are refused before anything is
/// written. Throws when memory is refused (std::bad_alloc); then, too, nothing is left.
SetConversion convert_set(std::span<const std::string> paths, const std::string& folder,
                          const SetOptions& options = {});

}  // namespace vortena
