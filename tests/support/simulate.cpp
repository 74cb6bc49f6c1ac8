// simulate FILE SECONDS [RATE_HZ]: writes a simulated recording. At 200 Hz a second takes about 3.9 kB.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>

#include "support/simulated_recording.h"

namespace {

using vortena::testing::Bytes;

bool write_file(const char* path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return file.good();
}

int run(int argc, char** argv) {
  vortena::testing::SimulationPlan plan;
  if (argc == 3 || argc == 4) {
    plan.seconds = std::atof(argv[2]);
    plan.rate_hz = argc == 4 ? std::atoi(argv[3]) : plan.rate_hz;
  }
  if (argc < 3 || argc > 4 || !(plan.seconds > 0) || plan.rate_hz < plan.slow_every || plan.rate_hz > UINT16_MAX) {
    std::fputs("usage: simulate FILE SECONDS [RATE_HZ, 8 to 65535]\n", stderr);
    return EXIT_FAILURE;
  }
  const Bytes bytes = vortena::testing::simulate(plan);
  if (!write_file(argv[1], bytes)) {
    std::fprintf(stderr, "simulate: cannot write %s\n", argv[1]);
    return EXIT_FAILURE;
  }
  std::printf("%s: %zu bytes, %u ticks\n", argv[1], bytes.size(), vortena::testing::tick_count(plan));
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "simulate: %s\n", error.what());
    return EXIT_FAILURE;
  }
}
