// Outputs that somebody else has written, under a hidden name beside their place: they appear as this reader's own do.
#pragma once

#include <string>

#include "operations/outcome.h"
#include "system/output_place.h"

namespace vortena {

struct PublicationOptions {
  bool sync = false;  ///< on the disk before the call returns
  Existing existing = Existing::kReplace;
  /// For outputs in which a recording's header can appear by chance, as in compressed bytes. Whoever asks for it has
  /// seen that what stands there is no recording.
  bool may_begin_like_recording = false;
};

/// Whether a file, or a folder, can appear at `path`. For asking before the work.
Outcome check_place(const char* path, OutputPlace::Kind kind, const PublicationOptions& options);

struct Publication {
  Outcome outcome;    ///< when it is not good, `part` is as it was
  std::string aside;  ///< path of the folder that was replaced, for the caller to remove; empty without
};

/// Gives the file or folder `part`, beside `path`, the rights of what it replaces, or those of something new, and its
/// name. Of a folder, `sync` is for itself and its name, not for what is in it.
Publication publish(const char* part, const char* path, const PublicationOptions& options);

}  // namespace vortena
