// Gyroscope samples in order, and what the accelerometer measured between them: the two are paired by time.
#pragma once

#include <cstddef>
#include <vector>

#include "smoother/rotation.h"
#include "smoother/smoother.h"

namespace vortena::smoother {

/// More than so many usual periods between two samples are a gap.
inline constexpr double kPeriodsToGap = 3.5;
inline constexpr double kAtLimit = 0.999;  // of the range

inline constexpr double kIncredible = 1e5;  // g and deg/s
inline constexpr double kNever = 1e12;      // s

struct Sample {
  double time_s = 0;
  Vec3 value{};
  bool used = false;  ///< finite, of a credible size, and after the used sample before
};

/// The samples of a source, one after the other.
class SampleReader {
 public:
  explicit SampleReader(SampleSource& source) : source_(source), count_(source.count()) {}
  /// The next sample, used or not. False at the end and when the source has stopped.
  bool next(Sample* sample) {
    if (at_ == held_ && !fill()) {
      return false;
    }
    const double* const v = &values_[3 * at_];
    const double time = times_[at_++];
    // Comparisons that not-a-number fails.
    const bool credible = std::abs(v[0]) < kIncredible && std::abs(v[1]) < kIncredible && std::abs(v[2]) < kIncredible;
    const bool used = credible && time > last_time_ && time < kNever;
    *sample = {time, {v[0], v[1], v[2]}, used};
    last_time_ = used ? time : last_time_;
    return true;
  }
  bool next_used(Sample* sample) {
    while (next(sample)) {
      if (sample->used) {
        return true;
      }
    }
    return false;
  }
  [[nodiscard]] bool stopped() const { return stopped_; }
  /// Samples before this one are read.
  [[nodiscard]] std::size_t position() const { return first_ + at_; }

 private:
  bool fill();

  SampleSource& source_;
  std::size_t count_;
  std::size_t first_ = 0;
  std::size_t held_ = 0;
  std::size_t at_ = 0;
  double last_time_ = -kNever;
  bool stopped_ = false;
  std::vector<double> times_ = std::vector<double>(kLargestPiece);
  std::vector<double> values_ = std::vector<double>(3 * kLargestPiece);
};

/// Of what changed evenly from `before` to `after`, where samples in between may be missing: the mean over `seconds`,
/// the last `period_s` of which are those of `after`.
constexpr Vec3 mean_between(const Vec3& before, const Vec3& after, double seconds, double period_s) {
  const bool lacks = seconds > 1.5 * period_s;
  return lacks ? after - (0.5 * (seconds - period_s) / seconds) * (after - before) : after;
}

/// Median time between the first samples; 0 with less than two.
double usual_period(SampleSource& source);

/// Specific force summed over a span of time.
struct ForceIntegral {
  Vec3 sum{};            ///< m/s
  Vec3 moment{};         ///< each part times its distance from the middle, in lengths of the span
  double unknown_s = 0;  ///< of the span that no sample is near to; the nearest value stands in
  double limited_s = 0;  ///< at the limit of the range
};

class ForceIntegrator {
 public:
  /// `period_s` as from usual_period(); `range_m_s2` may be 0.
  ForceIntegrator(SampleSource& source, double period_s, double range_m_s2);
  /// A sample is the mean since the one before. Each span starts where the one before ended, or later.
  ForceIntegral integrate(double from_s, double to_s);
  [[nodiscard]] bool empty() const { return empty_; }
  [[nodiscard]] bool stopped() const { return reader_.stopped(); }

 private:
  void advance();
  void take(const Sample& sample);
  Vec3 add(double from_s, double to_s, ForceIntegral* integral) const;

  SampleReader reader_;
  double period_;
  double range_;
  double last_s_ = 0;
  double next_s_ = 0;
  Vec3 next_{};
  Vec3 between_{};  // from the last to the next
  bool limited_ = false;
  bool empty_ = false;
  bool before_first_ = true;
  bool ended_ = false;
};

}  // namespace vortena::smoother
