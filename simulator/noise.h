// White noise that is the same on every platform.
#pragma once

#include <array>
#include <cstdint>
#include <random>

namespace vortena::simulator {

/// White noise of standard deviation 1: the same numbers on every platform, unlike the standard's distributions.
class Noise {
 public:
  explicit Noise(std::uint32_t seed) : engine_(seed) {}

  std::array<double, 3> added_to(const std::array<double, 3>& values, double deviation) {
    std::array<double, 3> noisy = values;
    for (double& value : noisy) {
      value += deviation == 0 ? 0 : deviation * normal();
    }
    return noisy;
  }
  /// From 0 to 1, without both.
  double uniform() { return (static_cast<double>(engine_()) + 0.5) / 4294967296.0; }
  double between(double low, double high) { return low + (high - low) * uniform(); }

 private:
  /// A sum of twelve even numbers from 0 to 1 has the variance 1 and the mean 6.
  double normal() {
    double sum = -6;
    for (int i = 0; i < 12; ++i) {
      sum += uniform();
    }
    return sum;
  }

  std::mt19937 engine_;
};

}  // namespace vortena::simulator
