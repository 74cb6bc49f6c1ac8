// Intervals are whole ticks; as differences of times in seconds they are off by far less than half a tick.
#include "quality/sampling.h"

#include <algorithm>
#include <cmath>

namespace vortena {
namespace {

/// Enough to find the faults of a unit by; the count tells the rest.
constexpr std::size_t kListedGaps = 5;

/// One lost sample makes an interval of two periods. Halfway there, jitter is out of the question.
constexpr double kGapPeriods = 1.5;

/// The median of this many intervals is as good as that of all.
constexpr std::size_t kIntervalsLookedAt = 10000;

/// The interval, in ticks, that the series keeps. A few samples of the header block do not change a median.
double typical_interval(const kiv_DataSensor& series, double ticks_per_second) {
  const std::size_t count = series.sampleCount - 1;
  // Odd, so that a pattern of two or four intervals is not met at one place only.
  const std::size_t stride = count / kIntervalsLookedAt | 1U;
  std::vector<double> intervals;
  for (std::size_t i = 0; i < count; i += stride) {
    intervals.push_back(std::round((series.timestamps[i + 1] - series.timestamps[i]) * ticks_per_second));
  }
  const auto median = intervals.begin() + static_cast<std::ptrdiff_t>((intervals.size() - 1) / 2);
  std::nth_element(intervals.begin(), median, intervals.end());
  return *median;
}

/// Sampling period in ticks: the header's, unless the intervals contradict it. Where it is no whole number of ticks,
/// the intervals of a sound channel are the whole numbers next to it.
double sampling_period(double typical, double ticks_per_second, std::int32_t nominal_hz) {
  const double nominal = nominal_hz > 0 ? ticks_per_second / nominal_hz : 0;
  return std::abs(typical - nominal) < std::max(1.0, nominal / 2) ? nominal : typical;
}

/// Longest interval without a gap, in seconds, with half a tick of room for rounding.
double longest_interval(double period, double ticks_per_second) {
  return (std::floor(std::max(kGapPeriods * period, std::ceil(period))) + 0.5) / ticks_per_second;
}

void add_gap(Gaps& gaps, const Gap& gap) {
  ++gaps.count;
  gaps.seconds += gap.seconds;
  const auto shorter = [&](const Gap& other) { return other.seconds < gap.seconds; };
  gaps.longest.insert(std::find_if(gaps.longest.begin(), gaps.longest.end(), shorter), gap);
  if (gaps.longest.size() > kListedGaps) {
    gaps.longest.pop_back();
  }
}

}  // namespace

std::span<const std::uint64_t> header_positions(const LoadReport& report, ChannelKey key) {
  const auto counts = report.channels.find(key);
  return counts == report.channels.end() ? std::span<const std::uint64_t>() : counts->second.header_samples;
}

std::uint64_t count_true_samples(const kiv_DataSensor& series, std::span<const std::uint64_t> left_out) {
  return series.sampleCount - std::min<std::uint64_t>(series.sampleCount, left_out.size());
}

Sampling measure_sampling(const kiv_DataSensor& series, std::span<const std::uint64_t> left_out,
                          std::int32_t ticks_per_second, std::int32_t nominal_hz) {
  Sampling sampling;
  sampling.samples = count_true_samples(series, left_out);
  if (sampling.samples == 0 || ticks_per_second <= 0) {
    return sampling;
  }
  TruePositions positions(left_out);
  sampling.first = sampling.last = series.timestamps[positions.next()];
  if (sampling.samples == 1) {
    return sampling;
  }
  const double period = sampling_period(typical_interval(series, ticks_per_second), ticks_per_second, nominal_hz);
  const double limit = longest_interval(period, ticks_per_second);
  sampling.longest_interval = limit;
  double in_gaps = 0;
  for (std::uint64_t i = 1; i < sampling.samples; ++i) {
    const double time = series.timestamps[positions.next()];
    const double interval = time - sampling.last;
    if (interval > limit) [[unlikely]] {
      add_gap(sampling.gaps, {sampling.last, (std::round(interval * ticks_per_second) - period) / ticks_per_second});
      in_gaps += interval;
    }
    sampling.last = time;
  }
  if (const std::uint64_t regular = sampling.samples - 1 - sampling.gaps.count; regular > 0) {
    sampling.rate_hz = static_cast<double>(regular) / (sampling.last - sampling.first - in_gaps);
  }
  return sampling;
}

}  // namespace vortena
