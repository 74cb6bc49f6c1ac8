// One sample through the orientation filter: in a series as `read` has it, alone, and in nested loops.
#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <vector>

#include "simulator/simulated_recording.h"
#include "tests/oracle/nested_loop_filter.h"
#include "tracker/tracker.h"

namespace {

constexpr std::size_t kSamples = 6000;

/// By axis, as recordings hold them.
struct Motion {
  std::vector<double> accel = std::vector<double>(3 * kSamples);
  std::vector<double> gyro = std::vector<double>(3 * kSamples);

  Motion() {
    const vortena::simulator::SimulationPlan plan;
    for (std::size_t i = 0; i < kSamples; ++i) {
      const auto s = vortena::simulator::true_sample(plan, static_cast<double>(i) / 200);
      for (std::size_t k = 0; k < 3; ++k) {
        accel[k * kSamples + i] = s.accel_g[k];
        gyro[k * kSamples + i] = s.gyro_deg_s[k];
      }
    }
  }
};

std::array<float, 3> triple(const std::vector<double>& axes, std::size_t i) {
  return {static_cast<float>(axes[i]), static_cast<float>(axes[kSamples + i]),
          static_cast<float>(axes[2 * kSamples + i])};
}

/// Started, with the settings of recordings.
tracker_state started_tracker() {
  const oracle::NestedLoopFilter like(200);
  tracker_state state;
  init_tracker(&state, 200, 0);
  set_motionless_thresh(&state, like.thresholds.data());
  set_imu_quaternion_observation_noise_cov_matrix(&state, like.R.data(), like.R.data());
  state.initialised = 1;
  return state;
}

/// Each of these takes the whole motion through a filter; the time is that of one sample.
template <typename Filter>
void run_filter(benchmark::State& run, Filter filter) {
  const Motion motion;
  while (run.KeepRunningBatch(kSamples)) {
    filter(motion);
  }
}

void filter_library(benchmark::State& run) {
  tracker_state state = started_tracker();
  std::vector<double> quaternion(4 * kSamples);
  run_filter(run, [&](const Motion& motion) {
    const tracker_series series{motion.accel.data(), motion.gyro.data(), quaternion.data(), kSamples};
    run_tracker_series(&state, &series, 0, kSamples);
    benchmark::DoNotOptimize(quaternion.data());
  });
}
BENCHMARK(filter_library);

void filter_single_samples(benchmark::State& run) {
  tracker_state state = started_tracker();
  run_filter(run, [&](const Motion& motion) {
    std::array<float, 7> output;
    for (std::size_t i = 0; i < kSamples; ++i) {
      add_to_tracker_buffer(&state, triple(motion.accel, i).data(), triple(motion.gyro, i).data(), nullptr);
      run_tracker(&state, output.data());
      benchmark::DoNotOptimize(output);
    }
  });
}
BENCHMARK(filter_single_samples);

void filter_nested_loops(benchmark::State& run) {
  oracle::NestedLoopFilter filter(200);
  run_filter(run, [&](const Motion& motion) {
    for (std::size_t i = 0; i < kSamples; ++i) {
      filter.feed(triple(motion.accel, i).data(), triple(motion.gyro, i).data());
      benchmark::DoNotOptimize(filter.q);
    }
  });
}
BENCHMARK(filter_nested_loops);

}  // namespace
