// All recordings are loaded before levels are made, as their span decides how fine these are.
#include "operations/level_set.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "operations/recording_steps.h"
#include "reader/decoding/channels.h"

namespace vortena {
namespace {

/// As many samples are quickly drawn; a level of narrower bins would hardly be smaller than the samples.
constexpr double kSamplesPerBin = 16;
/// Fewer bins than a screen has columns.
constexpr std::size_t kFewestBins = 512;
/// The most gaps of a channel; a screen shows no more.
constexpr std::size_t kMostGaps = 5000;

struct Span {
  double start = std::numeric_limits<double>::infinity();
  double end = -std::numeric_limits<double>::infinity();
};

bool is_shown(const kiv_DataSensor& series, int key) {
  const Channel& channel = channel_of(static_cast<ChannelKey>(key));
  return series.sampleCount > 0 && series.axisCount >= channel.axes.size() && series.is_consistent() &&
         std::isfinite(series.timestamps.front()) && std::isfinite(series.timestamps[series.sampleCount - 1]);
}

Span span_of(const SensorMap& sensors) {
  Span span;
  for (const auto& [key, series] : sensors) {
    if (is_shown(series, key)) {
      span.start = std::min(span.start, series.timestamps.front());
      span.end = std::max(span.end, series.timestamps[series.sampleCount - 1]);
    }
  }
  return span.start <= span.end ? span : Span{0, 0};
}

std::uint64_t most_samples(const SensorMap& sensors) {
  std::uint64_t most = 1;
  for (const auto& [key, series] : sensors) {
    most = std::max(most, series.sampleCount);
  }
  return most;
}

/// Where the finest level's bins lie.
Bins finest_bins(const UnitLevels& unit, std::uint64_t most_bins) {
  const double seconds = unit.end - unit.start;
  const double period = seconds / static_cast<double>(most_samples(unit.sensors));
  const double width = std::max(kSamplesPerBin * period, seconds / static_cast<double>(most_bins));
  return width > 0 ? Bins{unit.start, width, static_cast<std::size_t>(seconds / width) + 1} : Bins{unit.start, 1, 1};
}

void keep_longest(std::vector<Gap>* gaps) {
  if (gaps->size() > kMostGaps) {
    const auto longer = [](const Gap& a, const Gap& b) { return a.seconds > b.seconds; };
    std::nth_element(gaps->begin(), gaps->begin() + kMostGaps, gaps->end(), longer);
    gaps->resize(kMostGaps);
    std::sort(gaps->begin(), gaps->end(), [](const Gap& a, const Gap& b) { return a.after < b.after; });
  }
}

void find_gaps(const kiv_DataSensor& series, double longest_interval, ChannelLevels* channel) {
  std::vector<Gap> gaps;
  for (std::size_t i = 1; i < series.sampleCount && longest_interval > 0; ++i) {
    if (const double interval = series.timestamps[i] - series.timestamps[i - 1]; interval > longest_interval) {
      gaps.push_back({series.timestamps[i - 1], interval});
    }
  }
  channel->gap_count = gaps.size();
  keep_longest(&gaps);
  for (const Gap& gap : gaps) {
    channel->gaps.insert(channel->gaps.end(), {gap.after, gap.after + gap.seconds});
  }
}

double longest_interval(const QualityReport& report, ChannelKey key) {
  for (const ChannelQuality& channel : report.channels) {
    if (channel.key == key && channel.regular) {
      return channel.sampling.longest_interval;
    }
  }
  return 0;
}

class LevelMaker {
 public:
  LevelMaker(std::span<const std::string> paths, const LevelOptions& options, LevelSet* result)
      : paths_(paths), options_(options), result_(*result), recordings_(paths.size()) {
    result_.units.resize(paths.size());
  }

  Outcome run() {
    for (std::size_t i = 0; i < paths_.size(); ++i) {
      if (Outcome outcome = load_one(i); !outcome.good()) {
        outcome.recording = i;
        return outcome;
      }
    }
    if (Outcome outcome = synchronise_all(); !outcome.good()) {
      return outcome;
    }
    take_series();
    for (UnitLevels& unit : result_.units) {
      if (!add_levels(&unit)) {
        return stopped(Stage::kLevels);
      }
    }
    return {};
  }

 private:
  Outcome load_one(std::size_t i) {
    LoadedRecording loaded;
    Outcome outcome =
        load(&loaded, paths_[i].c_str(), {.header_samples = false, .watch = options_.watch}, options_.gyroscope_offset);
    if (outcome.good()) {
      outcome = orient(&loaded, options_.orientation, options_.watch);
    }
    if (outcome.good()) {
      result_.units[i].report = judge(loaded);
      recordings_[i] = std::move(loaded.recording);
    }
    return outcome;
  }

  Outcome synchronise_all() {
    if (!options_.synchronised) {
      return {};
    }
    result_.synchronisation = synchronise(recordings_, options_.watch);
    const SyncReport& report = result_.synchronisation;
    return {.problem = report.problem == SyncProblem::kNone      ? Problem::kNone
                       : report.problem == SyncProblem::kStopped ? Problem::kStopped
                                                                 : Problem::kSynchronisation,
            .stage = Stage::kSynchronising,
            .recording = report.recording,
            .synchronisation = report};
  }

  void take_series() {
    std::uint64_t samples = 0;
    for (std::size_t i = 0; i < recordings_.size(); ++i) {
      UnitLevels& unit = result_.units[i];
      unit.config = std::move(recordings_[i].config);
      unit.sensors = std::move(recordings_[i].sensors);
      unit.shift = options_.synchronised ? result_.synchronisation.shifts[i].front() : 0;
      const Span span = span_of(unit.sensors);
      unit.start = span.start;
      unit.end = span.end;
      for (const auto& [key, series] : unit.sensors) {
        samples += series.sampleCount;
      }
    }
    result_.samples_kept = samples <= options_.most_samples;
  }

  bool add_levels(UnitLevels* unit) {
    const Bins finest = finest_bins(*unit, std::max<std::uint64_t>(1, options_.most_bins / paths_.size()));
    for (auto entry = unit->sensors.begin(); entry != unit->sensors.end();) {
      const auto key = static_cast<ChannelKey>(entry->first);
      const bool shown = is_shown(entry->second, key);
      if (shown && !add_channel(unit, key, entry->second, finest)) {
        return false;
      }
      const bool kept = shown && (result_.samples_kept || key == kEventKey);
      entry = kept ? std::next(entry) : unit->sensors.erase(entry);
    }
    return true;
  }

  bool add_channel(UnitLevels* unit, ChannelKey key, const kiv_DataSensor& series, const Bins& finest) const {
    ChannelLevels& channel = unit->channels[key];
    channel.samples = series.sampleCount;
    find_gaps(series, longest_interval(unit->report, key), &channel);
    if (channel_of(key).curve_count() == 0) {
      return true;
    }
    const std::vector<Level> levels = make_levels(key, series, finest, kFewestBins, options_.watch);
    channel.levels = pack_levels(key, levels);
    return !levels.empty();
  }

  std::span<const std::string> paths_;
  const LevelOptions& options_;
  LevelSet& result_;
  std::vector<Recording> recordings_;
};

}  // namespace

LevelSet load_levels(std::span<const std::string> paths, const LevelOptions& options) {
  LevelSet result;
  result.outcome = LevelMaker(paths, options, &result).run();
  return result;
}

}  // namespace vortena
