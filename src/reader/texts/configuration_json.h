// The whole configuration header as JSON, for programs: unlike the methods' answers it leaves nothing out.
#pragma once

#include <string>

#include "reader/decoding/recording_model.h"

namespace vortena {

/// Every field of the header under its own name. Dates are objects of their numbers, unchecked; `unknownFrames` is
/// Base64; calibration values carry their fractions, and unsigned numbers are positive.
std::string configuration_json(const kiv_Config& config);

}  // namespace vortena
