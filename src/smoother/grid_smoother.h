// The smoother of fixed interval behind the filter of grid_filter.h.
#pragma once

#include <deque>
#include <functional>

#include "smoother/grid_filter.h"

namespace vortena::smoother {

/// What all intervals share.
struct Constants {
  Mat3 gyro_scale{}, gyro_scale_sigma{};
  Vec3 accel_offset{}, accel_offset_sigma{};  // m/s^2
};

class GridSmoother {
 public:
  /// `recorded` is filled by a pass over the samples, with the errors that gyro_errors() names.
  explicit GridSmoother(const Recorded& recorded) : intervals_(recorded.intervals) {}

  /// Estimates all nodes, about those of the round before; the first round about the filter's own estimate. False if
  /// `goes_on` ended it.
  bool run(bool with_uncertainty, const std::function<bool(double)>& goes_on);

  /// What to integrate an interval with: the latest estimate.
  [[nodiscard]] GyroErrors gyro_errors(std::size_t interval) const {
    return interval < nodes_.size() ? GyroErrors{nodes_[interval].offset, constants_.gyro_scale} : GyroErrors{};
  }
  [[nodiscard]] const std::deque<Node>& nodes() const { return nodes_; }
  [[nodiscard]] const Constants& constants() const { return constants_; }
  /// From here on, the records are those of a pass with gyro_errors().
  void take_new_records() { integrated_scale_ = constants_.gyro_scale; }
  /// For each interval, by what angle the estimate differs from the turn in the record, rad.
  [[nodiscard]] double largest_correction() const;
  /// What the record of interval i and the offset and scale of its node miss at the next node: true = exp(this) of what
  /// they give, earth frame. The next interval must not be behind a gap.
  [[nodiscard]] Vec3 closing_error(std::size_t i) const;

 private:
  /// Adjoint of the estimate: smoothed x = x + P lambda, smoothed P = P - P Lambda P.
  struct Adjoint {
    StateVector lambda{};
    StateMatrix Lambda{};
  };
  struct Step {
    Estimate estimate;
    Corrections corrections;
    Transition to_next;
  };

  [[nodiscard]] Vec3 find_up(std::size_t interval) const;
  [[nodiscard]] Quaternion first_attitude(std::size_t interval) const;
  void filter_first_round(std::size_t i, Estimate* estimate);
  bool filter(const std::function<bool(double)>& goes_on);
  void filter_block(std::size_t first, std::size_t end);
  void smooth_node(std::size_t i, const Step& step, bool with_uncertainty);
  static void through_transition(const Transition& F, bool with_uncertainty, Adjoint* adjoint);
  static void through_correction(const Correction& correction, bool with_uncertainty, Adjoint* adjoint);

  const std::deque<Interval>& intervals_;
  std::deque<Node> nodes_;
  std::deque<Estimate> checkpoints_;  // predicted, at the first node of each block
  std::vector<Step> block_;
  Node behind_block_;  // as the filter had it
  Adjoint adjoint_;
  Constants constants_;
  Mat3 integrated_scale_{};
  bool first_round_ = true;
};

}  // namespace vortena::smoother
