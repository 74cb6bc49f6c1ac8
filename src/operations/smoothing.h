// The orientation of a whole recording, estimated from the samples before and after each.
#pragma once

#include <cstdint>
#include <optional>

#include "quality/quality_report.h"
#include "reader/orientation_problem.h"
#include "reader/recording.h"
#include "smoother/smoother.h"
#include "system/watch.h"

namespace vortena {

enum class OrientationMethod : std::uint8_t {
  kFilter,    ///< the tracker's filter, which looks back alone; the CSV of BinReader2::read
  kSmoothed,  ///< the smoother, which looks both ways and estimates the gyroscope's offset itself
};

/// Why a map allows no smoothed orientation: rates may differ.
OrientationProblem find_smoothing_problem(const SensorMap& sensors);

/// Adds the entry under kQuaternionKey: body to earth with z up, W X Y Z, one for each gyroscope sample and at its
/// time. Samples of the header block, which may lie days away, are left out, and have four zeros. `result` tells what
/// was estimated besides. kNone or kStopped for a map that find_smoothing_problem() found nothing about.
OrientationProblem smooth_orientation(const kiv_Config& config, const LoadReport& load, SensorMap* sensors,
                                      smoother::Result* result, Watch* watch);

/// What a quality report tells of it.
SmoothingQuality summary_of(const smoother::Result& result);

}  // namespace vortena
