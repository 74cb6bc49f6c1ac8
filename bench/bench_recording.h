// The recording that the benchmarks read: 64 MB of accelerometer, gyroscope, barometer and events, 3.6 million rows.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "simulator/simulated_recording.h"

namespace bench {

using vortena::simulator::Bytes;

/// Simulated once, at the first use.
const Bytes& recording();

/// The path of a file in the folder that BENCH_FOLDER names, which should be on a memory file system.
std::string bench_file(const std::string& name);

std::string recording_file();
std::string shuffled_recording_file();  ///< its blocks behind the header in random order
std::string short_recording_file();     ///< 8 MB
std::string long_recording_file();      ///< 256 MB

/// Four units of one person, 16 MB each, that can be synchronised.
std::vector<std::string> set_files();

/// Touches this much fresh memory and gives it back. A virtual machine gets its pages from the host at the first touch,
/// which may take longer than all that is measured here.
void warm_memory(std::size_t bytes);

}  // namespace bench
