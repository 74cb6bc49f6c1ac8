// The pass over the samples that gives out attitudes.
#pragma once

#include <functional>

#include "smoother/grid_smoother.h"
#include "smoother/interval_recorder.h"

namespace vortena::smoother {

/// Integrates from node to node and spreads over each interval what is missing at its end. False if a source or the
/// sink ended it.
bool write_attitudes(const Inputs& inputs, const Recorded& recorded, const GridSmoother& grid, OrientationSink* sink,
                     std::size_t* unused);

}  // namespace vortena::smoother
