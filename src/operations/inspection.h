// How good a recording is, without anything else of it.
#pragma once

#include "operations/outcome.h"
#include "quality/quality_report.h"
#include "system/watch.h"

namespace vortena {

struct Inspection {
  Outcome outcome;  ///< the report counts only when it is good
  QualityReport report;
};

/// Decodes the recording at `path` as a conversion does, and judges it. Throws when memory is refused (std::bad_alloc).
Inspection inspect_recording(const char* path, Watch* watch = nullptr);

}  // namespace vortena
