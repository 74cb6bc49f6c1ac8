// The orientation is computed for its tilts alone.
#include "operations/inspection.h"

#include "operations/recording_steps.h"

namespace vortena {

Inspection inspect_recording(const char* path, Watch* watch) {
  Inspection inspection;
  LoadedRecording loaded;
  inspection.outcome = load(&loaded, path, {.watch = watch}, {});
  if (inspection.outcome.good()) {
    inspection.outcome = orient(&loaded, OrientationMethod::kFilter, watch);
  }
  if (inspection.outcome.good()) {
    inspection.report = judge(loaded);
  }
  return inspection;
}

}  // namespace vortena
