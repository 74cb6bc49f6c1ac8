// Ordering of accumulated samples, needed only when a recording's blocks are out of order.
#include "reader/decoding/sample_series.h"

#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "system/large_pages.h"

namespace vortena {
namespace {

template <typename Sample>
bool is_earlier(const Sample& a, const Sample& b) {
  return a.tick < b.tick;
}

/// A comparison for a sort that may be told to stop.
template <typename Element, typename Earlier>
auto patiently(Patience& patience, Earlier earlier) {
  return [&patience, earlier](const Element& a, const Element& b) {
    patience.step();
    return earlier(a, b);
  };
}

/// Consecutive samples with ascending ticks.
template <typename Sample>
using Run = std::span<const Sample>;

/// The runs of `samples`, by their first ticks. A run also ends where the tick jumps further than one block can, so
/// that blocks in random order seldom share a run and move as a whole.
template <typename Sample>
std::vector<Run<Sample>> runs_by_first_tick(const std::vector<Sample>& samples, Patience& patience) {
  constexpr std::int64_t kBlockTicks = UINT8_MAX;
  const auto ends_run = [&patience](const Sample& a, const Sample& b) {
    patience.step();
    return b.tick <= a.tick || b.tick - a.tick > kBlockTicks;
  };
  std::vector<Run<Sample>> runs;
  for (auto begin = samples.begin(); begin != samples.end();) {
    const auto last = std::adjacent_find(begin, samples.end(), ends_run);
    const auto end = last == samples.end() ? last : last + 1;
    runs.emplace_back(&*begin, static_cast<std::size_t>(end - begin));
    begin = end;
  }
  const auto begins_earlier = [](Run<Sample> a, Run<Sample> b) { return is_earlier(a.front(), b.front()); };
  std::sort(runs.begin(), runs.end(), patiently<Run<Sample>>(patience, begins_earlier));
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
void append_sorted(std::span<Run<Sample>> runs, std::vector<Sample>& samples, Patience& patience) {
  const auto old_size = static_cast<std::ptrdiff_t>(samples.size());
  const auto is_before = [](Run<Sample> a, Run<Sample> b) { return a.data() < b.data(); };
  std::sort(runs.begin(), runs.end(), patiently<Run<Sample>>(patience, is_before));
  for (const Run<Sample> run : runs) {
    patience.step();
    samples.insert(samples.end(), run.begin(), run.end());
  }
  if (runs.size() > 1) {
    std::stable_sort(samples.begin() + old_size, samples.end(), patiently<Sample>(patience, is_earlier<Sample>));
    const auto repeated = std::unique(samples.begin() + old_size, samples.end(),
                                      [](const Sample& a, const Sample& b) { return a.tick == b.tick; });
    samples.erase(repeated, samples.end());
  }
}

}  // namespace

template <std::size_t Axes>
void SampleSeries<Axes>::reserve(std::size_t count) {
  reserve_large(&samples_, count);
}

template <std::size_t Axes>
void SampleSeries<Axes>::grow() {
  reserve(samples_.empty() ? 1 : 2 * samples_.size());
}

template <std::size_t Axes>
void SampleSeries<Axes>::append_late(std::int64_t tick, const Counts& counts) {
  if (tick == samples_.back().tick) {
    ++repeated_;
    return;
  }
  ascending_ = false;
  ++late_;
  add({tick, counts});
}

template <std::size_t Axes>
void SampleSeries<Axes>::end_header_block(bool keep) {
  const std::uint64_t records = samples_.size() + repeated_;
  const std::vector<Sample>& ordered = ordered_samples();
  std::vector<Sample> header(ordered.begin(), ordered.end());
  clear();
  header_ = std::move(header);
  header_records_ = records;
  header_kept_ = keep;
  header_waits_ = keep && !header_.empty();
}

template <std::size_t Axes>
void SampleSeries<Axes>::order(Patience patience) {
  auto runs = runs_by_first_tick(samples_, patience);
  std::vector<Sample> ordered;
  reserve_large(&ordered, samples_.size());
  for (std::span rest(runs); !rest.empty();) {
    const std::span group = overlapping(rest);
    append_sorted(group, ordered, patience);
    rest = rest.subspan(group.size());
  }
  const std::uint64_t dropped = samples_.size() - ordered.size();
  repeated_ += dropped;
  late_ -= dropped;  // each of them followed the sample that has its tick
  samples_.swap(ordered);
  ascending_ = true;
}

template <std::size_t Axes>
void SampleSeries<Axes>::merge_header() {
  std::vector<Sample> added;
  for (const Sample& sample : header_) {
    const auto at = std::lower_bound(samples_.begin(), samples_.end(), sample, is_earlier<Sample>);
    if (at == samples_.end() || at->tick != sample.tick) {
      added.push_back(sample);
    } else {
      *at = sample;  // the header block comes first in the file
      ++repeated_;
    }
  }
  std::size_t from = samples_.size();
  std::size_t to = from + added.size();
  samples_.resize(to);
  for (auto sample = added.rbegin(); sample != added.rend(); ++sample) {
    while (from > 0 && sample->tick < samples_[from - 1].tick) {
      samples_[--to] = samples_[--from];
    }
    samples_[--to] = *sample;
  }
  header_waits_ = false;
}

template <std::size_t Axes>
const std::vector<typename SampleSeries<Axes>::Sample>& SampleSeries<Axes>::ordered_samples(Patience patience) {
  if (!ascending_) {
    order(patience);
  }
  if (header_waits_) {
    merge_header();
  }
  return samples_;
}

template <std::size_t Axes>
ChannelCounts SampleSeries<Axes>::counts() const {
  ChannelCounts counts;
  counts.repeated = repeated_;
  counts.out_of_order = late_;
  counts.header_records = header_records_;
  for (const Sample& sample : header_) {
    const auto at = std::lower_bound(samples_.begin(), samples_.end(), sample, is_earlier<Sample>);
    const bool elsewhere = at != samples_.end() && at->tick == sample.tick;
    if (header_kept_) {
      counts.header_samples.push_back(static_cast<std::uint64_t>(at - samples_.begin()));
    } else {
      counts.header_samples_left_out += elsewhere ? 0 : 1;
    }
  }
  counts.records = samples_.size() - counts.header_samples.size() + repeated_;
  return counts;
}

template <std::size_t Axes>
void SampleSeries<Axes>::clear() {
  *this = SampleSeries(calibration_);
}

template class SampleSeries<1>;
template class SampleSeries<2>;
template class SampleSeries<3>;

}  // namespace vortena
