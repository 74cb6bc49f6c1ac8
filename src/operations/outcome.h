// How an operation from files to files ended, as a value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include "quality/rest.h"
#include "reader/orientation_problem.h"
#include "reader/synchronisation.h"
#include "system/watch.h"

namespace vortena {

enum class Problem : std::uint8_t {
  kNone,
  kStopped,            ///< its watch wanted it to stop
  kUnreadable,         ///< a recording; `failure` is the system's reason
  kChanged,            ///< a recording, while it was read or converted
  kTooShort,           ///< for a recording
  kNoHeader,           ///< no recording
  kOrientation,        ///< wanted and not possible; `orientation` tells why
  kNoRest,             ///< no estimate of the gyroscope's offset; `rest` tells why
  kSynchronisation,    ///< `synchronisation` tells why
  kUnwritable,         ///< an output; `failure` is the system's reason
  kOutputIsRecording,  ///< an output is an input, or begins like a recording
  kOutputExists,       ///< an output that may not be replaced, or that appeared meanwhile
  kOutputClash,        ///< two recordings for one output
  kConfigurationText,  ///< `message` tells where and why
};

struct Outcome {
  Problem problem = Problem::kNone;
  Stage stage = Stage::kWaiting;  ///< that the problem ended
  std::error_code failure{};
  std::size_t recording = 0;  ///< of a set, that the problem is about
  OrientationProblem orientation = OrientationProblem::kNone;
  RestProblem rest = RestProblem::kNone;
  SyncReport synchronisation{};
  std::string message{};

  [[nodiscard]] bool good() const { return problem == Problem::kNone; }
};

}  // namespace vortena
