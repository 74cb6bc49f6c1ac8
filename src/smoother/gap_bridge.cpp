#include "smoother/gap_bridge.h"

namespace vortena::smoother {
namespace {

constexpr double kSpacing = 0.01;  // s between the samples that a slope is taken from: far apart for their noise
constexpr int kSteps = 64;

std::size_t spacing(double period_s) {
  std::size_t samples = 1;
  while (samples < GapBridge::kLargestSpacing && (static_cast<double>(samples) + 0.5) * period_s < kSpacing) {
    ++samples;
  }
  return samples;
}

/// One-sided difference of second order.
Vec3 slope(const Vec3& here, const Vec3& near, const Vec3& far, double seconds) {
  return (0.5 / seconds) * (4 * near - 3 * here - far);
}

}  // namespace

GapBridge::GapBridge(double period_s) : period_s_(period_s), spacing_(spacing(period_s)) {}

Vec3 GapBridge::slope_before() const {
  const double seconds = static_cast<double>(spacing_) * period_s_;
  return count_ > 2 * spacing_ ? -1 * slope(back(0), back(spacing_), back(2 * spacing_), seconds) : Vec3{};
}

Vec3 GapBridge::slope_after() const {
  const double seconds = static_cast<double>(spacing_) * period_s_;
  return count_ > 2 * spacing_ ? slope(back(2 * spacing_), back(spacing_), back(0), seconds) : Vec3{};
}

void GapBridge::open(double seconds) {
  open_ = true;
  seconds_ = seconds;
  before_ = back(0);
  before_slope_ = slope_before();
  count_ = 0;
}

Quaternion GapBridge::close() {
  const Vec3 after = back(count_ - 1), after_slope = slope_after();
  open_ = false;
  Quaternion q;
  for (int i = 0; i < kSteps; ++i) {
    // A sample is the mean over the period that ends with it: its rate is that of half a period before.
    const double u = (i + 0.5) / kSteps + 0.5 * period_s_ / seconds_, v = 1 - u;
    const Vec3 rate = (v * v * (1 + 2 * u)) * before_ + (u * u * (1 + 2 * v)) * after +
                      (seconds_ * u * v) * (v * before_slope_ - u * after_slope);
    q = q * exponential((seconds_ / kSteps) * rate);
  }
  return normalised(q);
}

}  // namespace vortena::smoother
