// The operations as promises; each runs on a thread of its own.
'use strict';

const util = require('node:util');

const { loadMethods, loadOperations } = require('./src/loading.js');
const args = require('./src/promises/arguments.js');
const { configurationObject, configurationText } = require('./src/promises/configuration.js');
const { VortenaError, vortenaError } = require('./src/promises/errors.js');
const { runJob } = require('./src/promises/job-queue.js');
const { filePath, pathList } = require('./src/promises/paths.js');
const { levelsRequest, samplesRequest, setAnswer } = require('./src/promises/requests.js');

const { binding: native, ...operations } = loadOperations();

// What ends a process from JavaScript ends no environment: jobs would be cut off, and leave parts of files.
process.on('exit', () => native.endJobs());

const ABOUT_OUTPUTS = new Set(['ERR_WRITE', 'ERR_OUTPUT_IS_RECORDING', 'ERR_OUTPUT_CLASH', 'ERR_CONFIG_TEXT']);

/** As the native entry names CSVs; for messages. */
function csvName(recording) {
  return `${recording.split(/[\\/]/).at(-1).replace(/\.[^.]*$/, '')}.csv`;
}

/** Failures of the native entry are plain objects, but for that of starting a thread. */
async function run(start, options, { recordings = [], outputs = [], folder }) {
  try {
    return await runJob(start, options, { sharedControl: native.sharedControl });
  } catch (error) {
    if (error?.systemError === undefined && error?.code !== 'ERR_NO_MEMORY') {
      throw error;
    }
    const paths = ABOUT_OUTPUTS.has(error.code) ? outputs : recordings;
    const systemName = error.systemError ? util.getSystemErrorName(-error.systemError) : undefined;
    throw vortenaError({ ...error, systemName }, paths[error.recording] ?? paths[0] ?? outputs[0] ?? folder);
  }
}

async function convert(recording, csv, options = {}) {
  const from = filePath(recording, 'path');
  const to = filePath(csv, 'csvPath');
  args.checkOptions(options);
  const fsync = args.flag(options, 'fsync', false);
  const secondThread = args.flag(options, 'secondThread', true);
  const offset = args.gyroscopeOffset(options);
  const { result } = await run(
    (control, done, alone) => native.convert(control, done, from, to, fsync, alone && secondThread, ...offset),
    options,
    { recordings: [from], outputs: [to] },
  );
  return result;
}

async function readSamples(recording, options = {}) {
  const from = filePath(recording, 'path');
  args.checkOptions(options);
  const { values, answer } = samplesRequest(options);
  return answer(
    await run((control, done) => native.readSamples(control, done, from, ...values), options, { recordings: [from] }),
  );
}

async function inspect(recording, options = {}) {
  const from = filePath(recording, 'path');
  args.checkOptions(options);
  const { result } = await run((control, done) => native.inspect(control, done, from), options, { recordings: [from] });
  return result;
}

/** For viewers: levels of minimum and maximum of each channel, and the samples where they are few. */
async function levels(recordings, options = {}) {
  const paths = pathList(recordings);
  args.checkOptions(options);
  const { values, answer } = levelsRequest(options);
  return answer(
    await run((control, done) => native.levels(control, done, paths, ...values), options, { recordings: paths }),
  );
}

async function synchronise(recordings, outputFolder, options = {}) {
  const paths = pathList(recordings);
  const folder = filePath(outputFolder, 'outputFolder');
  args.checkOptions(options);
  const fsync = args.flag(options, 'fsync', false);
  const offsets = args.gyroscopeOffsets(options, paths.length);
  const { result } = await run(
    (control, done) => native.synchronise(control, done, paths, folder, fsync, ...offsets),
    options,
    { recordings: paths, outputs: paths.map((file) => `${folder}/${csvName(file)}`), folder },
  );
  return setAnswer(result, paths);
}

async function readConfig(recording, options = {}) {
  const from = filePath(recording, 'path');
  args.checkOptions(options);
  const formatter = args.formatter(options);
  const start = (control, done) => native.readConfig(control, done, from);
  const { result } = await run(start, options, { recordings: [from] });
  return configurationObject(result, formatter);
}

async function writeConfig(file, config, options = {}) {
  const to = filePath(file, 'path');
  args.checkOptions(options);
  const isObject = typeof config === 'object' && config !== null;
  args.check(isObject || typeof config === 'string', 'config is neither a string nor an object');
  const fsync = args.flag(options, 'fsync', false);
  const text = isObject ? configurationText(config, to) : config;
  await run((control, done) => native.writeConfig(control, done, to, text, fsync), options, { outputs: [to] });
}

/** What the five methods and these promises run on. */
function backend() {
  const { kind, file } = loadMethods();
  return { methods: { kind, file }, promises: { ...operations } };
}

// One by one, so that ES modules can import each by name.
exports.VortenaError = VortenaError;
exports.convert = convert;
exports.readSamples = readSamples;
exports.inspect = inspect;
exports.levels = levels;
exports.synchronise = synchronise;
exports.readConfig = readConfig;
exports.writeConfig = writeConfig;
exports.backend = backend;
