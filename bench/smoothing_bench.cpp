// One sample through the smoother and through the tracker, in turn: the ratio is what counts.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <vector>

#include "simulator/simulated_recording.h"
#include "smoother/smoother.h"
#include "tracker/tracker.h"

namespace {

using Triple = std::array<double, 3>;

/// By axis, as recordings hold them.
struct Motion {
  int rate_hz;
  std::size_t count;
  std::vector<double> accel = std::vector<double>(3 * count);
  std::vector<double> gyro = std::vector<double>(3 * count);

  Motion(int hz, double seconds) : rate_hz(hz), count(static_cast<std::size_t>(seconds * hz)) {
    vortena::simulator::SimulationPlan plan;
    plan.motion = vortena::simulator::Motion::kGait;
    plan.seconds = seconds;
    plan.walk_seconds = seconds - 30;
    for (std::size_t i = 0; i < count; ++i) {
      const auto s = vortena::simulator::true_sample(plan, static_cast<double>(i) / hz);
      for (std::size_t k = 0; k < 3; ++k) {
        accel[k * count + i] = s.accel_g[k];
        gyro[k * count + i] = s.gyro_deg_s[k];
      }
    }
  }
};

class Source : public vortena::smoother::SampleSource {
 public:
  Source(const std::vector<double>& axes, const Motion& motion) : axes_(axes), motion_(motion) {}
  [[nodiscard]] std::size_t count() const override { return motion_.count; }
  bool read(std::size_t first, std::size_t count, double* times_s, double* xyz) override {
    for (std::size_t i = 0; i < count; ++i) {
      times_s[i] = static_cast<double>(first + i) / motion_.rate_hz;
      for (std::size_t k = 0; k < 3; ++k) {
        xyz[3 * i + k] = axes_[k * motion_.count + first + i];
      }
    }
    return true;
  }

 private:
  const std::vector<double>& axes_;
  const Motion& motion_;
};

class Sink : public vortena::smoother::OrientationSink {
 public:
  double sum = 0;
  bool write(std::size_t, std::size_t count, const double* wxyz) override {
    sum += wxyz[4 * count - 1];
    return true;
  }
};

double nanoseconds(std::chrono::steady_clock::time_point start, std::size_t count) {
  const std::chrono::duration<double, std::nano> passed = std::chrono::steady_clock::now() - start;
  return passed.count() / static_cast<double>(count);
}

double smooth(const Motion& motion) {
  Source accel(motion.accel, motion), gyro(motion.gyro, motion);
  Sink sink;
  const auto start = std::chrono::steady_clock::now();
  vortena::smoother::smooth(accel, gyro, {}, sink);
  return nanoseconds(start, motion.count);
}

double track(const Motion& motion) {
  std::vector<double> quaternion(4 * motion.count);
  tracker_state state;
  init_tracker(&state, motion.rate_hz, 0);
  const tracker_series series{motion.accel.data(), motion.gyro.data(), quaternion.data(), motion.count};
  const auto start = std::chrono::steady_clock::now();
  run_tracker_series(&state, &series, 0, motion.count);
  return nanoseconds(start, motion.count);
}

}  // namespace

int main() {
  std::puts("| rate    | tracker, ns a sample | smoother, ns | ratio |");
  std::puts("| ------- | -------------------- | ------------ | ----- |");
  for (const int hz : {100, 200, 400}) {
    const Motion motion(hz, 1800);
    double tracker = 1e9, smoother = 1e9;
    for (int round = 0; round < 7; ++round) {
      tracker = std::min(tracker, track(motion));
      smoother = std::min(smoother, smooth(motion));
    }
    std::printf("| %4d Hz | %20.0f | %12.0f | %5.2f |\n", hz, tracker, smoother, smoother / tracker);
  }
}
