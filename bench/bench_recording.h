// The recording that the benchmarks read: 64 MB of accelerometer, gyroscope, barometer and events, 3.6 million rows.
#pragma once

#include <string>

#include "support/simulated_recording.h"

namespace bench {

using vortena::testing::Bytes;

/// Simulated once, at the first use.
const Bytes& recording();

/// Paths of files in a folder on a memory file system, which is removed at the end.
std::string bench_file(const std::string& name);

std::string recording_file();
std::string shuffled_recording_file();  ///< its blocks behind the header in random order
std::string long_recording_file();      ///< ten times as long

}  // namespace bench
