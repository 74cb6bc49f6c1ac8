// Series are moved, or narrowed while their memory is given back: no two copies of a recording are in memory at once.
#include "operations/sample_set.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "quality/assessment.h"
#include "quality/quality_notes.h"
#include "reader/quaternion_channel.h"
#include "system/large_pages.h"

namespace vortena {
namespace {

constexpr std::uint64_t kComponents = 4;

/// `values` are empty afterwards.
std::vector<float> narrow(std::vector<double>& values) {
  constexpr std::size_t kPiece = std::size_t{1} << 17;
  std::vector<float> narrowed;
  reserve_large(&narrowed, values.size());
  for (std::size_t first = 0; first < values.size(); first += kPiece) {
    const std::size_t count = std::min(kPiece, values.size() - first);
    std::transform(values.data() + first, values.data() + first + count, std::back_inserter(narrowed),
                   [](double value) { return static_cast<float>(value); });
    give_back_pages(values.data() + first, count * sizeof(double));
  }
  std::vector<double>().swap(values);
  return narrowed;
}

std::shared_ptr<std::vector<double>> take_times(kiv_DataSensor& series) {
  return std::make_shared<std::vector<double>>(std::move(series.timestamps));
}

Samples take(kiv_DataSensor& series, bool single_precision) {
  Samples samples{series.axisCount, series.sampleCount, {}, take_times(series)};
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
void take_all(SensorMap* sensors, const SampleOptions& options, std::map<int, Samples>* channels) {
  while (!sensors->empty()) {
    auto series = sensors->extract(sensors->begin());
    if (is_wanted(options, series.key()) && series.mapped().sampleCount > 0 && series.mapped().is_consistent()) {
      channels->emplace(series.key(), take(series.mapped(), options.single_precision));
    }
  }
}

/// Whether an orientation that is missing is a problem.
Outcome require_orientation(const LoadedRecording& loaded, const SampleOptions& options) {
  if (loaded.orientation == OrientationProblem::kStopped) {
    return stopped(Stage::kOrientation);
  }
  if (!options.orientation_required || loaded.orientation == OrientationProblem::kNone) {
    return {};
  }
  return {.problem = Problem::kOrientation, .stage = Stage::kOrientation, .orientation = loaded.orientation};
}

Outcome take_wide(LoadedRecording* loaded, const SampleOptions& options, SampleSet* set) {
  if (options.orientation) {
    static_cast<void>(orient(loaded, options.method, options.watch));
  }
  Outcome outcome = require_orientation(*loaded, options);
  if (outcome.good()) {
    set->report = judge(*loaded);
    take_all(&loaded->recording.sensors, options, &set->channels);
  }
  return outcome;
}

/// First, first with an orientation, and last with one: what a report looks at.
kiv_DataSensor thin(const std::vector<float>& quaternion, const std::vector<double>& times) {
  const std::uint64_t n = quaternion.size() / kComponents;
  const auto has_orientation = [&](std::uint64_t i) {
    return quaternion[i] != 0 || quaternion[n + i] != 0 || quaternion[2 * n + i] != 0 || quaternion[3 * n + i] != 0;
  };
  std::uint64_t first = 0;
  while (first + 1 < n && !has_orientation(first)) {
    ++first;
  }
  std::uint64_t last = n - 1;
  while (last > first && !has_orientation(last)) {
    --last;
  }
  const std::array<std::uint64_t, 3> taken{0, first, last};
  kiv_DataSensor thinned(kComponents, taken.size());
  for (std::size_t i = 0; i < taken.size(); ++i) {
    thinned.timestamps[i] = times[taken[i]];
    for (std::size_t k = 0; k < kComponents; ++k) {
      thinned.values[k * taken.size() + i] = static_cast<double>(quaternion[k * n + taken[i]]);
    }
  }
  return thinned;
}

/// Completes a report that was made before the orientation.
void add_orientation(QualityReport* report, kiv_DataSensor thinned) {
  Recording tilts;
  tilts.sensors.emplace(kQuaternionKey, std::move(thinned));
  const std::optional<double> still_share = report->orientation.still_share;
  report->orientation = assess(tilts, {}, OrientationProblem::kNone, report->rest).orientation;
  report->orientation.still_share = still_share;
  add_notes(report);
}

/// The gyroscope mostly has the accelerometer's times: one of the two arrays is enough.
void drop_equal_times(kiv_DataSensor& gyro, const kiv_DataSensor& accel) {
  if (gyro.timestamps == accel.timestamps) {
    std::vector<double>().swap(gyro.timestamps);
  }
}

/// The orientation of a recording without any problem, and what it is made of.
Outcome take_oriented(LoadedRecording* loaded, const SampleOptions& options, SampleSet* set) {
  SensorMap& sensors = loaded->recording.sensors;
  kiv_DataSensor& accel = sensors.at(kAccelKey);
  kiv_DataSensor& gyro = sensors.at(kGyroKey);
  drop_equal_times(gyro, accel);
  std::vector<float> quaternion;
  const std::int32_t rate = loaded->recording.config.accel.frequency;
  if (fill_narrow_orientation(rate, accel, gyro, &quaternion, options.watch) == OrientationProblem::kStopped) {
    return stopped(Stage::kOrientation);
  }
  add_orientation(&set->report, thin(quaternion, accel.timestamps));
  const auto times = take_times(accel);
  const auto own_times = gyro.timestamps.empty() ? times : take_times(gyro);
  const auto keep = [&](int key, kiv_DataSensor& series, std::shared_ptr<std::vector<double>> its_times) {
    if (is_wanted(options, key)) {
      set->channels.emplace(key,
                            Samples{series.axisCount, series.sampleCount, narrow(series.values), std::move(its_times)});
    }
    sensors.erase(key);
  };
  keep(kAccelKey, accel, times);
  keep(kGyroKey, gyro, own_times);
  if (is_wanted(options, kQuaternionKey)) {
    const std::uint64_t n = quaternion.size() / kComponents;
    set->channels.emplace(kQuaternionKey, Samples{kComponents, n, std::move(quaternion), times});
  }
  return {};
}

/// The report comes first, as it needs the series as they are: with the orientation they would take the most memory.
Outcome take_narrow(LoadedRecording* loaded, const SampleOptions& options, SampleSet* set) {
  if (options.orientation) {
    loaded->orientation = find_orientation_problem(loaded->recording.config, loaded->recording.sensors);
  }
  Outcome outcome = require_orientation(*loaded, options);
  if (!outcome.good()) {
    return outcome;
  }
  set->report = judge(*loaded);
  if (options.orientation && loaded->orientation == OrientationProblem::kNone) {
    outcome = take_oriented(loaded, options, set);
  }
  if (outcome.good()) {
    take_all(&loaded->recording.sensors, options, &set->channels);
  }
  return outcome;
}

}  // namespace

SampleSet load_samples(const char* path, const SampleOptions& options) {
  SampleSet set;
  LoadedRecording loaded;
  const LoadOptions loading{.header_samples = false, .watch = options.watch};
  set.outcome = load(&loaded, path, loading, options.gyroscope_offset);
  if (set.outcome.good()) {
    const bool narrows_early = options.single_precision && options.method == OrientationMethod::kFilter;
    set.outcome = narrows_early ? take_narrow(&loaded, options, &set) : take_wide(&loaded, options, &set);
    set.config = std::move(loaded.recording.config);
    set.smoothing = std::move(loaded.smoothing);
  }
  return set;
}

}  // namespace vortena
