// Ordering of accumulated samples, needed only when a recording's blocks are out of order.
#include "reader/sample_series.h"

#include <algorithm>

namespace vortena {

template <std::size_t Axes>
const std::vector<typename SampleSeries<Axes>::Sample>& SampleSeries<Axes>::ordered_samples() {
  if (!ascending_) {
    // Stable, so that of several samples at one tick the first in file order comes first and is the one kept.
    std::stable_sort(samples_.begin(), samples_.end(),
                     [](const Sample& a, const Sample& b) { return a.tick < b.tick; });
    const auto last = std::unique(samples_.begin(), samples_.end(),
                                  [](const Sample& a, const Sample& b) { return a.tick == b.tick; });
    samples_.erase(last, samples_.end());
    ascending_ = true;
  }
  return samples_;
}

template <std::size_t Axes>
void SampleSeries<Axes>::clear() {
  samples_ = {};
  ascending_ = true;
}

template class SampleSeries<1>;
template class SampleSeries<2>;
template class SampleSeries<3>;

}  // namespace vortena
