// How a channel was sampled: its true samples, their rate, and where some are missing.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "reader/decoding/load_report.h"
#include "reader/decoding/recording_model.h"

namespace vortena {

/// Walks the positions of a series in ascending order, without those of the header block's samples.
class TruePositions {
 public:
  /// `left_out` ascends and outlives the walk.
  explicit TruePositions(std::span<const std::uint64_t> left_out) : left_out_(left_out) {}

  std::size_t next() {
    while (!left_out_.empty() && left_out_.front() == position_) {
      left_out_ = left_out_.subspan(1);
      ++position_;
    }
    return position_++;
  }

 private:
  std::span<const std::uint64_t> left_out_;
  std::size_t position_ = 0;
};

/// The positions in the series under `key` that hold samples of the header block.
std::span<const std::uint64_t> header_positions(const LoadReport& report, ChannelKey key);

/// Number of samples that are not of the header block.
std::uint64_t count_true_samples(const kiv_DataSensor& series, std::span<const std::uint64_t> left_out);

/// A time without samples.
struct Gap {
  double after = 0;    ///< time of the last sample before it, seconds since the recording's tick zero
  double seconds = 0;  ///< that are missing: the interval less one sampling period
};

struct Gaps {
  std::uint64_t count = 0;
  double seconds = 0;        ///< missing in all of them
  std::vector<Gap> longest;  ///< a few, the longest first
};

/// True times only.
struct Sampling {
  std::uint64_t samples = 0;
  double first = 0;  ///< seconds since the recording's tick zero; of one sample at least
  double last = 0;
  std::optional<double> rate_hz;  ///< between gaps, where there is an interval that is none
  double longest_interval = 0;    ///< between two samples without a gap, s; 0 where it is not known
  Gaps gaps;
};

/// `nominal_hz` is the header's sampling frequency, or 0. Where the channel runs at another one, gaps are judged by the
/// interval that it keeps. Without a time base (0) only the number of samples is known.
Sampling measure_sampling(const kiv_DataSensor& series, std::span<const std::uint64_t> left_out,
                          std::int32_t ticks_per_second, std::int32_t nominal_hz);

}  // namespace vortena
