// Reads sources in pieces, and integrates the specific force between any two times.
#include "smoother/sample_pairs.h"

#include <algorithm>
#include <cmath>

#include "smoother/intervals.h"

namespace vortena::smoother {
bool SampleReader::fill() {
  first_ += held_;
  held_ = at_ = 0;
  const std::size_t count = std::min(kLargestPiece, count_ - first_);
  if (count == 0 || stopped_) {
    return false;
  }
  stopped_ = !source_.read(first_, count, times_.data(), values_.data());
  held_ = stopped_ ? 0 : count;
  return !stopped_;
}

double usual_period(SampleSource& source) {
  SampleReader reader(source);
  std::vector<double> periods;
  Sample sample;
  double last = 0;
  for (bool first = true; periods.size() < kLargestPiece && reader.next_used(&sample); first = false) {
    if (!first) {
      periods.push_back(sample.time_s - last);
    }
    last = sample.time_s;
  }
  if (periods.empty()) {
    return 0;
  }
  const auto middle = periods.begin() + static_cast<std::ptrdiff_t>(periods.size() / 2);
  std::nth_element(periods.begin(), middle, periods.end());
  return *middle;
}

ForceIntegrator::ForceIntegrator(SampleSource& source, double period_s, double range_m_s2)
    : reader_(source), period_(period_s), range_(range_m_s2) {
  Sample sample;
  empty_ = ended_ = !reader_.next_used(&sample);
  take(sample);
  last_s_ = next_s_;
  between_ = next_;
}

void ForceIntegrator::take(const Sample& sample) {
  next_s_ = sample.time_s;
  next_ = kGravity * sample.value;
  limited_ = range_ > 0 && largest(next_) >= kAtLimit * range_;
}

void ForceIntegrator::advance() {
  Sample sample;
  last_s_ = next_s_;
  before_first_ = false;
  const Vec3 last = next_;
  if (reader_.next_used(&sample)) {
    take(sample);
    between_ = mean_between(last, next_, next_s_ - last_s_, period_);
  } else {
    ended_ = true;
    between_ = last;
  }
}

/// Within the time between two samples, before the first or behind the last.
Vec3 ForceIntegrator::add(double from_s, double to_s, ForceIntegral* integral) const {
  const double seconds = to_s - from_s;
  const Vec3 sum = seconds * between_;
  integral->sum += sum;
  const double distance = before_first_ ? next_s_ - from_s : (ended_ ? to_s : next_s_) - last_s_;
  integral->unknown_s += empty_ || distance > kPeriodsToGap * period_ ? seconds : 0;
  integral->limited_s += limited_ ? seconds : 0;
  return sum;
}

ForceIntegral ForceIntegrator::integrate(double from_s, double to_s) {
  ForceIntegral integral;
  while (!ended_ && next_s_ <= from_s) {
    advance();
  }
  if (ended_ || next_s_ >= to_s) {
    add(from_s, to_s, &integral);
    return integral;
  }
  const double middle = 0.5 * (from_s + to_s);
  double at = from_s;
  while (!ended_ && next_s_ < to_s) {
    integral.moment += (0.5 * (at + next_s_) - middle) * add(at, next_s_, &integral);
    at = next_s_;
    advance();
  }
  integral.moment += (0.5 * (at + to_s) - middle) * add(at, to_s, &integral);
  integral.moment = (1 / (to_s - from_s)) * integral.moment;
  return integral;
}

}  // namespace vortena::smoother
