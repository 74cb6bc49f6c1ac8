// The CSV text of a decoded recording; docs/csv-format.md describes it line by line.
#pragma once

#include <ostream>

#include "reader/recording_model.h"

namespace vortena {

/// Writes preamble, header lines and one row per tick of the row clock. Series that do not hold the axes of
/// their channel count as absent. Neither input is changed; failures stay in the stream.
void write_csv(std::ostream& out, const kiv_Config& config, const SensorMap& sensors);

}  // namespace vortena
