// From a recording to its quality report.
#pragma once

#include <optional>

#include "quality/quality_report.h"

namespace vortena {

/// Judges a recording by its true samples: those of the header block, kept in the series or not, count for nothing but
/// their number. `problem` is what kept the orientation from being computed. `rest` is for callers that took the
/// gyroscope's offset off: the estimate from before.
QualityReport assess(const Recording& recording, const LoadReport& load, OrientationProblem problem,
                     const std::optional<RestEstimate>& rest = std::nullopt);

}  // namespace vortena
