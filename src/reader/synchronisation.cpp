// Vocabulary: the common keys are the synchronised channels that every recording holds; the time source tells
// how far each recording's clock is shifted; the start list holds the first common instant per common key;
// durations are what each channel holds from there on, and the shortest of them cuts all.
#include "reader/synchronisation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>
#include <optional>

#include "reader/decoding/channels.h"

namespace vortena {
namespace {

constexpr std::array kSynchronisedKeys{kAccelKey, kGyroKey, kBaroKey, kQuaternionKey};

/// One recording of the set. `frequencies` and `channels` are indexed by common key.
struct Unit {
  const kiv_Config* config;
  SensorMap* source;                        ///< as it was read; keeps the channels that are not synchronised
  std::vector<std::int32_t> frequencies{};  ///< Hz, of the synchronised keys that this recording holds
  SensorMap* output = nullptr;
  std::vector<kiv_DataSensor*> channels{};  ///< in `output`, which leaves its elements where they are
  std::vector<std::uint64_t> starts{};      ///< first sample of the common span, per channel
};

/// Frequencies in the order of the keys that a recording holds. Entry j later serves common key j, also where
/// the recordings hold different keys and it is another key's frequency: on purpose, so that a set keeps the spans that
/// its earlier exports had.
std::vector<std::int32_t> frequency_list(const kiv_Config& config, const SensorMap& input) {
  std::vector<std::int32_t> frequencies;
  for (const ChannelKey key : kSynchronisedKeys) {
    if (input.contains(key)) {
      frequencies.push_back(channel_of(key).settings.frequency(config));
    }
  }
  return frequencies;
}

Unit make_unit(const kiv_Config* config, SensorMap* source) {
  return {config, source, frequency_list(*config, *source)};
}

std::vector<ChannelKey> common_keys(const std::vector<Unit>& units) {
  std::vector<ChannelKey> keys;
  for (const ChannelKey key : kSynchronisedKeys) {
    if (std::all_of(units.begin(), units.end(), [key](const Unit& unit) { return unit.source->contains(key); })) {
      keys.push_back(key);
    }
  }
  return keys;
}

/// The source loses its channels.
void move_channels(Unit& unit, const std::vector<ChannelKey>& keys) {
  for (const ChannelKey key : keys) {
    unit.channels.push_back(&unit.output->insert(unit.source->extract(key)).position->second);
  }
}

void shift_channel(kiv_DataSensor& channel, double seconds) {
  for (double& time : channel.timestamps) {
    time += seconds;
  }
}

/// Returns the shifts of the channels, all the same.
std::vector<double> shift_unit(const Unit& unit, double seconds) {
  for (kiv_DataSensor* channel : unit.channels) {
    shift_channel(*channel, seconds);
  }
  return std::vector<double>(unit.channels.size(), seconds);
}

/// When the group's event happened on the schedule, minus when it happened on the unit's clock; single
/// precision, s. Of the group's bytes only b3 counts, with w as its thousandths.
float schedule_reference(const kiv_Config::ScheduleConfig::Group& group, std::int32_t frequency) {
  constexpr float kThousand = 1000.0F;
  const auto ticks = static_cast<float>(static_cast<std::int32_t>(group.t));
  return (static_cast<float>(group.b3) * kThousand + static_cast<float>(group.w)) / kThousand -
         ticks / static_cast<float>(frequency);
}

/// Every recording's own schedule block counts, whether or not it was read.
void shift_by_schedule(const std::vector<Unit>& units, SyncReport* report) {
  std::vector<float> start_times;
  for (const Unit& unit : units) {
    const float first = schedule_reference(unit.config->schedule.first, unit.config->frequency);
    const float second = schedule_reference(unit.config->schedule.second, unit.config->frequency);
    start_times.push_back((second + first) * 0.5F);
  }
  const float earliest = *std::min_element(start_times.begin(), start_times.end());
  for (std::size_t i = 0; i < units.size(); ++i) {
    report->shifts[i] = shift_unit(units[i], static_cast<double>(start_times[i] - earliest));
  }
}

/// Which fields tell the radio role and channel of every unit; the first recording decides for all.
bool roles_are_radio_modes(const std::vector<Unit>& units) {
  constexpr std::int32_t kRoleInRadioMode = 2;
  return units.front().config->radioTime.option1 == kRoleInRadioMode;
}

/// The one master's index; none, with the reason in the report, when the radio settings are at odds.
std::optional<std::size_t> find_master(const std::vector<Unit>& units, bool radio_modes, SyncReport* report) {
  constexpr std::int32_t kMaster = 0;
  constexpr std::int32_t kAnyChannel = -1;
  const auto role = [=](const Unit& u) { return radio_modes ? u.config->radioMode : u.config->radioTime.option1; };
  const auto channel = [=](const Unit& u) {
    return radio_modes ? u.config->radioChannel : u.config->radioTime.option2;
  };
  const std::int32_t first_channel = channel(units.front());
  const auto is_master = [&](const Unit& u) { return role(u) == kMaster; };
  report->masters = static_cast<int>(std::count_if(units.begin(), units.end(), is_master));
  report->radio_channels_agree = std::all_of(units.begin(), units.end(), [&](const Unit& u) {
    return &u == &units.front() || channel(u) == kAnyChannel || channel(u) == first_channel;
  });
  if (!report->radio_channels_agree || report->masters != 1) {
    report->problem = SyncProblem::kRadioSettings;
    return std::nullopt;
  }
  return static_cast<std::size_t>(std::find_if(units.begin(), units.end(), is_master) - units.begin());
}

/// Single precision, from left to right; the difference wraps at 32 bits. The product is added to seconds as it is, on
/// purpose: channels of different frequencies are shifted by different times.
std::vector<double> shift_by_radio_parameters(const Unit& unit) {
  std::vector<double> shifts;
  const auto difference = static_cast<std::int32_t>(unit.config->radioParam2 - unit.config->radioParam1);
  for (std::size_t j = 0; j < unit.channels.size(); ++j) {
    const float shift = static_cast<float>(unit.frequencies[j]) * static_cast<float>(difference) /
                        static_cast<float>(unit.config->frequency);
    shift_channel(*unit.channels[j], shifts.emplace_back(shift));
  }
  return shifts;
}

/// None when the unit received no radio times.
std::optional<std::vector<double>> shift_by_radio_times(const Unit& unit) {
  const kiv_DataSensor* radio_times = find_series(*unit.source, kRadioTimeKey, 1);
  if (radio_times == nullptr) {
    return std::nullopt;
  }
  return shift_unit(unit, radio_times->values.front() - radio_times->timestamps.front());
}

/// Shifts every unit but the master onto the master's clock. A failure leaves earlier shifts in place.
void shift_by_radio(const std::vector<Unit>& units, SyncReport* report) {
  const bool radio_modes = roles_are_radio_modes(units);
  report->source = radio_modes ? TimeSource::kRadioParameters : TimeSource::kRadioTimes;
  const std::optional<std::size_t> master = find_master(units, radio_modes, report);
  for (std::size_t i = 0; master && i < units.size(); ++i) {
    if (i == *master) {
      continue;
    }
    const auto shifts = radio_modes ? shift_by_radio_parameters(units[i]) : shift_by_radio_times(units[i]);
    if (!shifts) {
      report->problem = SyncProblem::kNoRadioTimes;
      report->recording = i;
      return;
    }
    report->shifts[i] = *shifts;
  }
}

void shift_to_common_clock(const std::vector<Unit>& units, SyncReport* report) {
  for (const Unit& unit : units) {
    report->shifts.emplace_back(unit.channels.size(), 0.0);
  }
  if (units.front().config->schedule.present) {
    report->source = TimeSource::kSchedule;
    shift_by_schedule(units, report);
  } else {
    shift_by_radio(units, report);
  }
}

/// A set without a common channel, or with an empty or inconsistent one, has no common span.
void require_common_samples(const std::vector<Unit>& units, SyncReport* report) {
  const auto has_no_samples = [](const kiv_DataSensor* c) { return c->sampleCount == 0 || !c->is_consistent(); };
  if (report->keys.empty()) {
    report->problem = SyncProblem::kNoCommonChannel;
    return;
  }
  for (std::size_t i = 0; i < units.size(); ++i) {
    const auto& channels = units[i].channels;
    if (std::any_of(channels.begin(), channels.end(), has_no_samples)) {
      report->problem = SyncProblem::kNoSamples;
      report->recording = i;
      return;
    }
  }
}

/// Per common key, the latest of the first time stamps, at least 0; seconds.
std::vector<double> start_list(const std::vector<Unit>& units) {
  std::vector<double> starts(units.front().channels.size(), 0.0);
  for (const Unit& unit : units) {
    for (std::size_t j = 0; j < starts.size(); ++j) {
      starts[j] = std::max(starts[j], unit.channels[j]->timestamps.front());
    }
  }
  return starts;
}

/// The sample closest in time; of two equally close ones the earlier.
std::uint64_t closest_sample(const kiv_DataSensor& channel, double time) {
  std::uint64_t closest = 0;
  double distance = std::min(std::abs(channel.timestamps[0] - time), std::numeric_limits<double>::max());
  for (std::uint64_t i = 1; i < channel.sampleCount; ++i) {
    const double candidate = std::abs(channel.timestamps[i] - time);
    if (candidate < distance) {
      distance = candidate;
      closest = i;
    }
  }
  return closest;
}

/// Sets the start samples of every unit and returns the shortest duration from there on, in single-precision
/// seconds.
float find_common_duration(std::vector<Unit>& units, const std::vector<double>& starts) {
  std::vector<float> durations;
  for (Unit& unit : units) {
    for (std::size_t j = 0; j < starts.size(); ++j) {
      const std::uint64_t start = closest_sample(*unit.channels[j], starts[j]);
      unit.starts.push_back(start);
      durations.push_back(static_cast<float>(unit.channels[j]->sampleCount - start) /
                          static_cast<float>(unit.frequencies[j]));
    }
  }
  return *std::min_element(durations.begin(), durations.end());
}

/// floor(frequency * duration), but never more than there is: an infinite or undefined count takes all.
std::uint64_t common_count(std::int32_t frequency, float duration, std::uint64_t available) {
  const double count = std::floor(static_cast<float>(frequency) * duration);
  if (!(count <= static_cast<double>(available))) {
    return available;
  }
  return count > 0 ? static_cast<std::uint64_t>(count) : 0;
}

/// Moves `count` values from `first` on down to `to`, or leaves them where they are.
void move_down(std::vector<double>& values, std::uint64_t first, std::uint64_t count, std::uint64_t to) {
  if (first != to) {
    double* const from = values.data() + first;
    std::copy(from, from + count, values.data() + to);
  }
}

/// Keeps samples `first` to `first + count` of every axis.
void cut(kiv_DataSensor& channel, std::uint64_t first, std::uint64_t count) {
  for (std::uint64_t axis = 0; axis < channel.axisCount; ++axis) {
    move_down(channel.values, axis * channel.sampleCount + first, count, axis * count);
  }
  move_down(channel.timestamps, first, count, 0);
  channel.values.resize(channel.axisCount * count);
  channel.timestamps.resize(count);
  channel.sampleCount = count;
}

void cut_to_duration(const Unit& unit, std::size_t j, float duration) {
  kiv_DataSensor& channel = *unit.channels[j];
  const std::uint64_t available = channel.sampleCount - unit.starts[j];
  cut(channel, unit.starts[j], common_count(unit.frequencies[j], duration, available));
}

/// The one-byte channel keeps its own clock: it is cut to the span by its unshifted time stamps.
void add_radio_bytes(const Unit& unit, double start, double end) {
  const kiv_DataSensor* channel = find_series(*unit.source, kRadioByteKey, 1);
  if (channel == nullptr) {
    return;
  }
  const std::vector<double>& times = channel->timestamps;
  std::int64_t last = static_cast<std::int32_t>(channel->sampleCount);
  std::int64_t first = 0;
  while (first < last && !(times[static_cast<std::size_t>(first)] >= start)) {
    ++first;
  }
  do {
    --last;
  } while (last >= 0 && !(times[static_cast<std::size_t>(last)] <= end));
  if (last >= first) {
    kiv_DataSensor& kept = unit.output->emplace(kRadioByteKey, *channel).first->second;
    cut(kept, static_cast<std::uint64_t>(first), static_cast<std::uint64_t>(last - first + 1));
  }
}

/// False when the watch stopped it.
bool cut_to_common_span(std::vector<Unit>& units, SyncReport* report, Watch* watch) {
  const std::vector<double> starts = start_list(units);
  const float duration = find_common_duration(units, starts);
  report->start = *std::min_element(starts.begin(), starts.end());
  report->duration = static_cast<double>(duration);
  std::uint64_t cuts = 0;
  for (const Unit& unit : units) {
    for (std::size_t j = 0; j < unit.channels.size(); ++j) {
      if (!goes_on(watch, cuts++)) {
        return false;
      }
      cut_to_duration(unit, j, duration);
    }
    add_radio_bytes(unit, report->start, report->start + report->duration);
  }
  return true;
}

/// Shifts and cuts the channels that stand in the units' outputs.
void synchronise_channels(std::vector<Unit>& units, SyncReport* report, Watch* watch) {
  begin_stage(watch, Stage::kSynchronising, units.size() * report->keys.size());
  shift_to_common_clock(units, report);
  if (report->problem == SyncProblem::kNone) {
    require_common_samples(units, report);
  }
  if (report->problem == SyncProblem::kNone && (!goes_on(watch, 0) || !cut_to_common_span(units, report, watch))) {
    report->problem = SyncProblem::kStopped;
  }
}

SyncProblem problem_of_inputs(const std::vector<kiv_Config*>& configs, const std::vector<SensorMap*>& inputs) {
  const auto is_null = [](const auto* pointer) { return pointer == nullptr; };
  if (configs.size() < 2 || inputs.size() != configs.size()) {
    return SyncProblem::kTooFewRecordings;
  }
  const bool null_found =
      std::any_of(configs.begin(), configs.end(), is_null) || std::any_of(inputs.begin(), inputs.end(), is_null);
  return null_found ? SyncProblem::kNullRecording : SyncProblem::kNone;
}

SyncReport synchronise_copies(std::vector<SensorMap*>& outputs, const std::vector<kiv_Config*>& configs,
                              const std::vector<SensorMap*>& inputs) {
  SyncReport report;
  report.problem = problem_of_inputs(configs, inputs);
  if (report.problem != SyncProblem::kNone) {
    return report;
  }
  std::vector<Recording> copies;
  copies.reserve(configs.size());
  outputs.assign(configs.size(), nullptr);
  for (std::size_t i = 0; i < configs.size(); ++i) {
    copies.push_back({*configs[i], *inputs[i]});
    outputs[i] = new SensorMap;  // NOLINT(cppcoreguidelines-owning-memory): handed to the caller
  }
  report = synchronise(copies);
  for (std::size_t i = 0; i < copies.size(); ++i) {
    *outputs[i] = std::move(copies[i].sensors);
  }
  return report;
}

}  // namespace

SynchronisedMaps::~SynchronisedMaps() {
  for (const SensorMap* map : maps) {
    delete map;  // NOLINT(cppcoreguidelines-owning-memory)
  }
}

std::string sync_message(const SyncReport& report) {
  switch (report.problem) {
    case SyncProblem::kTooFewRecordings:
      return "Wrong number of sensors.\n";
    case SyncProblem::kNullRecording:
      return "Null data detected.\n";
    case SyncProblem::kRadioSettings:
      return "Possibly no master or more than one used (" + std::to_string(report.masters) +
             "). Different radio channels are used.\n";
    case SyncProblem::kNoRadioTimes:
      return "No radio data.\n";
    case SyncProblem::kNone:
    case SyncProblem::kNoCommonChannel:
    case SyncProblem::kNoSamples:
    case SyncProblem::kStopped:
      break;
  }
  return "";
}

SyncReport synchronise(std::span<Recording> set, Watch* watch) {
  SyncReport report;
  if (set.size() < 2) {
    report.problem = SyncProblem::kTooFewRecordings;
    return report;
  }
  std::vector<Unit> units;
  units.reserve(set.size());
  for (Recording& recording : set) {
    units.push_back(make_unit(&recording.config, &recording.sensors));
  }
  report.keys = common_keys(units);
  std::vector<SensorMap> outputs(units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i].output = &outputs[i];
    move_channels(units[i], report.keys);
  }
  synchronise_channels(units, &report, watch);
  for (std::size_t i = 0; i < units.size(); ++i) {
    set[i].sensors = std::move(outputs[i]);
  }
  return report;
}

bool kiv_sync(std::vector<SensorMap*>& outputs, const std::vector<kiv_Config*>& configs,
              const std::vector<SensorMap*>& inputs) {
  const SyncReport report = synchronise_copies(outputs, configs, inputs);
  std::fputs(sync_message(report).c_str(), stderr);
  return report.problem == SyncProblem::kNone;
}

}  // namespace vortena
