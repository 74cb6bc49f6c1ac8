// Accumulation of one channel's samples while blocks are decoded: an ordered map from tick to sample in which
// the first sample at a tick wins, kept as a vector that in-order recordings only append to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "reader/large_array.h"

namespace vortena {

/// Linear calibration of one axis. The order of operations is part of the result's digits.
struct AxisCalibration {
  double scale = 1;
  double offset = 0;
  double gain = 1;

  [[nodiscard]] double apply(std::int32_t count) const { return (count * scale - offset) / gain; }
};

/// The samples of one channel as raw counts, with the calibration that turns them into values.
template <std::size_t Axes>
class SampleSeries {
 public:
  /// Three-axis channels are 16 bits wide; no sample takes more than 16 bytes.
  using Count = std::conditional_t<Axes == 3, std::int16_t, std::int32_t>;
  struct Sample {
    std::int64_t tick;
    std::array<Count, Axes> counts;
  };
  static_assert(sizeof(Sample) <= 16);

  explicit SampleSeries(const std::array<AxisCalibration, Axes>& calibration = {}) : calibration_(calibration) {}

  [[nodiscard]] const std::array<AxisCalibration, Axes>& calibration() const { return calibration_; }
  [[nodiscard]] std::size_t size() const { return samples_.size(); }

  void reserve(std::size_t count) { samples_.reserve(count); }

  /// Takes a sample in file order; it is dropped, now or in ordered_samples(), when its tick is already
  /// taken.
  void append(std::int64_t tick, const std::array<Count, Axes>& counts) {
    if (!samples_.empty() && tick <= samples_.back().tick) {
      if (tick == samples_.back().tick) {
        return;
      }
      ascending_ = false;
    }
    samples_.push_back({tick, counts});
  }

  /// The samples with strictly increasing ticks. The reference holds until the next change.
  const LargeArray<Sample>& ordered_samples();

  /// Forgets the samples and gives their memory back; the calibration stays.
  void clear();

 private:
  std::array<AxisCalibration, Axes> calibration_;
  LargeArray<Sample> samples_;
  bool ascending_ = true;
};

extern template class SampleSeries<1>;
extern template class SampleSeries<2>;
extern template class SampleSeries<3>;

}  // namespace vortena
