// The judgement of a quality report: thresholds and sentences.
#pragma once

#include "quality/quality_report.h"

namespace vortena {

/// Fills in the notes and the verdict of a report that is complete otherwise.
void add_notes(QualityReport* report);

}  // namespace vortena
