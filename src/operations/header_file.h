// Files of a configuration header: read from any recording, written alone.
#pragma once

#include "operations/outcome.h"
#include "reader/decoding/recording_model.h"

namespace vortena {

/// The header of the file at `path`, of which a block or less will do, into a freshly constructed `config`.
Outcome read_header(kiv_Config* config, const char* path);

/// Writes the header frames of a configuration text, whole or not at all. Replaces no file that begins like a
/// recording, but for files of no more than a header block: those are what it writes itself.
Outcome write_header(const char* path, const char* text, bool sync);

}  // namespace vortena
