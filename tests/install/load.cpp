// load RECORDING: how many accelerometer samples it holds.
#include <vortena/reader/recording.h>

#include <cstdio>

int main(int argc, char** argv) {
  vortena::Recording recording;
  if (argc != 2 || vortena::load_recording(&recording, argv[1]).status != vortena::LoadStatus::kRead) {
    return 1;
  }
  std::printf("%llu\n", static_cast<unsigned long long>(recording.sensors.at(vortena::kAccelKey).sampleCount));
}
