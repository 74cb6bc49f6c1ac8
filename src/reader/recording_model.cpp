// The parts of the recording model that are more than plain members.
#include "reader/recording_model.h"

namespace vortena {

kiv_DataSensor::kiv_DataSensor(std::uint64_t axis_count, std::uint64_t sample_count)
    : axisCount(axis_count), sampleCount(sample_count), values(axis_count * sample_count), timestamps(sample_count) {}

bool kiv_DataSensor::has_axes(std::uint64_t axes) const {
  return axisCount >= axes && timestamps.size() >= sampleCount &&
         (sampleCount == 0 || values.size() / sampleCount >= axisCount);
}

const kiv_DataSensor* find_series(const SensorMap& sensors, ChannelKey key, std::uint64_t axes) {
  const auto entry = sensors.find(key);
  if (entry == sensors.end() || entry->second.sampleCount == 0 || !entry->second.has_axes(axes)) {
    return nullptr;
  }
  return &entry->second;
}

}  // namespace vortena
