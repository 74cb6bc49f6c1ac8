// Arguments are taken on the environment's thread; what the job needs of them it owns.
#include "bindings-napi/operations.h"

#include <exception>
#include <string>
#include <utility>

#include "bindings-napi/failures.h"
#include "bindings-napi/job.h"
#include "bindings-napi/values.h"
#include "reader/configuration_json.h"
#include "reader/conversion.h"
#include "reader/json_answers.h"
#include "reader/json_object.h"

namespace vortena::napi {
namespace {

GyroscopeOffset take_offset(Arguments& arguments) {
  const std::string source = arguments.text();
  GyroscopeOffset offset;
  offset.source = source == "rest"    ? GyroscopeOffset::Source::kRest
                  : source == "given" ? GyroscopeOffset::Source::kGiven
                                      : GyroscopeOffset::Source::kNone;
  for (double& axis : offset.deg_s) {
    axis = arguments.number();
  }
  return offset;
}

/// The frame of every operation. `prepare` takes the arguments behind the first two and returns the work.
template <typename Prepare>
napi_value run(napi_env env, napi_callback_info call, Prepare prepare) {
  try {
    Arguments arguments(env, call);
    const napi_value control = arguments.value();
    const napi_value callback = arguments.value();
    Work work = prepare(arguments);
    if (arguments.good()) {
      start_job(env, control, callback, std::move(work));
    }
  } catch (const std::exception& error) {
    napi_throw_error(env, "ERR_NO_MEMORY", error.what());
  }
  return nullptr;
}

Answer answer_of(const Outcome& outcome) {
  Answer answer;
  answer.failure = failure_of(outcome);
  return answer;
}

Answer answer_of(const Conversion& conversion) {
  Answer answer = answer_of(conversion.outcome);
  if (conversion.outcome.good()) {
    JsonObject json;
    json.number("rows", conversion.rows);
    json.number("bytes", conversion.bytes);
    json.member("summary", _generate_read_answer_JSON(conversion.config));
    json.member("report", quality_report_json(conversion.report));
    answer.json = json.close();
  }
  return answer;
}

}  // namespace

napi_value convert(napi_env env, napi_callback_info call) {
  return run(env, call, [](Arguments& arguments) -> Work {
    std::string path = arguments.text();
    std::string csv_path = arguments.text();
    ConversionOptions options;
    options.sync = arguments.truth();
    options.second_thread = arguments.truth();
    options.gyroscope_offset = take_offset(arguments);
    return [path = std::move(path), csv_path = std::move(csv_path), options](Watch* watch) mutable {
      options.watch = watch;
      return answer_of(convert_recording(path.c_str(), csv_path.c_str(), options));
    };
  });
}

}  // namespace vortena::napi
