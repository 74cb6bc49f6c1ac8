// What the smoother estimated besides the orientation, in the answer of readSamples.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bindings-shared/answer.h"
#include "smoother/smoother.h"

namespace vortena::operations {

/// {points, time, offset, inclinationError, rest, gaps, gyroscopeErrors, accelerometerOffset}. Of arrays, their places
/// among `memory`: times in s (Float64), offsets in deg/s (Float64, axis-major, 3 × points) and errors in degrees
/// (Float64). Rest is a list of {from, to}, gaps one of {from, to, turned}.
std::string smoothing_json(const smoother::Result& result, std::vector<std::unique_ptr<Memory>>* memory);

}  // namespace vortena::operations
