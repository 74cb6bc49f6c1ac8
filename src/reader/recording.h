// The road from a recording's bytes to its model, whatever the bytes come from.
#pragma once

#include <cstdint>
#include <istream>
#include <span>

#include "reader/decoding/load_report.h"
#include "reader/decoding/recording_model.h"
#include "system/watch.h"

namespace vortena {

/// A decoded recording: its configuration header and its series, one per channel.
struct Recording {
  kiv_Config config;
  SensorMap sensors;
};

struct LoadOptions {
  /// The header block counts as a data package like any other. False leaves out the samples that it alone holds, which
  /// makes all time stamps true.
  bool header_samples = true;
  Watch* watch = nullptr;  ///< asked at every piece; outlives the call
};

/// Decodes a recording into a freshly constructed `recording`, which stays as it is unless the status is kRead. The
/// first block that cannot be read, tried once more by itself, ends the reading; what was decoded is kept. Blocks
/// behind a header that was cut short read as far as they are whole. Throws when memory is refused (std::bad_alloc).
LoadReport load_recording(Recording* recording, const char* path, const LoadOptions& options = {});

/// The same from an open binary stream that can seek, at its start.
LoadReport load_recording(Recording* recording, std::istream& stream, const LoadOptions& options = {});

/// The same from memory.
LoadReport load_recording(Recording* recording, std::span<const std::uint8_t> bytes, const LoadOptions& options = {});

/// Decodes the header alone, of which a block or less will do, into a freshly constructed `config`. Of the report only
/// status and failure are set. What is missing of a file shorter than a block reads as zero; such a file is too short
/// when that gives no header.
LoadReport load_header(kiv_Config* config, const char* path);

/// The same from an open binary stream at its start.
LoadReport load_header(kiv_Config* config, std::istream& stream);

}  // namespace vortena
