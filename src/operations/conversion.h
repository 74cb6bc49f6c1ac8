// From one recording to its CSV: whole or not at all, and with the reason when not.
#pragma once

#include <cstdint>

#include "operations/outcome.h"
#include "operations/recording_steps.h"
#include "quality/quality_report.h"
#include "system/output_place.h"

namespace vortena {

struct ConversionOptions {
  Watch* watch = nullptr;  ///< outlives the call
  bool sync = false;       ///< on the disk before the call returns
  Existing existing = Existing::kReplace;
  /// Where the system cannot read all of the recording, what precedes the first unreadable block is converted.
  bool keep_readable = false;
  /// The CSV follows the filter on a second thread; without threads, or when none can be had, it comes after it.
  bool second_thread = false;
  GyroscopeOffset gyroscope_offset;
  OrientationMethod orientation = OrientationMethod::kFilter;
};

struct Conversion {
  Outcome outcome;  ///< what follows counts only when it is good
  kiv_Config config;
  QualityReport report;
  std::uint64_t rows = 0;
  std::uint64_t bytes = 0;  ///< of the CSV
};

/// Decodes the recording at `path`, adds the orientation where it is possible, and writes all as CSV to `csv_path`: the
/// bytes of BinReader2::read, unless an offset is subtracted or the orientation smoothed. A recording that cannot be
/// read touches no file, nor does any other problem. Paths are zero-terminated UTF-8. Throws when memory is refused
/// (std::bad_alloc); then, too, nothing is left.
Conversion convert_recording(const char* path, const char* csv_path, const ConversionOptions& options = {});

}  // namespace vortena
