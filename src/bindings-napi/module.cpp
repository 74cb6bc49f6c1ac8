// The second native entry, on Node-API alone: one binary serves all releases of Node.js that know version 8 of it.
#include <node_api.h>

#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "bindings-napi/job.h"
#include "bindings-napi/values.h"
#include "bindings-shared/method_arguments.h"
#include "bindings-shared/methods.h"
#include "bindings-shared/operations.h"

namespace {

using vortena::operations::Answer;
using vortena::operations::Operation;

constexpr napi_property_attributes kPlain = napi_default_jsproperty;

/// Every operation is called as (callback, ...arguments) and starts a job, see start_job(). Its function was made with
/// the operation as data.
napi_value start(napi_env env, napi_callback_info call) {
  try {
    vortena::napi::NapiArguments arguments(env, call);
    const napi_value callback = arguments.value();
    vortena::operations::Work work = static_cast<const Operation*>(arguments.data())->prepare(arguments);
    if (arguments.good()) {
      return vortena::napi::start_job(env, callback, std::move(work));
    }
  } catch (const std::exception& error) {
    napi_throw_error(env, "ERR_NO_MEMORY", error.what());
  }
  return nullptr;
}

/// `callMethod(name, ...arguments)`: runs one of the five methods on the caller's thread and answers its text. Texts
/// are strings or their bytes.
napi_value call_method(napi_env env, napi_callback_info call) {
  const auto run = [=](vortena::Watch*) {
    vortena::napi::NapiArguments arguments(env, call);
    const std::string name = arguments.text();
    return vortena::operations::call_method(name, arguments);
  };
  const Answer answer = vortena::operations::run_guarded(run, nullptr);
  if (!answer.failure.code.empty()) {
    napi_throw_error(env, answer.failure.code.c_str(), answer.failure.message.c_str());
    return nullptr;
  }
  return vortena::napi::make_text(env, answer.json);
}

/// `requireMemory(units)`: throws when the system refuses what a string of so many UTF-16 units takes as UTF-8.
napi_value require_memory(napi_env env, napi_callback_info call) {
  try {
    vortena::napi::NapiArguments arguments(env, call);
    vortena::require_memory_for_text(static_cast<std::size_t>(arguments.number()));
  } catch (const std::bad_alloc&) {
    napi_throw_error(env, "ERR_NO_MEMORY", "");
  }
  return nullptr;
}

napi_property_descriptor method(const char* name, napi_callback callback, const Operation* operation = nullptr) {
  return {name, nullptr, callback, nullptr, nullptr, nullptr, kPlain, const_cast<Operation*>(operation)};
}

}  // namespace

NAPI_MODULE_INIT() {
  try {
    vortena::napi::prepare_environment(env);
    std::vector<napi_property_descriptor> methods{method("endJobs", vortena::napi::end_jobs),
                                                  method("stopJob", vortena::napi::stop_job),
                                                  method("jobProgress", vortena::napi::job_progress),
                                                  method("arraySizes", vortena::napi::array_sizes),
                                                  method("takeArrays", vortena::napi::take_arrays),
                                                  method("callMethod", call_method),
                                                  method("requireMemory", require_memory)};
    for (const Operation& operation : vortena::operations::all_operations()) {
      methods.push_back(method(operation.name, start, &operation));
    }
    napi_define_properties(env, exports, methods.size(), methods.data());
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return exports;
}
