// Recordings loaded for those who make values of the counts themselves. Not installed: it shows the decoder.
#pragma once

#include <istream>

#include "reader/decoding/data_packages.h"
#include "reader/recording.h"

namespace vortena {

/// A recording whose samples are still what the file holds, counts and ticks: a third of a Recording's memory.
struct CountedRecording {
  kiv_Config config;
  PackageDecoder packages{config};
};

/// As load_recording(), without channels' counts in the report.
LoadReport load_counts(CountedRecording* recording, const char* path, const LoadOptions& options = {});
LoadReport load_counts(CountedRecording* recording, std::istream& stream, const LoadOptions& options = {});

}  // namespace vortena
