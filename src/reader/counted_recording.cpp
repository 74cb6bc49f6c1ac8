#include "reader/counted_recording.h"

#include "reader/loader.h"

namespace vortena {

LoadReport load_counts(CountedRecording* recording, const char* path, const LoadOptions& options) {
  return loading::load(recording, path, options);
}

LoadReport load_counts(CountedRecording* recording, std::istream& stream, const LoadOptions& options) {
  return loading::load(recording, stream, options);
}

}  // namespace vortena
