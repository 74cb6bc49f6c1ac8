// Minimum and maximum of a channel's curves over bins of time, from fine to coarse. What is drawn from them shows every
// spike at every zoom.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "reader/decoding/recording_model.h"
#include "system/watch.h"

namespace vortena {

/// Bins of equal width, one after another from `start` on: a time t lies in bin (t - start) / width.
struct Bins {
  double start = 0;  ///< s
  double width = 1;  ///< s
  std::size_t count = 1;

  /// The last bin takes what lies behind it; nothing is in front of the first. None for a time that is no number.
  [[nodiscard]] std::optional<std::size_t> of(double time) const;
};

/// Bounds of one curve, per bin; not-a-number where a bin has no value.
struct CurveBounds {
  std::vector<double> low;
  std::vector<double> high;
};

struct Level {
  Bins bins;
  std::vector<CurveBounds> curves;
  std::vector<std::array<double, 4>> attitudes;  ///< of orientations: w x y z of a bin's first; zeros where it has none
};

/// True for angles that go on at -180 degrees behind 180.
bool is_circular(ChannelKey key, std::size_t curve);

/// Levels of a series that has the axes of its channel, the finest first; each further one has bins of twice the width,
/// made from the one before, down to about `fewest` of them. Angles are made from quaternions before that, and those
/// that are circular go on beyond 180 degrees, so that a bin's bounds enclose the way that the angle took. Values that
/// are not finite, and rows without orientation, are left out. Empty when the watch stopped it.
std::vector<Level> make_levels(ChannelKey key, const kiv_DataSensor& series, const Bins& finest, std::size_t fewest,
                               Watch* watch = nullptr);

/// Levels in 16 bits. A code c means base + c * step. Bounds are rounded outwards, so that they enclose all the same;
/// circular ones begin between -180 and 180 degrees and span 360 at most.
struct PackedLevels {
  static constexpr std::uint16_t kNone = UINT16_MAX;
  struct Scale {
    double base = 0;
    double step = 1;
  };
  std::vector<Scale> scales;  ///< one for each curve
  std::vector<Bins> levels;
  bool attitudes = false;
  /// Per level: the low bounds, then the high ones, of each curve; then w, x, y and z, where a code c means c / 32767
  /// - 1.
  std::vector<std::uint16_t> codes;
};

PackedLevels pack_levels(ChannelKey key, const std::vector<Level>& levels);

}  // namespace vortena
