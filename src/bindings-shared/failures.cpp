// Tables from the core's enumerations to names in JavaScript.
#include "bindings-shared/failures.h"

#include "system/error_names.h"

namespace vortena::operations {
namespace {

/// "ABORT" never reaches a user: it stands for the reason of the signal.
const char* code_of(Problem problem) {
  switch (problem) {
    case Problem::kNone:
      return "";
    case Problem::kStopped:
      return "ABORT";
    case Problem::kUnreadable:
      return "ERR_UNREADABLE";
    case Problem::kChanged:
      return "ERR_RECORDING_CHANGED";
    case Problem::kTooShort:
    case Problem::kNoHeader:
      return "ERR_NOT_A_RECORDING";
    case Problem::kOrientation:
      return "ERR_ORIENTATION";
    case Problem::kNoRest:
      return "ERR_NO_REST";
    case Problem::kSynchronisation:
      return "ERR_SYNC";
    case Problem::kUnwritable:
      return "ERR_WRITE";
    case Problem::kOutputIsRecording:
      return "ERR_OUTPUT_IS_RECORDING";
    case Problem::kOutputExists:
      return "ERR_OUTPUT_EXISTS";
    case Problem::kOutputClash:
      return "ERR_OUTPUT_CLASH";
    case Problem::kConfigurationText:
      return "ERR_CONFIG_TEXT";
  }
  return "ERR_INTERNAL";
}

const char* reason_of(OrientationProblem problem) {
  switch (problem) {
    case OrientationProblem::kNoAccelerometer:
      return "no-accelerometer";
    case OrientationProblem::kNoGyroscope:
      return "no-gyroscope";
    case OrientationProblem::kDifferentRates:
      return "different-rates";
    case OrientationProblem::kNone:
    case OrientationProblem::kStopped:
      break;
  }
  return "";
}

const char* reason_of(RestProblem problem) {
  switch (problem) {
    case RestProblem::kNoAccelerometer:
      return "no-accelerometer";
    case RestProblem::kNoGyroscope:
      return "no-gyroscope";
    case RestProblem::kNoTimes:
      return "no-times";
    case RestProblem::kTooLittle:
      return "too-little-rest";
    case RestProblem::kNone:
      break;
  }
  return "";
}

const char* reason_of(const SyncReport& report) {
  switch (report.problem) {
    case SyncProblem::kTooFewRecordings:
      return "too-few";
    case SyncProblem::kRadioSettings:
      return !report.radio_channels_agree ? "different-radio-channels"
             : report.masters == 0        ? "no-master"
                                          : "several-masters";
    case SyncProblem::kNoRadioTimes:
      return "no-radio-data";
    case SyncProblem::kNoCommonChannel:
      return "no-common-channel";
    case SyncProblem::kNoSamples:
      return "no-samples";
    case SyncProblem::kNone:
    case SyncProblem::kNullRecording:
    case SyncProblem::kStopped:
      break;
  }
  return "";
}

const char* reason_of(const Outcome& outcome) {
  switch (outcome.problem) {
    case Problem::kTooShort:
      return "too-short";
    case Problem::kNoHeader:
      return "no-header";
    case Problem::kOrientation:
      return reason_of(outcome.orientation);
    case Problem::kNoRest:
      return reason_of(outcome.rest);
    case Problem::kSynchronisation:
      return reason_of(outcome.synchronisation);
    default:
      return "";
  }
}

}  // namespace

const char* stage_name(Stage stage) {
  switch (stage) {
    case Stage::kWaiting:
      break;
    case Stage::kDecoding:
      return "decode";
    case Stage::kOrientation:
      return "orientation";
    case Stage::kWriting:
      return "write";
    case Stage::kSynchronising:
      return "synchronise";
    case Stage::kLevels:
      return "levels";
  }
  return "";
}

Failure failure_of(const Outcome& outcome) {
  Failure failure;
  failure.code = code_of(outcome.problem);
  failure.reason = reason_of(outcome);
  failure.stage = stage_name(outcome.stage);
  failure.message = outcome.failure ? outcome.failure.message() : outcome.message;
  failure.system_name = error_name(outcome.failure);
  failure.recording = static_cast<int>(outcome.recording);
  return failure;
}

}  // namespace vortena::operations
