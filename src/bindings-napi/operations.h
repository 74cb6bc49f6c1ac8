// The operations of the core as functions of the module: (control, callback, ...arguments), see start_job().
#pragma once

#include <node_api.h>

namespace vortena::napi {

/// (…, path, csvPath, fsync, secondThread, offsetSource, x, y, z): answers {rows, bytes, summary, report, offset}.
napi_value convert(napi_env env, napi_callback_info call);

}  // namespace vortena::napi
