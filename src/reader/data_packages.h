// Decoding of data packages into per-channel series. Works on bytes only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "reader/header_frames.h"
#include "reader/recording_model.h"
#include "reader/sample_series.h"

namespace vortena {

/// Decodes the blocks of one recording, in file order, into one accumulator per channel.
class PackageDecoder {
 public:
  /// `config` is copied where needed; it may go before the decoder does.
  explicit PackageDecoder(const kiv_Config& config);

  void decode_block(BlockBytes block);

  /// Makes room for `total_blocks` blocks, on the evidence of the `decoded_blocks` decoded so far.
  void reserve(std::uint64_t total_blocks, std::uint64_t decoded_blocks);

  /// Moves the series of every present channel into `sensors` and empties the accumulators.
  void transfer(const kiv_Config& config, SensorMap* sensors);

 private:
  enum class Channel : std::uint8_t { kNone, kAccel, kGyro, kBaro, kMag, kRadioByte, kRadioTime, kEvent };

  void decode_record(std::int64_t base_tick, const std::uint8_t* record);

  std::array<Channel, UINT8_MAX + 1> channel_of_id_;
  SampleSeries<3> accel_;
  SampleSeries<3> gyro_;
  SampleSeries<2> baro_;
  SampleSeries<3> mag_;
  SampleSeries<1> radio_byte_;
  SampleSeries<1> radio_time_;
  SampleSeries<1> event_;
};

/// Moves an accumulator of one, two or three values per sample into the map under `key` and empties it. Time
/// stamps are ticks over `config.frequency`, whatever that is. An entry that already stands under the key is
/// filled in place when it has the same axis and sample counts; an entry of another shape stays as it is.
template <std::size_t Axes>
void _transfertData(SensorMap* sensors, const kiv_Config& config, int key, SampleSeries<Axes>* series);

extern template void _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<1>*);
extern template void _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<2>*);
extern template void _transfertData(SensorMap*, const kiv_Config&, int, SampleSeries<3>*);

}  // namespace vortena
