// Accumulation of one channel's samples while blocks are decoded: an ordered map from tick to sample in which
// the first sample at a tick wins, kept as a vector that in-order recordings only append to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "reader/decoding/load_report.h"
#include "system/watch.h"

namespace vortena {

/// Linear calibration of one axis. The order of operations is part of the result's digits.
struct AxisCalibration {
  double scale = 1;
  double offset = 0;
  double gain = 1;

  /// Adding 0 changes nothing but -0, which a scale of 0 makes of negative counts.
  [[nodiscard]] double apply(std::int32_t count) const { return (count * scale + 0.0 - offset) / gain; }
};

/// The samples of one channel as raw counts, with the calibration that turns them into values.
template <std::size_t Axes>
class SampleSeries {
 public:
  /// Three-axis channels are 16 bits wide; no sample takes more than 16 bytes.
  using Count = std::conditional_t<Axes == 3, std::int16_t, std::int32_t>;
  using Counts = std::array<Count, Axes>;
  struct Sample {
    std::int64_t tick;
    Counts counts;
  };
  static_assert(sizeof(Sample) <= 16);

  explicit SampleSeries(const std::array<AxisCalibration, Axes>& calibration = {}) : calibration_(calibration) {}

  [[nodiscard]] const std::array<AxisCalibration, Axes>& calibration() const { return calibration_; }
  [[nodiscard]] std::size_t size() const { return samples_.size(); }
  static constexpr std::size_t axes() { return Axes; }

  void reserve(std::size_t count);

  /// Takes a sample in file order; it is dropped, now or in ordered_samples(), when its tick is already
  /// taken.
  void append(std::int64_t tick, const Counts& counts) {
    if (tick <= latest_tick_) [[unlikely]] {
      append_late(tick, counts);
      return;
    }
    latest_tick_ = tick;
    add({tick, counts});
  }

  /// What was appended so far came from the header block. Its ticks say nothing about the order of those that follow.
  /// With `keep`, its samples come before all others of the file.
  void end_header_block(bool keep);

  /// The samples with strictly increasing ticks. The reference holds until the next change. Throws Stopped when
  /// `patience` ends; the samples are of no use then.
  const std::vector<Sample>& ordered_samples(Patience patience = Patience(nullptr));

  /// The counts of the samples, once they are ordered.
  [[nodiscard]] ChannelCounts counts() const;

  /// Forgets the samples and gives their memory back; the calibration stays.
  void clear();

 private:
  static constexpr std::int64_t kBeforeAll = std::numeric_limits<std::int64_t>::min();

  void add(const Sample& sample) {
    if (samples_.size() == samples_.capacity()) [[unlikely]] {
      grow();
    }
    samples_.push_back(sample);
  }
  void grow();
  void append_late(std::int64_t tick, const Counts& counts);
  void order(Patience patience);
  void merge_header();

  std::array<AxisCalibration, Axes> calibration_;
  std::vector<Sample> samples_;
  std::int64_t latest_tick_ = kBeforeAll;
  bool ascending_ = true;
  std::uint64_t late_ = 0;      ///< behind a record with a later tick
  std::uint64_t repeated_ = 0;  ///< dropped
  std::vector<Sample> header_;  ///< ordered
  std::uint64_t header_records_ = 0;
  bool header_kept_ = true;
  bool header_waits_ = false;  ///< to be merged
};

}  // namespace vortena
