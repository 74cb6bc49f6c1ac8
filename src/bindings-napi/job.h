// Jobs: operations on threads of their own, so that neither the caller's thread nor the runtime's pool waits for them.
#pragma once

#include <node_api.h>

#include "operations/answer.h"

namespace vortena::napi {

/// Prepares an environment for its jobs: when it ends, they are told to stop and waited for.
void prepare_environment(napi_env env);

/// Tells the jobs of an environment to stop and waits for them; the function `endJobs` of the module. A process that
/// calls process.exit() ends no environment, and its jobs would leave parts of files behind.
napi_value end_jobs(napi_env env, napi_callback_info call);

/// Runs `work` on a thread of its own, then calls `callback(failure | undefined, json, buffers)` on the environment's
/// thread. `control` is an Int32Array of four elements, the job's Watch: it belongs to the job until the callback is
/// called. False, with an exception on its way to JavaScript, when the job cannot be started.
bool start_job(napi_env env, napi_value control, napi_value callback, operations::Work work);

}  // namespace vortena::napi
