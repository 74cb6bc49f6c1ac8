// The CSV text of a decoded recording; docs/csv-format.md describes it line by line.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>

#include "reader/decoding/recording_model.h"
#include "reader/texts/csv_writer.h"
#include "system/watch.h"

namespace vortena {

/// A channel of the export, and where some of its samples are: axis a of sample first + i is values[a * stride + i],
/// its time in s times[i].
struct CsvChannel {
  std::uint64_t count = 0;  ///< samples in all; 0 when the channel is not taken
  std::uint64_t ratio = 1;  ///< rows per sample
  const double* values = nullptr;
  const double* times = nullptr;
  std::size_t stride = 0;
  std::uint64_t first = 0;
  std::uint64_t position = 0;  ///< next sample to write
  std::uint64_t next_row = 0;  ///< next multiple of the ratio

  [[nodiscard]] bool taken() const { return count > 0; }

  /// How many samples the rows up to `end` take, which is not one of them.
  [[nodiscard]] std::uint64_t samples_until(std::uint64_t end) const {
    const std::uint64_t rows = end > next_row ? end - next_row : 0;
    return std::min((rows + ratio - 1) / ratio, count - position);
  }
};

struct CsvChannels {
  CsvChannel gyro;
  CsvChannel accel;
  CsvChannel baro;
  CsvChannel event;
  CsvChannel quaternion;
};

/// A CSV under way: preamble and header lines first, then one row per tick of the row clock, as many at a time as the
/// caller likes. Series that do not hold the axes of their channel count as absent. The series must stay where they
/// are; their values may still be coming, as long as no row is asked for that needs them. Failures stay in the stream.
class CsvExport {
 public:
  CsvExport(std::ostream& out, const kiv_Config& config, const SensorMap& sensors);

  /// For channels whose samples come in pieces: before rows are asked for, channels() must hold theirs.
  CsvExport(std::ostream& out, const kiv_Config& config, const CsvChannels& channels);

  [[nodiscard]] CsvChannels& channels() { return channels_; }
  [[nodiscard]] std::uint64_t rows() const { return rows_; }
  [[nodiscard]] std::uint64_t rows_written() const { return next_row_; }

  /// Rows up to `end`, which is not written itself.
  void write_rows(std::uint64_t end);

  /// How many rows need no more than the first `quaternions` samples of the orientation.
  [[nodiscard]] std::uint64_t rows_covered(std::uint64_t quaternions) const;

  /// All rows that are left, then what is buffered; the last call. Ends early when the stream fails. False when the
  /// watch stopped it.
  bool write_rest(Watch* watch);

 private:
  std::ostream& out_;
  CsvWriter csv_;
  CsvChannels channels_;
  std::uint64_t rows_;
  double step_;  ///< s between rows
  double time_;  ///< of the next row, s
  std::uint64_t next_row_ = 0;
};

/// Rows per sample of a channel: 1 where it has no frequency, or more than the time base.
std::uint64_t decimation_ratio(const kiv_Config& config, std::int32_t sensor_frequency);

/// The whole CSV. Neither input is changed; failures stay in the stream, and end the writing. False when the watch
/// stopped it.
bool write_csv(std::ostream& out, const kiv_Config& config, const SensorMap& sensors, Watch* watch = nullptr);

}  // namespace vortena
