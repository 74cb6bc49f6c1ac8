// Jobs: operations on threads of their own, so that neither the caller's thread nor the runtime's pool waits for them.
#pragma once

#include <node_api.h>

#include "bindings-shared/answer.h"

namespace vortena::napi {

/// Prepares an environment for its jobs: when it ends, they are told to stop and waited for, see end_jobs().
void prepare_environment(napi_env env);

/// Tells the jobs of an environment to stop and waits for them, but not for long: one that the system holds in a call
/// is left behind. The function `endJobs` of the module. A process that calls process.exit() ends no environment, and
/// its jobs would leave parts of files behind.
napi_value end_jobs(napi_env env, napi_callback_info call);

/// Runs `work` on a thread of its own, then calls `callback(failure | undefined, json, arrays | undefined)` on the
/// environment's thread. `arrays` keeps the answer's arrays, see array_sizes() and take_arrays(). Answers a handle for
/// stop_job() and job_progress(), or null, with an exception on its way to JavaScript, when the job cannot be started.
napi_value start_job(napi_env env, napi_value callback, operations::Work work);

/// `stopJob(job)`: tells a job to stop; its callback is called all the same.
napi_value stop_job(napi_env env, napi_callback_info call);

/// `jobProgress(job)`: [number of the stage, done, total].
napi_value job_progress(napi_env env, napi_callback_info call);

/// `arraySizes(arrays)`: their sizes in bytes.
napi_value array_sizes(napi_env env, napi_callback_info call);

/// `takeArrays(arrays, buffers, callback)`: moves the arrays into ArrayBuffers of their sizes, on a thread, and calls
/// back as start_job() does. Memory that JavaScript has made itself can be handed on to other threads; memory from
/// outside cannot.
napi_value take_arrays(napi_env env, napi_callback_info call);

}  // namespace vortena::napi
