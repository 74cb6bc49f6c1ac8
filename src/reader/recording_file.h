// The reader's entry points for files: configuration and series into records that the caller holds apart.
#pragma once

#include <fstream>

#include "reader/decoding/recording_model.h"

namespace vortena {

/// Reads the header of the recording at `path` (UTF-8) into a freshly constructed `config`. False when the
/// file cannot be read or holds no header. A file shorter than a block still yields its header: what is
/// missing reads as zero.
bool kiv_readConfig(kiv_Config* config, const char* path);

/// The same from an open binary stream at its start, which is closed before returning.
bool _kiv_readConfig(kiv_Config* config, std::ifstream& stream);

/// Reads the whole recording at `path` (UTF-8) into a freshly constructed `config` and an empty map. False, with both
/// untouched, when the file cannot be opened, is shorter than a block or holds no header. A block that cannot be read
/// is no failure: what precedes it is kept. load_recording() tells these cases apart.
bool kiv_read(kiv_Config* config, SensorMap* sensors, const char* path);

/// The same from an open binary stream at its start. The stream is closed before returning, unless its first
/// block could not be read.
bool _kiv_read(kiv_Config* config, SensorMap* sensors, std::ifstream& stream);

}  // namespace vortena
