// The second native entry, on Node-API alone: one binary serves all releases of Node.js that know version 8 of it.
#include <node_api.h>

#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "bindings-napi/job.h"
#include "bindings-napi/methods.h"
#include "bindings-napi/values.h"
#include "bindings-shared/operations.h"

namespace {

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

napi_property_descriptor method(const char* name, napi_callback callback, const Operation* operation = nullptr) {
  return {name, nullptr, callback, nullptr, nullptr, nullptr, kPlain, const_cast<Operation*>(operation)};
}

}  // namespace

NAPI_MODULE_INIT() {
  try {
    vortena::napi::prepare_environment(env);
    std::vector<napi_property_descriptor> methods{
        method("endJobs", vortena::napi::end_jobs), method("stopJob", vortena::napi::stop_job),
        method("jobProgress", vortena::napi::job_progress), method("arraySizes", vortena::napi::array_sizes),
        method("takeArrays", vortena::napi::take_arrays)};
    for (const Operation& operation : vortena::operations::all_operations()) {
      methods.push_back(method(operation.name, start, &operation));
    }
    napi_define_properties(env, exports, methods.size(), methods.data());
    vortena::napi::define_methods(env, exports);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  return exports;
}
