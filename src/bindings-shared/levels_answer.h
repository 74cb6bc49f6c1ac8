// The answer of the levels operation.
#pragma once

#include "bindings-shared/answer.h"
#include "operations/level_set.h"

namespace vortena::operations {

/// {samplesKept, units}; a unit is {config, report, titles, start, end, shift, channels}, a channel {key, name, unit,
/// axes, samples, gapCount, scales, levels, attitudes, kept}. `titles` are those of the report's channels, by name.
/// Buffers, per channel: codes (Uint16; none without levels), gaps (Float64, start and end of each), and, of channels
/// that are kept, values and time stamps (Float64).
Answer levels_answer(LevelSet set);

}  // namespace vortena::operations
