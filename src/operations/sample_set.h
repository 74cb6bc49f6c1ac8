// One recording's samples for programs: true times only, channel by channel.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <variant>
#include <vector>

#include "operations/outcome.h"
#include "operations/recording_steps.h"
#include "quality/quality_report.h"

namespace vortena {

struct SampleOptions {
  Watch* watch = nullptr;             ///< outlives the call
  std::uint32_t channels = ~0U;       ///< bit k: the channel of key k is wanted
  bool orientation = true;            ///< computed where it is possible
  bool orientation_required = false;  ///< a problem when it is not
  bool single_precision = false;      ///< values narrowed to float
  GyroscopeOffset gyroscope_offset;
  OrientationMethod method = OrientationMethod::kFilter;
};

/// Like kiv_DataSensor, in either precision. Time stamps are always double: single precision would blur them.
struct Samples {
  std::uint64_t axis_count = 0;
  std::uint64_t sample_count = 0;
  std::variant<std::vector<double>, std::vector<float>> values;  ///< axis-major
  /// s since tick zero, strictly increasing; at least as many as there are samples. Channels may share them.
  std::shared_ptr<std::vector<double>> timestamps;
};

struct SampleSet {
  Outcome outcome;  ///< what follows counts only when it is good
  kiv_Config config;
  QualityReport report;
  std::optional<smoother::Result> smoothing;  ///< of a smoothed orientation
  std::map<int, Samples> channels;            ///< by ChannelKey; of those wanted, the ones that have samples
};

/// Loads the recording at `path` without the samples of its header block, and computes the orientation from what is
/// left. Throws when memory is refused (std::bad_alloc).
SampleSet load_samples(const char* path, const SampleOptions& options = {});

}  // namespace vortena
