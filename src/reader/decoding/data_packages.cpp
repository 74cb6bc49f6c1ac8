// Data packages: 63 records of eight bytes behind a base tick. Inertial samples and times are big-endian,
// barometer samples little-endian; that is how the units write them.
#include "reader/decoding/data_packages.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <span>

#include "reader/decoding/byte_order.h"
#include "reader/decoding/recording_format.h"

namespace vortena {
namespace {

constexpr double kFullScaleCounts = 1 << 15;
constexpr double kPressureCountsPerMbar = 4096;
constexpr double kTemperatureCountsPerDegree = 100;

std::array<AxisCalibration, 3> inertial_calibration(const kiv_Config::SensorConfig& sensor) {
  const double scale = sensor.range / kFullScaleCounts;
  return {{{scale, sensor.offsetX, sensor.gainX},
           {scale, sensor.offsetY, sensor.gainY},
           {scale, sensor.offsetZ, sensor.gainZ}}};
}

std::array<AxisCalibration, 2> baro_calibration() {
  return {{{.gain = kPressureCountsPerMbar}, {.gain = kTemperatureCountsPerDegree}}};
}

std::array<AxisCalibration, 1> tick_calibration(const kiv_Config& config) {
  return {{{.gain = static_cast<double>(config.frequency)}}};
}

std::array<std::int16_t, 3> three_axes(const std::uint8_t* payload) {
  return {s16_be(payload), s16_be(payload + kAxisSize), s16_be(payload + 2 * kAxisSize)};
}

/// Room for all blocks when those so far are typical, and a little more. Anything beyond still fits by growing: this
/// only saves copies, and does without where memory is short.
template <std::size_t Axes>
void reserve_series(SampleSeries<Axes>& series, double growth) {
  constexpr double kMargin = 1.03;
  const double expected = static_cast<double>(series.size()) * growth * kMargin;
  try {
    series.reserve(static_cast<std::size_t>(expected));
  } catch (const std::bad_alloc&) {
    return;
  }
}

/// True when an axis stands at either end of its 16 bits.
bool is_at_full_scale(const std::array<std::int16_t, 3>& counts) {
  // Both ends lie side by side when the numbers wrap behind the highest one.
  const auto at_end = [](std::int16_t count) { return static_cast<std::uint16_t>(count - INT16_MAX) <= 1; };
  return at_end(counts[0]) || at_end(counts[1]) || at_end(counts[2]);
}

/// Other channels are no measurement that could run out of its range.
template <std::size_t Axes>
bool is_at_full_scale(const std::array<std::int32_t, Axes>& /*counts*/) {
  return false;
}

template <std::size_t Axes>
using Samples = std::vector<typename SampleSeries<Axes>::Sample>;

/// Memory that was erased, or never written, holds one byte throughout.
bool is_blank(const std::uint8_t* bytes, std::size_t size) {
  return std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

/// Fills a series that has as many axes and samples. Returns how many samples are at full scale.
template <std::size_t Axes>
std::uint64_t fill(kiv_DataSensor* sensor, const SampleSeries<Axes>& series, const Samples<Axes>& samples,
                   double ticks_per_second, Patience& patience) {
  std::uint64_t at_full_scale = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    patience.step();
    sensor->timestamps[i] = static_cast<double>(samples[i].tick) / ticks_per_second;
    at_full_scale += is_at_full_scale(samples[i].counts) ? 1U : 0U;
    for (std::size_t axis = 0; axis < Axes; ++axis) {
      sensor->values[axis * samples.size() + i] = series.calibration()[axis].apply(samples[i].counts[axis]);
    }
  }
  return at_full_scale;
}

/// Fills a series of any size with what has a place in it. Its vectors may be smaller than its counts say.
template <std::size_t Axes>
std::uint64_t fill_partly(kiv_DataSensor* sensor, const SampleSeries<Axes>& series, const Samples<Axes>& samples,
                          double ticks_per_second) {
  const auto sample_count = static_cast<std::size_t>(sensor->sampleCount);
  const auto end_within = [&](std::size_t room) {
    return samples.begin() + static_cast<std::ptrdiff_t>(std::min({samples.size(), sample_count, room}));
  };
  std::transform(samples.begin(), end_within(sensor->timestamps.size()), sensor->timestamps.begin(),
                 [&](const auto& sample) { return static_cast<double>(sample.tick) / ticks_per_second; });
  std::span<double> values(sensor->values);
  for (std::size_t axis = 0; axis < std::min<std::uint64_t>(Axes, sensor->axisCount); ++axis) {
    std::transform(samples.begin(), end_within(values.size()), values.begin(),
                   [&](const auto& sample) { return series.calibration()[axis].apply(sample.counts[axis]); });
    values = values.subspan(std::min(values.size(), sample_count));
  }
  return static_cast<std::uint64_t>(std::count_if(samples.begin(), samples.end(),
                                                  [](const auto& sample) { return is_at_full_scale(sample.counts); }));
}

}  // namespace

PackageDecoder::PackageDecoder(const kiv_Config& config) {
  std::array<bool, UINT8_MAX + 1> claimed{};
  const auto claim = [&](const auto& settings, std::int8_t key) {
    // A negative identifier wraps to one that no byte equals.
    const std::size_t id = static_cast<std::uint32_t>(settings.id);
    if (settings.present && id < claimed.size() && !claimed[id]) {
      claimed[id] = true;
      key_of_id_[id] = key;
    }
  };
  // Where channels share an identifier, the first in this order gets the records.
  claim(config.accel, kAccelKey);
  claim(config.gyro, kGyroKey);
  claim(config.baro, kBaroKey);
  claim(config.gps, kSkipped);
  claim(config.mag, kMagKey);
  claim(config.radioByte, kRadioByteKey);
  claim(config.radioTime, kRadioTimeKey);
  claim(config.auxA, kSkipped);
  claim(config.auxB, kSkipped);
  claim(config.event, kEventKey);
  series<kAccelKey>() = SampleSeries<3>(inertial_calibration(config.accel));
  series<kGyroKey>() = SampleSeries<3>(inertial_calibration(config.gyro));
  series<kBaroKey>() = SampleSeries<2>(baro_calibration());
  series<kRadioTimeKey>() = SampleSeries<1>(tick_calibration(config));
}

template <typename Visit>
void PackageDecoder::for_each_series(Visit visit) {
  const auto visit_recorded = [&]<std::size_t Place>() {
    if constexpr (kChannels[Place].recorded) {
      visit(kChannels[Place], std::get<Place>(series_));
    }
  };
  [&]<std::size_t... Place>(std::index_sequence<Place...>) {
    (visit_recorded.template operator()<Place>(), ...);
  }(Places());
}

void PackageDecoder::decode_header_block(BlockBytes block, bool keep_samples) {
  decode_records(block);
  for_each_series([keep_samples](const Channel&, auto& series) { series.end_header_block(keep_samples); });
  packages_ = {};  // nearly all of its bytes are no records
}

void PackageDecoder::decode_block(BlockBytes block) {
  if (is_blank(block.data(), block.size()) && key_of_id_[block[0]] == kForeign) {
    ++packages_.blank_blocks;
    return;
  }
  decode_records(block);
  look_at_base_tick(u32_be(block.data() + kBaseTickOffset));
}

void PackageDecoder::look_at_base_tick(std::int64_t base_tick) {
  packages_.blocks_back_in_time += base_tick < last_base_tick_ ? 1 : 0;
  last_base_tick_ = base_tick;
}

void PackageDecoder::decode_records(BlockBytes block) {
  const std::int64_t base_tick = u32_be(block.data() + kBaseTickOffset);
  for (std::size_t r = 0; r < kRecordsPerBlock; ++r) {
    decode_record(base_tick, block.data() + kFirstRecordOffset + r * kRecordSize);
  }
}

void PackageDecoder::count_undecoded(std::int8_t key, const std::uint8_t* record) {
  if (key == kSkipped) {
    ++packages_.skipped_records;
  } else if (is_blank(record, kRecordSize)) {
    ++packages_.blank_records;
  } else {
    ++packages_.foreign_records[record[kRecordIdOffset]];
  }
}

void PackageDecoder::decode_record(std::int64_t base_tick, const std::uint8_t* record) {
  const std::int64_t tick = base_tick + record[kRecordDeltaOffset];
  const std::uint8_t* payload = record + kRecordPayloadOffset;
  const std::int8_t key = key_of_id_[record[kRecordIdOffset]];
  if (key <= kForeign) {
    return count_undecoded(key, record);
  }
  switch (static_cast<ChannelKey>(key)) {
    case kAccelKey:
      return series<kAccelKey>().append(tick, three_axes(payload));
    case kGyroKey:
      return series<kGyroKey>().append(tick, three_axes(payload));
    case kBaroKey:
      return series<kBaroKey>().append(tick, {u24_le(payload), s16_le(payload + kTemperatureOffset)});
    case kMagKey:
      return series<kMagKey>().append(tick, three_axes(payload));
    case kRadioByteKey:
      return series<kRadioByteKey>().append(tick, {payload[0]});
    case kRadioTimeKey:
      return series<kRadioTimeKey>().append(tick, {s32_be(payload)});
    case kEventKey:
      return series<kEventKey>().append(tick, {payload[kEventOffset]});
    case kQuaternionKey:
      return;  // computed, never recorded
  }
}

void PackageDecoder::reserve(std::uint64_t total_blocks, std::uint64_t decoded_blocks) {
  const double growth = static_cast<double>(total_blocks) / static_cast<double>(decoded_blocks);
  for_each_series([growth](const Channel&, auto& series) { reserve_series(series, growth); });
}

void PackageDecoder::make_room(const kiv_Config& config, SensorMap* sensors, Watch* watch) {
  for_each_series([&](const Channel& channel, auto& series) {
    if (channel.settings.present(config)) {
      sensors->try_emplace(channel.key, series.axes(), series.ordered_samples(Patience(watch)).size());
    }
  });
}

void PackageDecoder::order(Watch* watch) {
  for_each_series([watch](const Channel&, auto& series) { series.ordered_samples(Patience(watch)); });
}

std::map<ChannelKey, ChannelCounts> PackageDecoder::transfer(const kiv_Config& config, SensorMap* sensors,
                                                             Watch* watch) {
  std::map<ChannelKey, ChannelCounts> counts;
#if defined(__EMSCRIPTEN__)
  // Memory never goes back from an instance. With all series made before the first accumulator goes, these leave one
  // hole, which the orientation fits into.
  make_room(config, sensors, watch);
#endif
  for_each_series([&](const Channel& channel, auto& series) {
    if (channel.settings.present(config)) {
      const auto& samples = series.ordered_samples(Patience(watch));
      ChannelCounts& counted = counts.emplace(channel.key, series.counts()).first->second;
      const auto from_header = static_cast<std::uint64_t>(
          std::count_if(counted.header_samples.begin(), counted.header_samples.end(),
                        [&](std::uint64_t at) { return is_at_full_scale(samples[at].counts); }));
      const std::uint64_t at_full_scale = _transfertData(sensors, config, channel.key, &series, Patience(watch));
      counted.at_full_scale = at_full_scale - std::min(at_full_scale, from_header);
    }
  });
  return counts;
}

template <std::size_t Axes>
std::uint64_t _transfertData(SensorMap* sensors, const kiv_Config& config, int key, SampleSeries<Axes>* series,
                             Patience patience) {
  const auto& samples = series->ordered_samples(patience);
  kiv_DataSensor& sensor = sensors->try_emplace(key, Axes, samples.size()).first->second;
  const double ticks_per_second = config.frequency;
  const std::uint64_t at_full_scale = sensor.has_shape(Axes, samples.size())
                                          ? fill(&sensor, *series, samples, ticks_per_second, patience)
                                          : fill_partly(&sensor, *series, samples, ticks_per_second);
  series->clear();
  return at_full_scale;
}

template <std::size_t Axes>
kiv_DataSensor decoded_samples(const kiv_Config& config, SampleSeries<Axes>* series) {
  Patience patience(nullptr);
  const auto& samples = series->ordered_samples();
  kiv_DataSensor sensor(Axes, samples.size());
  fill(&sensor, *series, samples, config.frequency, patience);
  return sensor;
}

template std::uint64_t _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<1>*, Patience);
template std::uint64_t _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<2>*, Patience);
template std::uint64_t _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<3>*, Patience);
template kiv_DataSensor decoded_samples(const kiv_Config&, SampleSeries<3>*);

}  // namespace vortena
