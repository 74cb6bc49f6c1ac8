// Series are moved, or narrowed and freed one after another: no two copies of a recording are in memory at once.
#include "reader/sample_set.h"

#include <algorithm>
#include <utility>

namespace vortena {
namespace {

/// `values` are empty afterwards.
LargeArray<float> narrow(LargeArray<double>& values) {
  LargeArray<float> narrowed(values.size());
  std::transform(values.begin(), values.end(), narrowed.begin(),
                 [](double value) { return static_cast<float>(value); });
  LargeArray<double>().swap(values);
  return narrowed;
}

Samples take(kiv_DataSensor& series, bool single_precision) {
  Samples samples{series.axisCount, series.sampleCount, {}, std::move(series.timestamps)};
  if (single_precision) {
    samples.values = narrow(series.values);
  } else {
    samples.values = std::move(series.values);
  }
  return samples;
}

bool is_wanted(const SampleOptions& options, int key) {
  return (options.channels >> static_cast<unsigned>(key) & 1U) != 0;
}

/// Every series leaves the recording, wanted or not.
std::map<int, Samples> take_all(SensorMap* sensors, const SampleOptions& options) {
  std::map<int, Samples> channels;
  while (!sensors->empty()) {
    auto series = sensors->extract(sensors->begin());
    if (is_wanted(options, series.key()) && series.mapped().sampleCount > 0 && series.mapped().is_consistent()) {
      channels.emplace(series.key(), take(series.mapped(), options.single_precision));
    }
  }
  return channels;
}

Outcome orient_if_wanted(LoadedRecording* loaded, const SampleOptions& options) {
  if (!options.orientation) {
    return {};
  }
  Outcome outcome = orient(loaded, options.watch);
  if (outcome.good() && options.orientation_required && loaded->orientation != OrientationProblem::kNone) {
    outcome = {.problem = Problem::kOrientation, .stage = Stage::kOrientation, .orientation = loaded->orientation};
  }
  return outcome;
}

Outcome load_all(const char* path, const SampleOptions& options, LoadedRecording* loaded) {
  const LoadOptions loading{.header_samples = false, .watch = options.watch};
  Outcome outcome = load(loaded, path, loading, options.gyroscope_offset);
  return outcome.good() ? orient_if_wanted(loaded, options) : outcome;
}

}  // namespace

SampleSet load_samples(const char* path, const SampleOptions& options) {
  SampleSet set;
  LoadedRecording loaded;
  set.outcome = load_all(path, options, &loaded);
  if (set.outcome.good()) {
    set.report = judge(loaded);
    set.channels = take_all(&loaded.recording.sensors, options);
    set.config = std::move(loaded.recording.config);
  }
  return set;
}

}  // namespace vortena
