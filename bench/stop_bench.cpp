// From the wish that an operation stop to its end, in processor time of the thread that works, at twenty moments of
// each stage. What the stage itself held is given back by then.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <ostream>
#include <span>
#include <streambuf>
#include <thread>

#include "bench/bench_recording.h"
#include "reader/quaternion_channel.h"
#include "reader/recording.h"
#include "reader/synchronisation.h"
#include "reader/texts/csv_export.h"

namespace {

using namespace vortena;

constexpr int kMoments = 20;

double seconds_of(clockid_t clock) {
  timespec time{};
  clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

/// Takes a CSV and keeps nothing of it.
struct Nowhere : std::streambuf {
  std::streamsize xsputn(const char* /*from*/, std::streamsize size) override { return size; }
};

/// Waits until a share of the stage is done and sets the stop; returns the worker's processor time then.
double stop_at(Watch& watch, Stage stage, double share, clockid_t worker) {
  while (watch.stage != static_cast<std::int32_t>(stage) || watch.done < share * watch.total) {
    std::this_thread::sleep_for(std::chrono::microseconds(100));
  }
  const double now = seconds_of(worker);
  watch.stop = 1;
  return now;
}

template <typename Work>
void run_stop(benchmark::State& state, Stage stage, Work work) {
  clockid_t worker{};
  pthread_getcpuclockid(pthread_self(), &worker);
  double longest = 0;
  int moment = 0;
  for (auto _ : state) {
    Watch watch;
    double stopped = 0;
    std::thread stopper([&] { stopped = stop_at(watch, stage, (moment + 0.5) / (kMoments + 1), worker); });
    if (work(&watch)) {
      state.SkipWithError("the stage ran to its end");
    }
    const double took = seconds_of(worker) - stopped;
    stopper.join();
    longest = std::max(longest, took);
    state.SetIterationTime(took);
    ++moment;
  }
  state.counters["longest_ms"] = longest * 1e3;
}

void stop_decoding(benchmark::State& state) {
  const auto& bytes = bench::recording();
  run_stop(state, Stage::kDecoding, [&](Watch* watch) {
    Recording recording;
    return load_recording(&recording, std::span(bytes), {.watch = watch}).status == LoadStatus::kRead;
  });
}
BENCHMARK(stop_decoding)->UseManualTime()->Iterations(kMoments)->Unit(benchmark::kMillisecond);

void stop_orientation(benchmark::State& state) {
  Recording recording;
  load_recording(&recording, std::span(bench::recording()));
  prepare_orientation(recording.config, &recording.sensors);
  run_stop(state, Stage::kOrientation, [&](Watch* watch) {
    return fill_orientation(recording.config, &recording.sensors, watch) == OrientationProblem::kNone;
  });
}
BENCHMARK(stop_orientation)->UseManualTime()->Iterations(kMoments)->Unit(benchmark::kMillisecond);

void stop_writing(benchmark::State& state) {
  Recording recording;
  load_recording(&recording, std::span(bench::recording()));
  kiv_computeQuaternion(&recording.config, &recording.sensors);
  run_stop(state, Stage::kWriting, [&](Watch* watch) {
    Nowhere nowhere;
    std::ostream out(&nowhere);
    return write_csv(out, recording.config, recording.sensors, watch);
  });
}
BENCHMARK(stop_writing)->UseManualTime()->Iterations(kMoments)->Unit(benchmark::kMillisecond);

/// Two recordings of 64 MB; loading them anew for each moment is not timed.
void stop_synchronising(benchmark::State& state) {
  run_stop(state, Stage::kSynchronising, [&](Watch* watch) {
    std::vector<Recording> set(2);
    for (std::size_t unit = 0; unit < set.size(); ++unit) {
      load_recording(&set[unit], std::span(bench::recording()));
      kiv_computeQuaternion(&set[unit].config, &set[unit].sensors);
      set[unit].config.radioMode = static_cast<std::int32_t>(unit);
      set[unit].config.radioParam2 = static_cast<std::uint32_t>(1000 * unit);  // so that there is something to cut
    }
    return synchronise(set, watch).problem == SyncProblem::kNone;
  });
}
BENCHMARK(stop_synchronising)->UseManualTime()->Iterations(kMoments / 4)->Unit(benchmark::kMillisecond);

}  // namespace
