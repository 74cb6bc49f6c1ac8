// smoothing_figures [HOURS]: filter, filter with the offset of the first rest taken off, and smoother on simulated
// walks of a minute, an hour and HOURS (24), and on 200 random motions. Every figure is from runs of the libraries.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "reader/quaternion_channel.h"
#include "simulator/worn_unit.h"
#include "smoother/smoother.h"
#include "tracker/tracker.h"

namespace {

using namespace vortena;
using Quaternion = std::array<double, 4>;
using Triple = std::array<double, 3>;

constexpr double kDegrees = 180 / std::numbers::pi;

/// In single precision, so that a day fits.
struct Walk {
  double rate_hz = 0;
  std::size_t count = 0;
  std::array<std::vector<float>, 3> accel, gyro, offset;
  std::array<std::vector<float>, 4> attitude;

  Walk(const simulator::WornUnit::MotionAt& motion, double hz, double seconds, const simulator::SensorErrors& errors,
       std::uint32_t seed)
      : rate_hz(hz), count(static_cast<std::size_t>(seconds * hz)) {
    simulator::WornUnit unit(motion, hz, errors, seed);
    for (std::size_t i = 0; i < count; ++i) {
      const simulator::WornSample sample = unit.next();
      for (std::size_t k = 0; k < 3; ++k) {
        accel[k].push_back(static_cast<float>(sample.accel_g[k]));
        gyro[k].push_back(static_cast<float>(sample.gyro_deg_s[k]));
      }
      for (std::size_t k = 0; k < 4; ++k) {
        attitude[k].push_back(static_cast<float>(sample.attitude[k]));
      }
    }
  }
};

class Source : public smoother::SampleSource {
 public:
  Source(const std::array<std::vector<float>, 3>& axes, const Walk& walk) : axes_(axes), walk_(walk) {}
  [[nodiscard]] std::size_t count() const override { return walk_.count; }
  bool read(std::size_t first, std::size_t count, double* times_s, double* xyz) override {
    for (std::size_t i = 0; i < count; ++i) {
      times_s[i] = static_cast<double>(first + i + 1) / walk_.rate_hz;
      for (std::size_t k = 0; k < 3; ++k) {
        xyz[3 * i + k] = static_cast<double>(axes_[k][first + i]);
      }
    }
    return true;
  }

 private:
  const std::array<std::vector<float>, 3>& axes_;
  const Walk& walk_;
};

/// Errors against the truth, in degrees.
struct Errors {
  double inclination_squares = 0, worst = 0, sum = 0, heading_squares = 0, heading = 0, count = 0;

  void add(const Quaternion& a, const Quaternion& b) {
    const double w = a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
    const double x = -a[0] * b[1] + a[1] * b[0] - a[2] * b[3] + a[3] * b[2];
    const double y = -a[0] * b[2] + a[2] * b[0] - a[3] * b[1] + a[1] * b[3];
    const double z = -a[0] * b[3] + a[3] * b[0] - a[1] * b[2] + a[2] * b[1];
    last = 2 * std::atan2(std::hypot(x, y), std::hypot(w, z)) * kDegrees;
    const double turned = 2 * std::atan2(z, w) * kDegrees;
    heading = count == 0 ? turned : heading + std::remainder(turned - heading, 360);
    inclination_squares += last * last;
    worst = std::max(worst, last);
    sum += heading;
    heading_squares += heading * heading;
    count += 1;
  }
  [[nodiscard]] double inclination() const { return std::sqrt(inclination_squares / count); }
  [[nodiscard]] double heading_rms() const {
    return std::sqrt(std::max(0.0, heading_squares / count - sum / count * (sum / count)));
  }
  double last = 0;
};

Quaternion truth(const Walk& walk, std::size_t i) {
  Quaternion q{};
  for (std::size_t k = 0; k < 4; ++k) {
    q[k] = static_cast<double>(walk.attitude[k][i]);
  }
  return q;
}

Errors filter(const Walk& walk, const Triple& offset) {
  const std::unique_ptr<tracker_state> state = make_tracker(static_cast<int>(walk.rate_hz));
  constexpr std::size_t kPiece = 4096;
  std::vector<double> accel(3 * kPiece), gyro(3 * kPiece), quaternion(4 * kPiece);
  const tracker_series series{accel.data(), gyro.data(), quaternion.data(), kPiece};
  Errors errors;
  for (std::size_t first = 0; first < walk.count; first += kPiece) {
    const std::size_t count = std::min(kPiece, walk.count - first);
    for (std::size_t k = 0; k < 3; ++k) {
      for (std::size_t i = 0; i < count; ++i) {
        accel[k * kPiece + i] = static_cast<double>(walk.accel[k][first + i]);
        gyro[k * kPiece + i] = static_cast<double>(walk.gyro[k][first + i]) - offset[k];
      }
    }
    run_tracker_series(state.get(), &series, 0, count);
    for (std::size_t i = 0; i < count; ++i) {
      const Quaternion q{quaternion[i], quaternion[kPiece + i], quaternion[2 * kPiece + i], quaternion[3 * kPiece + i]};
      if (q != Quaternion{}) {
        errors.add(q, truth(walk, first + i));
      }
    }
  }
  return errors;
}

class Judge : public smoother::OrientationSink {
 public:
  explicit Judge(const Walk& walk) : walk_(walk) {}
  Errors errors;
  std::vector<float> inclination;
  bool write(std::size_t first, std::size_t count, const double* wxyz) override {
    for (std::size_t i = 0; i < count; ++i) {
      const double* const q = wxyz + 4 * i;
      errors.add({q[0], q[1], q[2], q[3]}, truth(walk_, first + i));
      inclination.push_back(static_cast<float>(errors.last));
    }
    return true;
  }

 private:
  const Walk& walk_;
};

struct Smoothed {
  Errors errors;
  smoother::Result result;
  double claimed = 0;  ///< inclination error, rms
  double within = 0;   ///< share of samples whose error is less than twice the claimed one
};

Smoothed smooth(const Walk& walk) {
  Source accel(walk.accel, walk), gyro(walk.gyro, walk);
  Judge judge(walk);
  Smoothed smoothed;
  smoothed.result = smoother::smooth(accel, gyro, {}, judge);
  smoothed.errors = judge.errors;
  std::size_t point = 0;
  const auto& grid = smoothed.result.grid;
  for (std::size_t i = 0; i < walk.count; ++i) {
    while (point + 1 < grid.size() && grid[point + 1].time_s <= static_cast<double>(i + 1) / walk.rate_hz) {
      ++point;
    }
    const double claimed = static_cast<double>(grid[point].inclination_error_deg);
    smoothed.claimed += claimed * claimed;
    smoothed.within += static_cast<double>(judge.inclination[i]) < 2 * claimed ? 1 : 0;
  }
  const auto n = static_cast<double>(walk.count);
  smoothed.claimed = std::sqrt(smoothed.claimed / n);
  smoothed.within /= n;
  return smoothed;
}

/// Mean rate of the first seconds.
Triple rest_offset(const Walk& walk, double seconds) {
  const auto n = static_cast<std::size_t>(seconds * walk.rate_hz);
  Triple offset{};
  for (std::size_t k = 0; k < 3; ++k) {
    for (std::size_t i = 0; i < n; ++i) {
      offset[k] += static_cast<double>(walk.gyro[k][i]) / static_cast<double>(n);
    }
  }
  return offset;
}

void print_walk(const char* name, simulator::Place place, double seconds) {
  const auto motion = [place](double t) { return simulator::walking_day(place, t); };
  const std::uint32_t seed = place == simulator::Place::kHip ? 3 : 4;
  const Walk walk(motion, 100, seconds, simulator::likely_errors(seed), seed);
  const Errors as_read = filter(walk, {}), corrected = filter(walk, rest_offset(walk, 15));
  const Smoothed smoothed = smooth(walk);
  const std::string time = seconds < 3600 ? "1 min" : std::to_string(std::lround(seconds / 3600)) + " h";
  const auto row = [&](const char* what, const Errors& errors) {
    std::printf("| %-4s | %5s | %-16s | %10.2f | %6.2f | %12.2f |", name, time.c_str(), what, errors.inclination(),
                errors.worst, errors.heading_rms());
  };
  row("filter", as_read);
  std::puts("         |           |");
  row("offset taken off", corrected);
  std::puts("         |           |");
  row("smoothed", smoothed.errors);
  std::printf(" %8.2f | %9.3f |\n", smoothed.claimed, smoothed.within);
  std::fflush(stdout);
}

/// Over all motions.
struct Totals {
  double filter = 0, filter_heading = 0, smoothed = 0, smoothed_heading = 0, claimed = 0, within = 0;
  int worse = 0, beyond = 0;
};

void add_random(std::uint32_t seed, Totals* totals) {
  const simulator::RandomMotion motion(seed);
  const Walk walk([&](double t) { return motion.at(t); }, 100, 180, simulator::likely_errors(seed), seed);
  const Errors as_read = filter(walk, {});
  const Smoothed smoothed = smooth(walk);
  const double inclination = smoothed.errors.inclination();
  totals->smoothed += inclination;
  totals->smoothed_heading += smoothed.errors.heading_rms();
  totals->claimed += smoothed.claimed;
  totals->within += smoothed.within;
  if (as_read.count > 0) {
    totals->filter += as_read.inclination();
    totals->filter_heading += as_read.heading_rms();
    totals->worse += inclination > as_read.inclination() ? 1 : 0;
    totals->beyond += inclination > as_read.inclination() + smoothed.claimed ? 1 : 0;
  }
}

void print_random() {
  constexpr int kMotions = 200;
  Totals totals;
  for (std::uint32_t seed = 1; seed <= kMotions; ++seed) {
    add_random(seed, &totals);
  }
  std::printf(
      "%d random motions of 3 minutes, means: inclination %.2f by the filter, %.2f smoothed (claimed %.2f, %.3f within "
      "twice); heading %.2f, %.2f deg rms. Smoothed is worse in %d, by more than what it claims in %d.\n\n",
      kMotions, totals.filter / kMotions, totals.smoothed / kMotions, totals.claimed / kMotions,
      totals.within / kMotions, totals.filter_heading / kMotions, totals.smoothed_heading / kMotions, totals.worse,
      totals.beyond);
}

}  // namespace

int main(int argc, char** argv) {
  const double hours = argc > 1 ? std::atof(argv[1]) : 24;
  print_random();
  std::puts("| unit | time  | orientation      | tilt, rms  | worst  | heading, rms | claimed  | within 2x |");
  std::puts("| ---- | ----- | ---------------- | ---------- | ------ | ------------ | -------- | --------- |");
  for (const double seconds : {60.0, 3600.0, hours * 3600}) {
    if (seconds > 0) {
      print_walk("hip", simulator::Place::kHip, seconds);
      print_walk("shoe", simulator::Place::kFoot, seconds);
    }
  }
}
