// Outcomes keep the stage and the system's reason; nothing is thrown but for memory.
#include "operations/recording_steps.h"

#include <filesystem>

#include "quality/assessment.h"
#include "reader/decoding/recording_format.h"
#include "reader/quaternion_channel.h"
#include "system/file_access.h"

namespace vortena {
namespace {

namespace fs = std::filesystem;

Problem problem_of(LoadStatus status) {
  switch (status) {
    case LoadStatus::kRead:
      return Problem::kNone;
    case LoadStatus::kStopped:
      return Problem::kStopped;
    case LoadStatus::kUnreadable:
      return Problem::kUnreadable;
    case LoadStatus::kTooShort:
      return Problem::kTooShort;
    case LoadStatus::kNoHeader:
      break;
  }
  return Problem::kNoHeader;
}

/// Takes the offset off; what the unit measured at rest is kept for the report.
Outcome correct(LoadedRecording* loaded, const GyroscopeOffset& offset) {
  if (offset.source == GyroscopeOffset::Source::kNone) {
    return {};
  }
  loaded->offset = offset;
  loaded->rest = estimate_rest(loaded->recording, loaded->load);
  if (Outcome outcome = take_rest(&loaded->offset, *loaded->rest); !outcome.good()) {
    return outcome;
  }
  if (const auto gyro = loaded->recording.sensors.find(kGyroKey); gyro != loaded->recording.sensors.end()) {
    subtract_gyroscope_offset(&gyro->second, loaded->offset.deg_s);
  }
  return {};
}

OrientationProblem filter(LoadedRecording* loaded, Watch* watch) {
  Recording& recording = loaded->recording;
  const OrientationProblem problem = prepare_orientation(recording.config, &recording.sensors);
  return problem == OrientationProblem::kNone ? fill_orientation(recording.config, &recording.sensors, watch) : problem;
}

OrientationProblem smooth(LoadedRecording* loaded, Watch* watch) {
  Recording& recording = loaded->recording;
  const OrientationProblem problem = find_smoothing_problem(recording.sensors);
  return problem == OrientationProblem::kNone ? smooth_orientation(recording.config, loaded->load, &recording.sensors,
                                                                   &loaded->smoothing.emplace(), watch)
                                              : problem;
}

}  // namespace

Outcome take_rest(GyroscopeOffset* offset, const RestEstimate& rest) {
  if (offset->source != GyroscopeOffset::Source::kRest) {
    return {};
  }
  if (rest.problem != RestProblem::kNone) {
    return {.problem = Problem::kNoRest, .stage = Stage::kOrientation, .rest = rest.problem};
  }
  offset->deg_s = rest.offset_deg_s;
  return {};
}

Outcome outcome_of(const LoadReport& report, bool keep_readable) {
  Problem problem = problem_of(report.status);
  if (problem == Problem::kNone && report.changed) {
    return {.problem = Problem::kChanged, .stage = Stage::kDecoding};
  }
  if (problem == Problem::kNone && report.first_unreadable_block && !keep_readable) {
    problem = Problem::kUnreadable;
  }
  return problem == Problem::kNone ? Outcome()
                                   : Outcome{.problem = problem, .stage = Stage::kDecoding, .failure = report.failure};
}

Outcome load(LoadedRecording* loaded, const char* path, const LoadOptions& options, const GyroscopeOffset& offset,
             bool keep_readable) {
  loaded->state = file_state(path);
  loaded->load = load_recording(&loaded->recording, path, options);
  const Outcome outcome = outcome_of(loaded->load, keep_readable);
  return outcome.good() ? correct(loaded, offset) : outcome;
}

Outcome require_unchanged(const char* path, const LoadedRecording& loaded) {
  const std::optional<FileState> now = file_state(path);
  const bool changed = now && loaded.state && *now != *loaded.state;
  return {.problem = changed ? Problem::kChanged : Problem::kNone, .stage = Stage::kWriting};
}

Outcome orient(LoadedRecording* loaded, OrientationMethod method, Watch* watch) {
  loaded->orientation = method == OrientationMethod::kSmoothed ? smooth(loaded, watch) : filter(loaded, watch);
  return loaded->orientation == OrientationProblem::kStopped ? stopped(Stage::kOrientation) : Outcome();
}

QualityReport judge(const LoadedRecording& loaded) {
  QualityReport report = assess(loaded.recording, loaded.load, loaded.orientation, loaded.rest);
  if (loaded.offset.source != GyroscopeOffset::Source::kNone) {
    report.subtracted_offset = loaded.offset.deg_s;
  }
  if (loaded.smoothing) {
    report.smoothing = summary_of(*loaded.smoothing);
  }
  return report;
}

Outcome stopped(Stage stage) {
  return {.problem = Problem::kStopped, .stage = stage};
}

Outcome unwritable(const std::error_code& failure) {
  const Problem problem = !failure                            ? Problem::kNone
                          : failure == std::errc::file_exists ? Problem::kOutputExists
                                                              : Problem::kUnwritable;
  return {.problem = problem, .stage = Stage::kWriting, .failure = failure};
}

Outcome check_output(const char* path, bool headers_alone) {
  std::error_code failure;
  const fs::path file = utf8_path(path);
  const bool is_file = fs::is_regular_file(file, failure);
  kiv_Config config;
  if (!is_file || load_header(&config, path).status != LoadStatus::kRead ||
      (headers_alone && fs::file_size(file, failure) <= kBlockSize)) {
    return {};
  }
  return {.problem = Problem::kOutputIsRecording, .stage = Stage::kWriting};
}

bool is_same_file(const char* one, const char* other) {
  std::error_code failure;
  return fs::equivalent(utf8_path(one), utf8_path(other), failure) && !failure;
}

}  // namespace vortena
