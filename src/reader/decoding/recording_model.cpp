// The parts of the recording model that are more than plain members.
#include "reader/decoding/recording_model.h"

#include "system/large_pages.h"

namespace vortena {

kiv_DataSensor::kiv_DataSensor(std::uint64_t axis_count, std::uint64_t sample_count)
    : axisCount(axis_count), sampleCount(sample_count) {
  reserve_large(&values, axis_count * sample_count);
  values.resize(axis_count * sample_count);
  reserve_large(&timestamps, sample_count);
  timestamps.resize(sample_count);
}

bool kiv_DataSensor::is_consistent() const {
  return timestamps.size() >= sampleCount && (sampleCount == 0 || values.size() / sampleCount >= axisCount);
}

const kiv_DataSensor* find_series(const SensorMap& sensors, ChannelKey key, std::uint64_t axes) {
  const auto entry = sensors.find(key);
  if (entry == sensors.end()) {
    return nullptr;
  }
  const kiv_DataSensor& series = entry->second;
  return series.sampleCount > 0 && series.axisCount >= axes && series.is_consistent() ? &series : nullptr;
}

}  // namespace vortena
