// simulate_walk FOLDER: writes hip.bin and foot.bin, the recordings of two units on one person who stands, walks, turns
// round, walks back and stands, and truth.csv with the attitudes of both at the instants that both recorded. Says what
// it simulates.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>

#include "simulator/simulated_recording.h"

using namespace vortena::simulator;

namespace {

constexpr double kFootStart = 1.2;  // seconds after the hip's unit
constexpr std::uint32_t kHipClock = 600, kFootClock = 8500;

SimulationPlan common_plan() {
  SimulationPlan plan;
  plan.motion = Motion::kGait;
  plan.event_every = 0;
  plan.gyro_noise_deg_s = 0.1;
  plan.accel_noise_g = 0.004;
  return plan;
}

/// The master, and the first to be switched on.
SimulationPlan hip_plan() {
  SimulationPlan plan = common_plan();
  plan.seconds = 20;
  plan.first_tick = kHipClock;
  plan.gyro_bias_deg_s = {0.06, -0.04, 0.05};
  return plan;
}

SimulationPlan foot_plan() {
  SimulationPlan plan = common_plan();
  plan.place = Place::kFoot;
  plan.seconds = 19.5;
  plan.start_seconds = kFootStart;
  plan.first_tick = kFootClock;
  plan.device_id = 4712;
  plan.radio_role = 1;
  plan.radio_ticks_ahead = kHipClock + std::lround(kFootStart * plan.rate_hz) - std::int64_t{kFootClock};
  plan.gyro_bias_deg_s = {-0.05, 0.03, 0.04};
  plan.noise_seed = 2;
  return plan;
}

void describe(const SimulationPlan& hip, const SimulationPlan& foot) {
  std::printf(
      "Simulating a person who stands for %.0f s, walks for some %.0f s with a turn round half way,\n"
      "and stands again. A unit on the hip, one on the foot: the foot's is switched on %.1f s later,\n"
      "its clock is %.1f s ahead, and by radio it hears the time of the hip's. Gyroscopes do not\n"
      "read 0 at rest, and all sensors have noise.\n",
      hip.still_seconds, hip.walk_seconds, foot.start_seconds,
      static_cast<double>(-foot.radio_ticks_ahead) / foot.rate_hz);
}

std::ofstream create(const std::filesystem::path& path) {
  std::ofstream file;
  file.exceptions(std::ios::failbit | std::ios::badbit);
  file.open(path, std::ios::binary);
  return file;
}

void write_recording(const std::filesystem::path& path, const SimulationPlan& plan) {
  const Bytes bytes = simulate(plan);
  create(path).write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

void write_attitude(std::ostream& out, const SimulationPlan& plan, double common_time) {
  for (const double element : true_sample(plan, common_time - plan.start_seconds).attitude) {
    out << ',' << element;
  }
}

/// In the layout of the module's CSV files, so that what reads those reads it.
void write_truth(const std::filesystem::path& path, const SimulationPlan& hip, const SimulationPlan& foot) {
  const double end = std::min(hip.seconds, foot.start_seconds + foot.seconds);
  const long rows = std::lround((end - foot.start_seconds) * hip.rate_hz);
  std::ofstream out = create(path);
  out << "Attitudes of a simulated walk\nCreated on: 2024-05-17 09:05:01\nTotal data points: " << rows
      << "\n\nTime [200 hz],Hip,,,,Foot,,,,\n"
         "Time,Hip W,Hip X,Hip Y,Hip Z,Foot W,Foot X,Foot Y,Foot Z,\n[s],[],[],[],[],[],[],[],[],\n"
      << std::fixed;
  for (long row = 0; row < rows; ++row) {
    out << static_cast<double>(row + 1) / hip.rate_hz;
    const double common_time = foot.start_seconds + static_cast<double>(row) / hip.rate_hz;
    write_attitude(out, hip, common_time);
    write_attitude(out, foot, common_time);
    out << ",\n";
  }
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 2) {
    std::fputs("usage: simulate_walk FOLDER\n", stderr);
    return EXIT_FAILURE;
  }
  const std::filesystem::path folder = argv[1];
  const SimulationPlan hip = hip_plan(), foot = foot_plan();
  describe(hip, foot);
  write_recording(folder / "hip.bin", hip);
  write_recording(folder / "foot.bin", foot);
  write_truth(folder / "truth.csv", hip, foot);
  return EXIT_SUCCESS;
} catch (const std::exception& error) {
  std::fprintf(stderr, "simulate_walk: %s\n", error.what());
  return EXIT_FAILURE;
}
