// The second native entry, on Node-API alone: one binary serves all releases of Node.js that know version 8 of it.
#include <node_api.h>

#include <new>

#include "bindings-napi/job.h"
#include "bindings-napi/operations.h"

namespace {

constexpr napi_property_attributes kPlain = napi_default_jsproperty;

constexpr napi_property_descriptor method(const char* name, napi_callback callback) {
  return {name, nullptr, callback, nullptr, nullptr, nullptr, kPlain, nullptr};
}

}  // namespace

NAPI_MODULE_INIT() {
  try {
    vortena::napi::prepare_environment(env);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
  const napi_property_descriptor methods[] = {
      method("endJobs", vortena::napi::end_jobs),         method("convert", vortena::napi::convert),
      method("readSamples", vortena::napi::read_samples), method("inspect", vortena::napi::inspect),
      method("synchronise", vortena::napi::synchronise),  method("readConfig", vortena::napi::read_config),
      method("writeConfig", vortena::napi::write_config), method("levels", vortena::napi::levels),
  };
  napi_define_properties(env, exports, std::size(methods), methods);
  return exports;
}
