// What a unit turned while samples of the gyroscope are missing, guessed from the rates on both sides.
#pragma once

#include <array>
#include <cstddef>

#include "smoother/rotation.h"

namespace vortena::smoother {

class GapBridge {
 public:
  static constexpr std::size_t kLargestSpacing = 16;  // samples

  explicit GapBridge(double period_s);
  /// To be called for every sample.
  void add(const Vec3& rate) {
    newest_ = newest_ + 1 == kHeld ? 0 : newest_ + 1;
    rates_[newest_] = rate;
    ++count_;
  }
  /// A gap between the sample last added and the next one.
  void open(double seconds);
  /// Enough is known of what follows the gap.
  [[nodiscard]] bool ready() const { return open_ && count_ > 2 * spacing_; }
  [[nodiscard]] bool is_open() const { return open_; }
  /// From the sample before the gap to the one behind it, of which one has been added at least: the rate is a cubic
  /// that keeps values and slopes on both sides.
  Quaternion close();

 private:
  static constexpr std::size_t kHeld = 2 * kLargestSpacing + 1;
  /// The sample so many before the newest.
  [[nodiscard]] const Vec3& back(std::size_t samples) const { return rates_[(newest_ + kHeld - samples) % kHeld]; }
  /// At the newest sample, from it and those before.
  [[nodiscard]] Vec3 slope_before() const;
  /// At the first of the samples behind the gap.
  [[nodiscard]] Vec3 slope_after() const;

  double period_s_;
  std::size_t spacing_;  // samples
  std::array<Vec3, kHeld> rates_{};
  std::size_t newest_ = 0;
  std::size_t count_ = 0;  // since the start or the last gap
  bool open_ = false;
  double seconds_ = 0;
  Vec3 before_{}, before_slope_{};
};

}  // namespace vortena::smoother
