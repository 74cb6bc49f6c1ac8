// The operations as promises; each runs on a thread of its own.
'use strict';

const path = require('node:path');

const { checkOptions, filePath, flag, gyroscopeOffset } = require('./src/promises/arguments.js');
const { VortenaError, vortenaError } = require('./src/promises/errors.js');
const { runJob } = require('./src/promises/job-queue.js');

const native = loadBinding();

function loadBinding() {
  try {
    return require(path.join(__dirname, 'build', 'Release', 'vortena.node'));
  } catch (cause) {
    const error = new Error(
      `vortena-reader/promises is not built for ${process.platform}-${process.arch}. ` +
        'Run "npm rebuild vortena-reader", or "npm install" in a checkout.',
      { cause },
    );
    error.code = 'ERR_ADDON_NOT_BUILT';
    throw error;
  }
}

const ABOUT_OUTPUTS = new Set(['ERR_WRITE', 'ERR_OUTPUT_IS_RECORDING', 'ERR_OUTPUT_CLASH', 'ERR_CONFIG_TEXT']);

/** Failures of the native entry are plain objects, but for that of starting a thread. */
async function run(start, options, { recordings = [], outputs = [] }) {
  try {
    return await runJob(start, options);
  } catch (error) {
    if (error?.systemError === undefined && error?.code !== 'ERR_NO_MEMORY') {
      throw error;
    }
    const paths = ABOUT_OUTPUTS.has(error.code) ? outputs : recordings;
    throw vortenaError(error, paths[error.recording] ?? paths[0] ?? outputs[0]);
  }
}

async function convert(recording, csv, options = {}) {
  const from = filePath(recording, 'path');
  const to = filePath(csv, 'csvPath');
  checkOptions(options);
  const fsync = flag(options, 'fsync', false);
  const offset = gyroscopeOffset(options);
  const { result } = await run(
    (control, done, alone) => native.convert(control, done, from, to, fsync, alone, ...offset),
    options,
    { recordings: [from], outputs: [to] },
  );
  return result;
}

// One by one, so that ES modules can import each by name.
exports.VortenaError = VortenaError;
exports.convert = convert;
