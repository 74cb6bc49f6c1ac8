#include "smoother/rest_detector.h"

#include <algorithm>

namespace vortena::smoother {
namespace {

constexpr double kRateSpread = 1.2 * kRadians;  // noise of sensors and the sway of who sits still are below
constexpr double kForceSpread = 0.035 * kGravity;
constexpr double kLargestRate = 3 * kRadians;  // offsets are below, rotations above

}  // namespace

double Part::variance(std::size_t first) const {
  double total = 0;
  for (std::size_t k = first; k < first + 3; ++k) {
    total += squares[k] / count - mean(k) * mean(k);
  }
  return total;
}

/// The mean over all samples of the window, each part counting alike.
double RestDetector::variance(std::size_t first) const {
  double total = 0;
  for (std::size_t k = first; k < first + 3; ++k) {
    double mean = 0, square = 0;
    for (const Held& held : window_) {
      mean += held.part.mean(k);
      square += held.part.squares[k] / held.part.count;
    }
    total += square / kWindow - mean * mean / (kWindow * kWindow);
  }
  return total;
}

Vec3 RestDetector::mean_rate() const {
  Vec3 rate{};
  for (const Held& held : window_) {
    rate += (1.0 / kWindow) * Vec3{held.part.mean(0), held.part.mean(1), held.part.mean(2)};
  }
  return rate;
}

bool RestDetector::window_rests() const {
  return norm(mean_rate()) < kLargestRate && variance(0) < kRateSpread * kRateSpread &&
         variance(3) < kForceSpread * kForceSpread;
}

void RestDetector::add(const Part& part, std::size_t interval, Recorded* recorded) {
  if (held_ == kWindow) {
    std::move(window_.begin() + 1, window_.end(), window_.begin());
    --held_;
  }
  window_[held_++] = {part, interval, false};
  if (held_ < kWindow || !window_rests()) {
    return;
  }
  rate_ = mean_rate();
  for (Held& held : window_) {
    if (!held.rests) {
      held.rests = true;
      ++recorded->intervals[held.interval].resting_parts;
    }
  }
  std::vector<Stretch>& rest = recorded->rest;
  if (!rest.empty() && rest.back().to_s >= window_.front().part.from_s) {
    rest.back().to_s = part.to_s;
  } else {
    rest.push_back({window_.front().part.from_s, part.to_s});
  }
}

}  // namespace vortena::smoother
