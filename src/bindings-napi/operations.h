// The operations of the core as functions of the module. Each takes (control, callback, ...arguments) and starts a job,
// see start_job(). An offset is four arguments: 'none', 'given' or 'rest', then x, y and z in deg/s.
#pragma once

#include <node_api.h>

namespace vortena::napi {

/// (…, path, csvPath, fsync, secondThread, offset): answers {rows, bytes, summary, report}.
napi_value convert(napi_env env, napi_callback_info call);

/// (…, path, channels, orientation, orientationRequired, singlePrecision, offset): answers {config, report, channels}
/// with each of the channels as {key, samples, values, times}, the last two being places among the buffers. `channels`
/// has bit k set for the channel of key k.
napi_value read_samples(napi_env env, napi_callback_info call);

/// (…, path): answers the report.
napi_value inspect(napi_env env, napi_callback_info call);

/// (…, paths, folder, fsync, offsets): answers {source, start, duration, keys, units}, a unit being {output, rows,
/// bytes, shifts, summary, report}. `offsets` is empty or has four elements for each path.
napi_value synchronise(napi_env env, napi_callback_info call);

/// (…, paths, synchronised, mostBins, mostSamples): answers what levels_answer.h describes.
napi_value levels(napi_env env, napi_callback_info call);

/// (…, path): answers the header.
napi_value read_config(napi_env env, napi_callback_info call);

/// (…, path, text, fsync): answers null.
napi_value write_config(napi_env env, napi_callback_info call);

}  // namespace vortena::napi
