// The five methods over Node-API, for a Node.js that addon.node was not built for.
#pragma once

#include <node_api.h>

namespace vortena::napi {

/// Gives `exports` the member `methods`, an object of read, readAndSync2, readConfig, writeConfig and
/// readConfigDeviceId. They behave like those of addon.node in all that JavaScript can see.
void define_methods(napi_env env, napi_value exports);

}  // namespace vortena::napi
