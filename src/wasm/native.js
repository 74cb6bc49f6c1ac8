// What the native entry for promises has, over WebAssembly: each job is a worker thread with an instance of its own.
'use strict';

const os = require('node:os');
const path = require('node:path');
const { Worker } = require('node:worker_threads');

const { compiledModule } = require('./compiled.js');
const { modulePath } = require('./disk-files.js');

const STOP = 0;
const LONGEST_WAIT_MS = 10_000;
/** Each with how many of its first values are paths, or lists of them. */
const OPERATIONS = { convert: 2, readSamples: 1, inspect: 1, synchronise: 2, levels: 1, readConfig: 1, writeConfig: 1 };

compiledModule();  // what keeps it from running comes out when this is loaded

const running = new Set();

/** Numbers of errors are the system's here, as those of the native entry. */
function failureOf({ systemName, ...failure }) {
  return { recording: -1, ...failure, systemError: systemName ? (os.constants.errno[systemName] ?? os.constants.errno.EIO) : 0 };
}

function failureOfWorker(error) {
  const outOfMemory = error.code === 'ERR_WORKER_OUT_OF_MEMORY' || error instanceof RangeError;
  return { code: outOfMemory ? 'ERR_NO_MEMORY' : 'ERR_INTERNAL', message: error.message };
}

function startWorker(workerData) {
  try {
    return new Worker(path.join(__dirname, 'job-worker.js'), { workerData });
  } catch (cause) {
    if (cause.code !== 'ERR_WORKER_INIT_FAILED') {
      throw cause;
    }
    throw Object.assign(new Error('No thread could be started', { cause }), { code: 'ERR_NO_MEMORY' });
  }
}

function startJob(name, control, callback, ...values) {
  const ended = new Int32Array(new SharedArrayBuffer(Int32Array.BYTES_PER_ELEMENT));
  const worker = startWorker({ module: compiledModule(), name, values, control, ended });
  const job = { control, ended };
  const end = (failure, json, buffers) => {
    if (running.delete(job)) {
      callback(failure && failureOf(failure), json, buffers);
    }
  };
  running.add(job);
  worker.on('message', ({ failure, json, buffers }) => end(failure, json, buffers));
  worker.on('error', (error) => end(failureOfWorker(error)));
  worker.on('exit', () => end({ code: 'ERR_INTERNAL', message: 'its thread ended' }));
}

const modulePaths = (value) => (Array.isArray(value) ? value.map(modulePath) : modulePath(value));

for (const [name, pathCount] of Object.entries(OPERATIONS)) {
  exports[name] = (control, callback, ...values) => {
    const paths = values.slice(0, pathCount).map(modulePaths);
    startJob(name, control, callback, ...paths, ...values.slice(pathCount));
  };
}

/** Tells all jobs to stop and waits until their files are gone. */
exports.endJobs = () => {
  for (const { control } of running) {
    Atomics.store(control, STOP, 1);
  }
  for (const { ended } of running) {
    Atomics.wait(ended, 0, 0, LONGEST_WAIT_MS);
  }
};

/** Other threads see the numbers of a job only in memory that is shared. */
exports.sharedControl = true;
