// Several recordings onto one time line; docs/synchronisation.md tells what a user sees of it.
#pragma once

#include <vector>

#include "reader/recording_model.h"

namespace vortena {

/// Sensor maps that kiv_sync allocated, freed with this object whatever the result was.
struct SynchronisedMaps {
  std::vector<SensorMap*> maps;

  SynchronisedMaps() = default;
  ~SynchronisedMaps();
  SynchronisedMaps(const SynchronisedMaps&) = delete;
  SynchronisedMaps& operator=(const SynchronisedMaps&) = delete;
  SynchronisedMaps(SynchronisedMaps&&) = delete;
  SynchronisedMaps& operator=(SynchronisedMaps&&) = delete;
};

/// Copies the channels that all recordings share, shifts each recording's time stamps onto a common clock and
/// cuts all to their common span. Entry i of `configs` and of `inputs` describe recording i; the inputs are
/// never changed.
///
/// `outputs` gets one newly allocated map per recording once the arguments are found in order, also when the
/// result is false; its former pointers are overwritten, not freed. The caller owns the maps: let a
/// SynchronisedMaps hold them.
///
/// False, with a line on standard error: fewer than two recordings or unequal counts; a null entry;
/// disagreeing radio channels or not exactly one master; a recording without radio times where these are the
/// time source. False, without a line: no channel common to all, or a common channel without samples.
bool kiv_sync(std::vector<SensorMap*>& outputs, const std::vector<kiv_Config*>& configs,
              const std::vector<SensorMap*>& inputs);

}  // namespace vortena
