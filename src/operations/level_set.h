// What a viewer shows of recordings: the levels of their channels, their gaps, and their quality.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "operations/levels.h"
#include "operations/outcome.h"
#include "operations/recording_steps.h"
#include "quality/quality_report.h"
#include "reader/decoding/recording_model.h"
#include "reader/synchronisation.h"
#include "system/watch.h"

namespace vortena {

struct LevelOptions {
  Watch* watch = nullptr;            ///< outlives the call
  bool synchronised = false;         ///< the recordings on one clock, cut to their common span
  std::uint64_t most_bins = 200000;  ///< of the finest levels, all recordings together
  OrientationMethod orientation = OrientationMethod::kFilter;
  GyroscopeOffset gyroscope_offset{};  ///< of each recording
  std::uint64_t most_samples = 0;      ///< the samples are kept when all recordings together have no more
};

struct ChannelLevels {
  std::uint64_t samples = 0;
  PackedLevels levels;
  std::uint64_t gap_count = 0;
  std::vector<double> gaps;  ///< start and end of each, s; the longest, ascending
};

struct UnitLevels {
  kiv_Config config;
  QualityReport report;  ///< of the whole recording
  double start = 0;      ///< of the first sample of any channel, s
  double end = 0;
  double shift = 0;                              ///< of a synchronised set: common time less the unit's own, s
  std::map<ChannelKey, ChannelLevels> channels;  ///< that have samples
  SensorMap sensors;                             ///< the samples, where they are kept; those of events always
};

struct LevelSet {
  Outcome outcome;  ///< what follows counts only when it is good
  SyncReport synchronisation;
  bool samples_kept = false;
  std::vector<UnitLevels> units;  ///< in the order of the paths
};

/// Loads the recordings at `paths` without the samples of their header blocks, adds the orientation where it is
/// possible, and makes levels. Bins are never narrower than a few samples: those show more than levels can. Throws when
/// memory is refused (std::bad_alloc).
LevelSet load_levels(std::span<const std::string> paths, const LevelOptions& options = {});

}  // namespace vortena
