// Vocabulary: the common keys are the synchronised channels that every recording holds; the time source tells
// how far each recording's clock is shifted; the start list holds the first common instant per common key;
// durations are what each channel holds from there on, and the shortest of them cuts all.
#include "reader/synchronisation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <limits>

namespace vortena {
namespace {

constexpr std::array kSynchronisedKeys{kAccelKey, kGyroKey, kBaroKey, kQuaternionKey};

/// One recording of the set. `frequencies` and `channels` are indexed by common key.
struct Unit {
  const kiv_Config* config;
  const SensorMap* input;
  SensorMap* output = nullptr;
  std::vector<std::int32_t> frequencies;    ///< Hz, of the synchronised keys that this recording holds
  std::vector<kiv_DataSensor*> channels{};  ///< the copies in `output`
  std::vector<std::uint64_t> starts{};      ///< first sample of the common span, per channel
};

bool has_key(const Unit& unit, int key) {
  return unit.input->contains(key);
}

std::int32_t key_frequency(const kiv_Config& config, ChannelKey key) {
  switch (key) {
    case kAccelKey:
      return config.accel.frequency;
    case kBaroKey:
      return config.baro.frequency;
    default:
      return config.gyro.frequency;  // the orientation runs at the gyroscope's rate
  }
}

bool inputs_are_sound(const std::vector<kiv_Config*>& configs, const std::vector<SensorMap*>& inputs) {
  if (configs.size() < 2 || inputs.size() != configs.size()) {
    std::fputs("Wrong number of sensors.\n", stderr);
    return false;
  }
  const auto is_null = [](const auto* pointer) { return pointer == nullptr; };
  if (std::any_of(configs.begin(), configs.end(), is_null) || std::any_of(inputs.begin(), inputs.end(), is_null)) {
    std::fputs("Null data detected.\n", stderr);
    return false;
  }
  return true;
}

/// Frequencies in the order of the keys that a recording holds. Entry j later serves common key j, also where
/// the recordings hold different keys and it is another key's frequency; that pairing is meant.
std::vector<std::int32_t> frequency_list(const kiv_Config& config, const SensorMap& input) {
  std::vector<std::int32_t> frequencies;
  for (const ChannelKey key : kSynchronisedKeys) {
    if (input.contains(key)) {
      frequencies.push_back(key_frequency(config, key));
    }
  }
  return frequencies;
}

std::vector<Unit> make_units(const std::vector<kiv_Config*>& configs, const std::vector<SensorMap*>& inputs) {
  std::vector<Unit> units;
  for (std::size_t i = 0; i < configs.size(); ++i) {
    units.push_back({configs[i], inputs[i], nullptr, frequency_list(*configs[i], *inputs[i])});
  }
  return units;
}

std::vector<ChannelKey> common_keys(const std::vector<Unit>& units) {
  std::vector<ChannelKey> keys;
  for (const ChannelKey key : kSynchronisedKeys) {
    if (std::all_of(units.begin(), units.end(), [key](const Unit& unit) { return has_key(unit, key); })) {
      keys.push_back(key);
    }
  }
  return keys;
}

void copy_channels(std::vector<SensorMap*>& outputs, std::vector<Unit>& units, const std::vector<ChannelKey>& keys) {
  outputs.assign(units.size(), nullptr);
  for (std::size_t i = 0; i < units.size(); ++i) {
    outputs[i] = new SensorMap;  // NOLINT(cppcoreguidelines-owning-memory): handed to the caller
    units[i].output = outputs[i];
    for (const ChannelKey key : keys) {
      const auto copy = units[i].output->emplace(key, units[i].input->at(key)).first;
      units[i].channels.push_back(&copy->second);  // elements of the map stay where they are
    }
  }
}

void shift_channel(kiv_DataSensor& channel, double seconds) {
  for (double& time : channel.timestamps) {
    time += seconds;
  }
}

void shift_unit(const Unit& unit, double seconds) {
  for (kiv_DataSensor* channel : unit.channels) {
    shift_channel(*channel, seconds);
  }
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
void shift_by_schedule(const std::vector<Unit>& units) {
  std::vector<float> start_times;
  for (const Unit& unit : units) {
    const float first = schedule_reference(unit.config->schedule.first, unit.config->frequency);
    const float second = schedule_reference(unit.config->schedule.second, unit.config->frequency);
    start_times.push_back((second + first) * 0.5F);
  }
  const float earliest = *std::min_element(start_times.begin(), start_times.end());
  for (std::size_t i = 0; i < units.size(); ++i) {
    shift_unit(units[i], static_cast<double>(start_times[i] - earliest));
  }
}

/// Which fields tell the radio role and channel of every unit; the first recording decides for all.
bool roles_are_radio_modes(const std::vector<Unit>& units) {
  constexpr std::int32_t kRoleInRadioMode = 2;
  return units.front().config->radioTime.option1 == kRoleInRadioMode;
}

/// The one master's index, or the count of units when the radio settings are at odds.
std::size_t find_master(const std::vector<Unit>& units, bool radio_modes) {
  constexpr std::int32_t kMaster = 0;
  constexpr std::int32_t kAnyChannel = -1;
  const auto role = [=](const Unit& u) { return radio_modes ? u.config->radioMode : u.config->radioTime.option1; };
  const auto channel = [=](const Unit& u) {
    return radio_modes ? u.config->radioChannel : u.config->radioTime.option2;
  };
  const std::int32_t first_channel = channel(units.front());
  const auto is_master = [&](const Unit& u) { return role(u) == kMaster; };
  const auto masters = static_cast<int>(std::count_if(units.begin(), units.end(), is_master));
  const bool channels_agree = std::all_of(units.begin(), units.end(), [&](const Unit& u) {
    return &u == &units.front() || channel(u) == kAnyChannel || channel(u) == first_channel;
  });
  if (!channels_agree || masters != 1) {
    std::fprintf(stderr, "Possibly no master or more than one used (%i). Different radio channels are used.\n",
                 masters);
    return units.size();
  }
  return static_cast<std::size_t>(std::find_if(units.begin(), units.end(), is_master) - units.begin());
}

/// Single precision, from left to right; the difference wraps at 32 bits. No further change of units, on
/// purpose.
void shift_by_radio_parameters(const Unit& unit) {
  const auto difference = static_cast<std::int32_t>(unit.config->radioParam2 - unit.config->radioParam1);
  for (std::size_t j = 0; j < unit.channels.size(); ++j) {
    const float shift = static_cast<float>(unit.frequencies[j]) * static_cast<float>(difference) /
                        static_cast<float>(unit.config->frequency);
    shift_channel(*unit.channels[j], static_cast<double>(shift));
  }
}

bool shift_by_radio_times(const Unit& unit) {
  const kiv_DataSensor* radio_times = find_series(*unit.input, kRadioTimeKey, 1);
  if (radio_times == nullptr) {
    std::fputs("No radio data.\n", stderr);
    return false;
  }
  shift_unit(unit, radio_times->values.front() - radio_times->timestamps.front());
  return true;
}

/// Shifts every unit but the master onto the master's clock. A failure leaves earlier shifts in place.
bool shift_by_radio(const std::vector<Unit>& units) {
  const bool radio_modes = roles_are_radio_modes(units);
  const std::size_t master = find_master(units, radio_modes);
  if (master == units.size()) {
    return false;
  }
  for (std::size_t i = 0; i < units.size(); ++i) {
    if (i == master) {
      continue;
    }
    if (radio_modes) {
      shift_by_radio_parameters(units[i]);
    } else if (!shift_by_radio_times(units[i])) {
      return false;
    }
  }
  return true;
}

/// A set without a common channel, or with an empty or inconsistent one, has no common span.
bool has_common_samples(const std::vector<Unit>& units) {
  const auto has_samples = [](const kiv_DataSensor* channel) {
    return channel->sampleCount > 0 && channel->has_axes(channel->axisCount);
  };
  return std::all_of(units.begin(), units.end(), [&](const Unit& unit) {
    return !unit.channels.empty() && std::all_of(unit.channels.begin(), unit.channels.end(), has_samples);
  });
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

/// Samples `first` to `first + count` of every axis.
kiv_DataSensor slice(const kiv_DataSensor& channel, std::uint64_t first, std::uint64_t count) {
  kiv_DataSensor cut(channel.axisCount, count);
  for (std::uint64_t axis = 0; axis < channel.axisCount; ++axis) {
    std::copy_n(channel.values.data() + axis * channel.sampleCount + first, count, cut.values.data() + axis * count);
  }
  std::copy_n(channel.timestamps.data() + first, count, cut.timestamps.data());
  return cut;
}

void cut_to_duration(const Unit& unit, float duration) {
  for (std::size_t j = 0; j < unit.channels.size(); ++j) {
    kiv_DataSensor& channel = *unit.channels[j];
    const std::uint64_t available = channel.sampleCount - unit.starts[j];
    channel = slice(channel, unit.starts[j], common_count(unit.frequencies[j], duration, available));
  }
}

/// The one-byte channel keeps its own clock: it is cut to the span by its unshifted time stamps.
void add_radio_bytes(const Unit& unit, double start, double end) {
  const kiv_DataSensor* channel = find_series(*unit.input, kRadioByteKey, 1);
  if (channel == nullptr) {
    return;
  }
  const LargeArray<double>& times = channel->timestamps;
  std::int64_t last = static_cast<std::int32_t>(channel->sampleCount);
  std::int64_t first = 0;
  while (first < last && !(times[static_cast<std::size_t>(first)] >= start)) {
    ++first;
  }
  do {
    --last;
  } while (last >= 0 && !(times[static_cast<std::size_t>(last)] <= end));
  if (last >= first) {
    unit.output->emplace(kRadioByteKey, slice(*channel, static_cast<std::uint64_t>(first),
                                              static_cast<std::uint64_t>(last - first + 1)));
  }
}

void cut_to_common_span(std::vector<Unit>& units) {
  const std::vector<double> starts = start_list(units);
  const float duration = find_common_duration(units, starts);
  const double start = *std::min_element(starts.begin(), starts.end());
  for (const Unit& unit : units) {
    cut_to_duration(unit, duration);
    add_radio_bytes(unit, start, start + static_cast<double>(duration));
  }
}

}  // namespace

SynchronisedMaps::~SynchronisedMaps() {
  for (const SensorMap* map : maps) {
    delete map;  // NOLINT(cppcoreguidelines-owning-memory)
  }
}

bool kiv_sync(std::vector<SensorMap*>& outputs, const std::vector<kiv_Config*>& configs,
              const std::vector<SensorMap*>& inputs) {
  if (!inputs_are_sound(configs, inputs)) {
    return false;
  }
  std::vector<Unit> units = make_units(configs, inputs);
  copy_channels(outputs, units, common_keys(units));
  if (configs.front()->schedule.present) {
    shift_by_schedule(units);
  } else if (!shift_by_radio(units)) {
    return false;
  }
  if (!has_common_samples(units)) {
    return false;
  }
  cut_to_common_span(units);
  return true;
}

}  // namespace vortena
