// The steps that all operations on recordings share, each with an outcome.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "operations/outcome.h"
#include "operations/smoothing.h"
#include "quality/quality_report.h"
#include "quality/rest.h"
#include "reader/recording.h"
#include "system/file_access.h"

namespace vortena {

/// What is subtracted from the gyroscope series before the orientation.
struct GyroscopeOffset {
  enum class Source : std::uint8_t { kNone, kGiven, kRest };
  Source source = Source::kNone;
  std::array<double, 3> deg_s{};  ///< x y z; of kRest, once it is estimated
};

/// Sets what an offset of kRest takes off to what the unit measured at rest; the others stay as they are. A problem
/// when there is no estimate.
Outcome take_rest(GyroscopeOffset* offset, const RestEstimate& rest);

/// A recording on its way through an operation.
struct LoadedRecording {
  Recording recording;
  LoadReport load;
  std::optional<FileState> state;    ///< of the file, before it was read
  GyroscopeOffset offset;            ///< that was subtracted
  std::optional<RestEstimate> rest;  ///< from before that
  OrientationProblem orientation = OrientationProblem::kNone;
  std::optional<smoother::Result> smoothing;  ///< of a smoothed orientation
};

/// Loads the recording at `path` and subtracts the gyroscope's offset. `loaded` is freshly constructed.
Outcome load(LoadedRecording* loaded, const char* path, const LoadOptions& options, const GyroscopeOffset& offset,
             bool keep_readable = false);

/// A problem when the recording at `path` is not as it was when `loaded` was read from it: just before an output
/// appears, as one that is newer than its recording passes for up to date.
Outcome require_unchanged(const char* path, const LoadedRecording& loaded);

/// How a loading ended. A recording of which the system could not read all, or that was changed meanwhile, is a
/// problem: what is made of it would pass for the whole. With `keep_readable`, what precedes the first block that could
/// not be read is good enough.
Outcome outcome_of(const LoadReport& report, bool keep_readable = false);

/// Adds the orientation where it is possible: that it is not is no failure, and stands in `loaded`.
Outcome orient(LoadedRecording* loaded, OrientationMethod method, Watch* watch);

/// The quality report, with what was done to the recording.
QualityReport judge(const LoadedRecording& loaded);

/// An operation that its watch stopped.
Outcome stopped(Stage stage);

/// An output that could not be written; good when there is no failure.
Outcome unwritable(const std::error_code& failure);

/// Refuses an output that exists and begins like a recording: recordings cannot be made again. Any file counts that
/// this reader finds a header in; links are followed. Where `headers_alone` may be replaced, files of no more than a
/// header block do not count.
Outcome check_output(const char* path, bool headers_alone = false);

/// True when both paths lead to one existing file.
bool is_same_file(const char* one, const char* other);

}  // namespace vortena
