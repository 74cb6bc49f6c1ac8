// The thread of one job.
'use strict';

const { parentPort, workerData } = require('node:worker_threads');

const { instantiate } = require('./compiled.js');
const { diskFiles } = require('./disk-files.js');

const { module: compiled, name, values, control, ended } = workerData;
const STOP = 0;

/** The numbers of the operation out to the job's own, and the wish to stop in. */
function exchange(watch) {
  for (let place = 1; place < control.length; place += 1) {
    Atomics.store(control, place, watch[place]);
  }
  watch[STOP] = Atomics.load(control, STOP);
}

/** A failure of the module, or of its instance: one that has no room, or cannot grow, is a RangeError. */
function failureOf(failure) {
  const code = failure instanceof RangeError ? 'ERR_NO_MEMORY' : 'ERR_INTERNAL';
  return failure instanceof Error ? { code, message: failure.message } : failure;
}

function answer() {
  try {
    const instance = instantiate(diskFiles, exchange, compiled);
    const { json, buffers } = instance.run(name, ...values);
    return { json: new TextDecoder().decode(json), buffers };
  } catch (failure) {
    return { failure: failureOf(failure) };
  }
}

const result = answer();
Atomics.store(ended, 0, 1);
Atomics.notify(ended, 0);
parentPort.postMessage(result, result.buffers ?? []);
