// The orientation filter in nested loops over sizes known at run time only: the rival of the library's kernels. Same
// formulas, same order of summation, same bits.
#pragma once

#include <array>

namespace oracle {

struct NestedLoopFilter {
  explicit NestedLoopFilter(float rate);

  /// One sample: accelerometer in g, gyroscope in deg/s. Starts from q, motionless.
  void feed(const float* accelerometer, const float* gyroscope);

  float half_dt;
  int moving = 0;
  std::array<float, 3> thresholds{1.05F, 0.1F, 15.0F};
  std::array<float, 4> q{1, 0, 0, 0};
  std::array<float, 3> linear_accel{};
  std::array<float, 16> P{};
  std::array<float, 16> Q{};
  std::array<float, 9> R{};
};

}  // namespace oracle
