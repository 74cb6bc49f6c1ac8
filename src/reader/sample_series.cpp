// Ordering of accumulated samples, needed only when a recording's blocks are out of order.
#include "reader/sample_series.h"

#include <algorithm>
#include <span>
#include <vector>

namespace vortena {
namespace {

template <typename Sample>
bool is_earlier(const Sample& a, const Sample& b) {
  return a.tick < b.tick;
}

/// Consecutive samples with ascending ticks.
template <typename Sample>
using Run = std::span<const Sample>;

/// The runs of `samples`, by their first ticks. A run also ends where the tick jumps further than one block can, so
/// that blocks in random order seldom share a run and move as a whole.
template <typename Sample>
std::vector<Run<Sample>> runs_by_first_tick(const LargeArray<Sample>& samples) {
  constexpr std::int64_t kBlockTicks = UINT8_MAX;
  const auto ends_run = [](const Sample& a, const Sample& b) {
    return b.tick <= a.tick || b.tick - a.tick > kBlockTicks;
  };
  std::vector<Run<Sample>> runs;
  for (auto begin = samples.begin(); begin != samples.end();) {
    const auto last = std::adjacent_find(begin, samples.end(), ends_run);
    const auto end = last == samples.end() ? last : last + 1;
    runs.emplace_back(begin, end);
    begin = end;
  }
  std::sort(runs.begin(), runs.end(), [](Run<Sample> a, Run<Sample> b) { return is_earlier(a.front(), b.front()); });
  return runs;
}

/// The leading runs that share a span of time; one at least.
template <typename Sample>
std::span<Run<Sample>> overlapping(std::span<Run<Sample>> runs) {
  std::int64_t last_tick = runs.front().back().tick;
  std::size_t count = 1;
  for (; count < runs.size() && runs[count].front().tick <= last_tick; ++count) {
    last_tick = std::max(last_tick, runs[count].back().tick);
  }
  return runs.first(count);
}

/// Sorted from file order and stable, so that of several samples at one tick the first in the file is the one kept.
template <typename Sample>
void append_sorted(std::span<Run<Sample>> runs, LargeArray<Sample>& samples) {
  const auto old_size = static_cast<std::ptrdiff_t>(samples.size());
  std::sort(runs.begin(), runs.end(), [](Run<Sample> a, Run<Sample> b) { return a.data() < b.data(); });
  for (const Run<Sample> run : runs) {
    samples.insert(samples.end(), run.begin(), run.end());
  }
  if (runs.size() > 1) {
    std::stable_sort(samples.begin() + old_size, samples.end(), is_earlier<Sample>);
    const auto repeated = std::unique(samples.begin() + old_size, samples.end(),
                                      [](const Sample& a, const Sample& b) { return a.tick == b.tick; });
    samples.erase(repeated, samples.end());
  }
}

}  // namespace

template <std::size_t Axes>
const LargeArray<typename SampleSeries<Axes>::Sample>& SampleSeries<Axes>::ordered_samples() {
  if (!ascending_) {
    auto runs = runs_by_first_tick(samples_);
    LargeArray<Sample> ordered;
    ordered.reserve(samples_.size());
    for (std::span rest(runs); !rest.empty();) {
      const std::span group = overlapping(rest);
      append_sorted(group, ordered);
      rest = rest.subspan(group.size());
    }
    samples_.swap(ordered);
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
