// Data packages: 63 records of eight bytes behind a base tick. Inertial samples and times are big-endian,
// barometer samples little-endian; that is how the units write them.
#include "reader/data_packages.h"

#include <algorithm>
#include <new>

#include "reader/byte_order.h"
#include "reader/recording_format.h"

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
  return {{{1, 0, kPressureCountsPerMbar}, {1, 0, kTemperatureCountsPerDegree}}};
}

std::array<AxisCalibration, 1> tick_calibration(const kiv_Config& config) {
  return {{{1, 0, static_cast<double>(config.frequency)}}};
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

}  // namespace

PackageDecoder::PackageDecoder(const kiv_Config& config)
    : channel_of_id_{},
      accel_(inertial_calibration(config.accel)),
      gyro_(inertial_calibration(config.gyro)),
      baro_(baro_calibration()),
      radio_time_(tick_calibration(config)) {
  std::array<bool, UINT8_MAX + 1> claimed{};
  const auto claim = [&](const auto& settings, Channel channel) {
    // A negative identifier wraps to one that no byte equals.
    const std::size_t id = static_cast<std::uint32_t>(settings.id);
    if (settings.present && id < claimed.size() && !claimed[id]) {
      claimed[id] = true;
      channel_of_id_[id] = channel;
    }
  };
  // Of channels that share an identifier, the first in this order gets the records.
  claim(config.accel, Channel::kAccel);
  claim(config.gyro, Channel::kGyro);
  claim(config.baro, Channel::kBaro);
  claim(config.gps, Channel::kNone);
  claim(config.mag, Channel::kMag);
  claim(config.radioByte, Channel::kRadioByte);
  claim(config.radioTime, Channel::kRadioTime);
  claim(config.auxA, Channel::kNone);
  claim(config.auxB, Channel::kNone);
  claim(config.event, Channel::kEvent);
}

void PackageDecoder::decode_block(BlockBytes block) {
  const std::int64_t base_tick = u32_be(block.data() + kBaseTickOffset);
  for (std::size_t r = 0; r < kRecordsPerBlock; ++r) {
    decode_record(base_tick, block.data() + kFirstRecordOffset + r * kRecordSize);
  }
}

void PackageDecoder::decode_record(std::int64_t base_tick, const std::uint8_t* record) {
  const std::int64_t tick = base_tick + record[kRecordDeltaOffset];
  const std::uint8_t* payload = record + kRecordPayloadOffset;
  switch (channel_of_id_[record[kRecordIdOffset]]) {
    case Channel::kNone:
      return;
    case Channel::kAccel:
      return accel_.append(tick, three_axes(payload));
    case Channel::kGyro:
      return gyro_.append(tick, three_axes(payload));
    case Channel::kBaro:
      return baro_.append(tick, {u24_le(payload), s16_le(payload + kTemperatureOffset)});
    case Channel::kMag:
      return mag_.append(tick, three_axes(payload));
    case Channel::kRadioByte:
      return radio_byte_.append(tick, {payload[0]});
    case Channel::kRadioTime:
      return radio_time_.append(tick, {s32_be(payload)});
    case Channel::kEvent:
      return event_.append(tick, {payload[kEventOffset]});
  }
}

void PackageDecoder::reserve(std::uint64_t total_blocks, std::uint64_t decoded_blocks) {
  const double growth = static_cast<double>(total_blocks) / static_cast<double>(decoded_blocks);
  reserve_series(accel_, growth);
  reserve_series(gyro_, growth);
  reserve_series(baro_, growth);
  reserve_series(mag_, growth);
  reserve_series(radio_byte_, growth);
  reserve_series(radio_time_, growth);
  reserve_series(event_, growth);
}

void PackageDecoder::transfer(const kiv_Config& config, SensorMap* sensors) {
  const auto transfer_present = [&](bool present, ChannelKey key, auto& series) {
    if (present) {
      _transfertData(sensors, config, key, &series);
    }
  };
  transfer_present(config.accel.present, kAccelKey, accel_);
  transfer_present(config.gyro.present, kGyroKey, gyro_);
  transfer_present(config.baro.present, kBaroKey, baro_);
  transfer_present(config.mag.present, kMagKey, mag_);
  transfer_present(config.radioByte.present, kRadioByteKey, radio_byte_);
  transfer_present(config.radioTime.present, kRadioTimeKey, radio_time_);
  transfer_present(config.event.present, kEventKey, event_);
}

template <std::size_t Axes>
void _transfertData(SensorMap* sensors, const kiv_Config& config, int key, SampleSeries<Axes>* series) {
  const auto& samples = series->ordered_samples();
  kiv_DataSensor& sensor = sensors->try_emplace(key, Axes, samples.size()).first->second;
  if (sensor.has_shape(Axes, samples.size())) {
    const double ticks_per_second = config.frequency;
    for (std::size_t i = 0; i < samples.size(); ++i) {
      sensor.timestamps[i] = static_cast<double>(samples[i].tick) / ticks_per_second;
      for (std::size_t axis = 0; axis < Axes; ++axis) {
        sensor.values[axis * samples.size() + i] = series->calibration()[axis].apply(samples[i].counts[axis]);
      }
    }
  }
  series->clear();
}

template void _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<1>*);
template void _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<2>*);
template void _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<3>*);

}  // namespace vortena
