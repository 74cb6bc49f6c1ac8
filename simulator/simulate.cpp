// simulate FILE SECONDS [RATE_HZ]: writes a simulated recording. At 200 Hz a second takes about 3.9 kB.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include "simulator/simulated_recording.h"

int main(int argc, char** argv) try {
  vortena::simulator::SimulationPlan plan;
  plan.seconds = argc > 2 ? std::atof(argv[2]) : 0;
  plan.rate_hz = argc > 3 ? std::atoi(argv[3]) : plan.rate_hz;
  if (argc > 4 || !(plan.seconds > 0) || plan.rate_hz < plan.slow_every || plan.rate_hz > UINT16_MAX) {
    std::fputs("usage: simulate FILE SECONDS [RATE_HZ, 8 to 65535]\n", stderr);
    return EXIT_FAILURE;
  }
  const vortena::simulator::Bytes bytes = vortena::simulator::simulate(plan);
  std::ofstream file(argv[1], std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  std::printf("%s: %s, %zu bytes\n", argv[1], file.good() ? "written" : "cannot be written", bytes.size());
  return file.good() ? EXIT_SUCCESS : EXIT_FAILURE;
} catch (const std::exception& error) {
  std::fprintf(stderr, "simulate: %s\n", error.what());
  return EXIT_FAILURE;
}
