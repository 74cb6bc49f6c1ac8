// Simulated samples through the smoother, and tools to damage them and to judge the attitudes.
#pragma once

#include <cmath>
#include <vector>

#include "simulator/worn_unit.h"
#include "smoother/smoother.h"
#include "tests/oracle/reference_filter.h"

namespace smoother_testing {

using namespace vortena;
using namespace reference;  // its vectors and quaternions are the language of the tests

inline constexpr double kDegrees = 180 / M_PI;

struct Series {
  std::vector<double> times;
  std::vector<Vec3> values;

  void add(double time_s, const Vec3& value) {
    times.push_back(time_s);
    values.push_back(value);
  }
};

template <typename IsLost>
Series without(const Series& series, IsLost is_lost) {
  Series kept;
  for (std::size_t i = 0; i < series.times.size(); ++i) {
    if (!is_lost(i, series.times[i])) {
      kept.add(series.times[i], series.values[i]);
    }
  }
  return kept;
}

class SeriesSource : public smoother::SampleSource {
 public:
  explicit SeriesSource(const Series& series) : series_(series) {}
  std::size_t stop_at = SIZE_MAX;
  [[nodiscard]] std::size_t count() const override { return series_.times.size(); }
  bool read(std::size_t first, std::size_t count, double* times_s, double* xyz) override {
    for (std::size_t i = 0; i < count; ++i) {
      times_s[i] = series_.times.at(first + i);
      std::ranges::copy(series_.values[first + i], xyz + 3 * i);
    }
    return first + count <= stop_at;
  }

 private:
  const Series& series_;
};

class Attitudes : public smoother::OrientationSink {
 public:
  std::vector<Quat> rows;
  std::size_t stop_at = SIZE_MAX;
  double stop_at_share = 2;
  bool write(std::size_t first, std::size_t count, const double* wxyz) override {
    in_order = in_order && first == rows.size();
    for (std::size_t i = 0; i < count; ++i) {
      rows.push_back({wxyz[4 * i], wxyz[4 * i + 1], wxyz[4 * i + 2], wxyz[4 * i + 3]});
    }
    return rows.size() <= stop_at;
  }
  bool goes_on(double share) override { return share < stop_at_share; }
  bool in_order = true;
};

struct Smoothed {
  smoother::Result result;
  std::vector<Quat> attitudes;
};

inline Smoothed smooth(const Series& accel, const Series& gyro, const smoother::Options& options = {}) {
  SeriesSource accelerometer(accel), gyroscope(gyro);
  Attitudes attitudes;
  smoother::Result result = smoother::smooth(accelerometer, gyroscope, options, attitudes);
  return {std::move(result), std::move(attitudes.rows)};
}

/// A unit in a motion, with its true attitudes.
struct Recorded {
  Series accel, gyro;
  std::vector<Quat> truth;

  Recorded(const simulator::WornUnit::MotionAt& motion, double rate_hz, double seconds,
           const simulator::SensorErrors& errors, std::uint32_t seed = 1) {
    simulator::WornUnit unit(motion, rate_hz, errors, seed);
    for (double i = 0; i < seconds * rate_hz; ++i) {
      const simulator::WornSample sample = unit.next();
      accel.add(sample.time_s, sample.accel_g);
      gyro.add(sample.time_s, sample.gyro_deg_s);
      truth.push_back(sample.attitude);
    }
  }
};

inline Recorded random_recording(std::uint32_t seed, double rate_hz = 100, double seconds = 120) {
  const simulator::RandomMotion motion(seed);
  return {[&](double t) { return motion.at(t); }, rate_hz, seconds, simulator::likely_errors(seed), seed};
}

/// The rotation in the earth frame from b's attitude to a's: its inclination and its turn about the vertical, degrees.
struct Difference {
  double inclination, heading;

  Difference(const Quat& a, const Quat& b) {
    const Quat d = operator*(a, conjugate(b));
    inclination = 2 * std::atan2(std::hypot(d[1], d[2]), std::hypot(d[0], d[3])) * kDegrees;
    heading = 2 * std::atan2(d[3], d[0]) * kDegrees;
  }
};

/// Root mean squares in degrees; that of heading about its mean.
struct Errors {
  double inclination = 0, heading = 0;

  Errors(const std::vector<Quat>& estimates, const std::vector<Quat>& truth) {
    double sum = 0, last = 0;
    const auto n = static_cast<double>(estimates.size());
    for (std::size_t i = 0; i < estimates.size(); ++i) {
      const Difference error(estimates[i], truth[i]);
      last += std::remainder(error.heading - last, 360);
      sum += last;
      heading += last * last;
      inclination += error.inclination * error.inclination;
    }
    inclination = std::sqrt(inclination / n);
    heading = std::sqrt(std::max(0.0, heading / n - sum * sum / (n * n)));
  }
};

}  // namespace smoother_testing
