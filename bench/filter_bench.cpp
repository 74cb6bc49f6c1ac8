// One sample through the orientation filter.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "simulator/simulated_recording.h"
#include "tests/oracle/nested_loop_filter.h"
#include "tracker/tracker.h"

namespace {

struct Sample {
  std::array<float, 3> accel;
  std::array<float, 3> gyro;
};

std::vector<Sample> simulated_samples() {
  const vortena::simulator::SimulationPlan plan;
  std::vector<Sample> samples;
  for (int i = 0; i < 6000; ++i) {
    const auto s = vortena::simulator::true_sample(plan, i / 200.0);
    samples.push_back({});
    for (std::size_t k = 0; k < 3; ++k) {
      samples.back().accel[k] = static_cast<float>(s.accel_g[k]);
      samples.back().gyro[k] = static_cast<float>(s.gyro_deg_s[k]);
    }
  }
  return samples;
}

tracker_state started_tracker(const oracle::NestedLoopFilter& like) {
  tracker_state state;
  init_tracker(&state, 200, 0);
  set_motionless_thresh(&state, like.thresholds.data());
  set_imu_quaternion_observation_noise_cov_matrix(&state, like.R.data(), like.R.data());
  state.initialised = 1;
  return state;
}

/// Ends the benchmark if the two filters differ in a single bit.
void require_equal_bits(const std::vector<Sample>& samples) {
  oracle::NestedLoopFilter nested(200);
  tracker_state state = started_tracker(nested);
  for (const Sample& s : samples) {
    std::array<float, 3> gyro = s.gyro;
    call_ekf_quaternion(&state, gyro.data(), s.accel.data(), nullptr);
    nested.feed(s.accel.data(), s.gyro.data());
    if (std::memcmp(state.q, nested.q.data(), sizeof state.q) != 0) {
      std::abort();
    }
  }
}

void filter_library(benchmark::State& run) {
  const std::vector<Sample> samples = simulated_samples();
  require_equal_bits(samples);
  tracker_state state = started_tracker(oracle::NestedLoopFilter(200));
  std::size_t i = 0;
  for (auto _ : run) {
    std::array<float, 3> gyro = samples[i].gyro;
    call_ekf_quaternion(&state, gyro.data(), samples[i].accel.data(), nullptr);
    i = i + 1 == samples.size() ? 0 : i + 1;
  }
  benchmark::DoNotOptimize(state);
}
BENCHMARK(filter_library);

void filter_nested_loops(benchmark::State& run) {
  const std::vector<Sample> samples = simulated_samples();
  oracle::NestedLoopFilter filter(200);
  std::size_t i = 0;
  for (auto _ : run) {
    filter.feed(samples[i].accel.data(), samples[i].gyro.data());
    i = i + 1 == samples.size() ? 0 : i + 1;
  }
  benchmark::DoNotOptimize(filter);
}
BENCHMARK(filter_nested_loops);

}  // namespace
