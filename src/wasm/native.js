// What the native entry for promises has, over WebAssembly: each job is a worker thread with an instance of its own.
'use strict';

const path = require('node:path');
const { Worker } = require('node:worker_threads');

const { compiledModule } = require('./compiled.js');
const { modulePath } = require('./disk-files.js');

const STOP = 0;
const PLACES = 4;
const LONGEST_WAIT_MS = 250;
/** Each with how many of its first values are paths, or lists of them. */
const OPERATIONS = {
  convert: 2,
  readSamples: 1,
  inspect: 1,
  synchronise: 2,
  levels: 1,
  readConfig: 1,
  writeConfig: 1,
  checkPlace: 1,
  publish: 2,
};

compiledModule(); // what keeps it from running comes out when this is loaded

const running = new Set();

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

const sharedNumbers = (count) => new Int32Array(new SharedArrayBuffer(count * Int32Array.BYTES_PER_ELEMENT));

function startJob(name, callback, ...values) {
  const [control, ended] = [sharedNumbers(PLACES), sharedNumbers(1)];
  const worker = startWorker({ module: compiledModule(), name, values, control, ended });
  const job = { control, ended };
  const end = (failure, json, buffers) => {
    if (running.delete(job)) {
      callback(failure, json, buffers);
    }
  };
  running.add(job);
  worker.on('message', ({ failure, json, buffers }) => end(failure, json, buffers));
  worker.on('error', (error) => end(failureOfWorker(error)));
  worker.on('exit', () => end({ code: 'ERR_INTERNAL', message: 'its thread ended' }));
  return job;
}

const modulePaths = (value) => (Array.isArray(value) ? value.map(modulePath) : modulePath(value));

for (const [name, pathCount] of Object.entries(OPERATIONS)) {
  exports[name] = (callback, ...values) => {
    const paths = values.slice(0, pathCount).map(modulePaths);
    return startJob(name, callback, ...paths, ...values.slice(pathCount));
  };
}

exports.stopJob = ({ control }) => Atomics.store(control, STOP, 1);

exports.jobProgress = ({ control }) => Array.from(control.subarray(1));

/** The buffers come with the answer. */
exports.collect = (buffers, done) => done(undefined, buffers);

/** Tells all jobs to stop and waits until their files are gone, but not for long. */
exports.endJobs = () => {
  const deadline = performance.now() + LONGEST_WAIT_MS;
  running.forEach(exports.stopJob);
  for (const { ended } of running) {
    Atomics.wait(ended, 0, 0, Math.max(0, deadline - performance.now()));
  }
};
