// The operations of the core, by name, for the languages that call them. A method is 'filter' or 'smoothed', of the
// orientation. An offset is four arguments: 'none', 'given' or 'rest', then x, y and z in deg/s.
#pragma once

#include <span>

#include "bindings-shared/answer.h"
#include "bindings-shared/arguments.h"
#include "operations/recording_steps.h"

namespace vortena::operations {

/// The next four arguments.
GyroscopeOffset take_offset(Arguments& arguments);

struct Operation {
  const char* name;
  /// Takes the arguments; the work counts only when they are good. Throws when memory is refused (std::bad_alloc).
  Work (*prepare)(Arguments& arguments);
};

/// convert(path, csvPath, fsync, overwrite, keepReadable, secondThread, method, offset): answers {rows, bytes, summary,
/// report}.
///
/// readSamples(path, channels, orientation, orientationRequired, singlePrecision, method, offset): answers {config,
/// report, channels, smoothing} with each of the channels as {name, unit, axes, rate, samples, values, times}, the last
/// two being places among the arrays. The argument `channels` is a list of names. For smoothing see smoothing_answer.h.
///
/// inspect(path): answers the report.
///
/// synchronise(paths, folder, fsync, overwrite, method, offsets): answers {source, start, duration, channels, units},
/// channels being names and a unit {output, rows, bytes, shifts, summary, report}. `offsets` is empty or has four
/// elements for each path.
///
/// levels(paths, synchronised, mostBins, mostSamples, method, offset): answers what levels_answer.h describes.
///
/// readConfig(path): answers the header.
///
/// writeConfig(path, text, fsync): answers null.
///
/// checkPlace(path, isFolder, overwrite, mayBeginLikeRecording): answers null.
///
/// publish(part, path, fsync, overwrite, mayBeginLikeRecording): answers {aside}.
std::span<const Operation> all_operations();

}  // namespace vortena::operations
