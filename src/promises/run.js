// Operations of the backend, run as jobs; their failures become errors about one of the files at hand.
'use strict';

const os = require('node:os');

const { loadOperations } = require('../loading.js');
const { vortenaError } = require('../requests/errors.js');
const { JobFailure, runJob } = require('./job-queue.js');
const { nativeBackend } = require('./native-backend.js');

const { binding: native, ...backend } = loadOperations();
const backendOfJobs = native.collect ? native : nativeBackend(native);

// What ends a process from JavaScript ends no environment: jobs would be cut off, and leave parts of files.
process.on('exit', () => native.endJobs());

const ABOUT_OUTPUTS = new Set([
  'ERR_WRITE',
  'ERR_OUTPUT_IS_RECORDING',
  'ERR_OUTPUT_CLASH',
  'ERR_OUTPUT_EXISTS',
  'ERR_CONFIG_TEXT',
]);

/** `start(done, alone)` calls an operation of `native`. */
async function run(start, options, { recordings = [], outputs = [], folder }) {
  try {
    return await runJob(backendOfJobs, start, options);
  } catch (error) {
    if (!(error instanceof JobFailure)) {
      throw error;
    }
    const { failure } = error;
    const paths = ABOUT_OUTPUTS.has(failure.code) ? outputs : recordings;
    const systemError = os.constants.errno[failure.systemName];
    throw vortenaError({ ...failure, systemError }, paths[failure.recording] ?? paths[0] ?? outputs[0] ?? folder);
  }
}

module.exports = { backend, native, run };
