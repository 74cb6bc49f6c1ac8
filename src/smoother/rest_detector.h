// Rest: for a second and a half, the readings of both sensors hardly vary and the rate is close to zero.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "smoother/intervals.h"

namespace vortena::smoother {

/// Sums over a quarter of an interval.
struct Part {
  double from_s = 0;
  double to_s = 0;
  double count = 0;
  std::array<double, 6> sum{};      ///< rates, rad/s, and specific forces, m/s^2
  std::array<double, 6> squares{};  ///< of them
  double length_sum = 0;            ///< of the lengths of specific forces; the sum of their squares is known

  void add(const Vec3& rate, const Vec3& force) {
    for (std::size_t k = 0; k < 3; ++k) {
      sum[k] += rate[k];
      squares[k] += rate[k] * rate[k];
      sum[3 + k] += force[k];
      squares[3 + k] += force[k] * force[k];
    }
    length_sum += norm(force);
    count += 1;
  }
  [[nodiscard]] double mean(std::size_t k) const { return sum[k] / count; }
  /// The spread of the length of the specific force, which turns do not change.
  [[nodiscard]] double length_variance() const {
    const double mean = length_sum / count;
    return (squares[3] + squares[4] + squares[5]) / count - mean * mean;
  }
  /// The spread of three axes together, from `first` on.
  [[nodiscard]] double variance(std::size_t first) const;
};

class RestDetector {
 public:
  /// `interval` is that of the part; parts that turn out to be of a rest count in the intervals' records.
  void add(const Part& part, std::size_t interval, Recorded* recorded);
  /// Mean rate of the last rest, rad/s; zero before the first.
  [[nodiscard]] const Vec3& rate() const { return rate_; }
  /// Rest does not reach across gaps.
  void forget() { held_ = 0; }

 private:
  static constexpr std::size_t kWindow = 6;  // parts
  struct Held {
    Part part;
    std::size_t interval = 0;
    bool rests = false;
  };
  [[nodiscard]] Vec3 mean_rate() const;
  [[nodiscard]] bool window_rests() const;
  [[nodiscard]] double variance(std::size_t first) const;

  std::array<Held, kWindow> window_{};
  std::size_t held_ = 0;
  Vec3 rate_{};
};

}  // namespace vortena::smoother
