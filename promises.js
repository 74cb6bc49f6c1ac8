// The operations as promises; each runs on a thread of its own.
'use strict';

const { loadMethods } = require('./src/loading.js');
const args = require('./src/requests/arguments.js');
const { configurationObject, configurationText } = require('./src/requests/configuration.js');
const { VortenaError } = require('./src/requests/errors.js');
const { filePath, pathList } = require('./src/promises/paths.js');
const { levelsRequest, samplesRequest, setAnswer } = require('./src/requests/requests.js');
const { backend: operations, native, run } = require('./src/promises/run.js');

/** As the native entry names CSVs; for messages. */
function csvName(recording) {
  return `${recording
    .split(/[\\/]/)
    .at(-1)
    .replace(/\.[^.]*$/, '')}.csv`;
}

async function convert(recording, csv, options = {}) {
  const from = filePath(recording, 'path');
  const to = filePath(csv, 'csvPath');
  args.checkOptions(options);
  const flags = [
    args.flag(options, 'fsync', false),
    args.flag(options, 'overwrite', true),
    args.flag(options, 'keepReadable', false),
  ];
  const secondThread = args.flag(options, 'secondThread', true);
  const method = args.orientationMethod(options);
  const offset = args.gyroscopeOffset(options);
  const { result } = await run(
    (done, alone) => native.convert(done, from, to, ...flags, alone && secondThread, method, ...offset),
    options,
    { recordings: [from], outputs: [to] },
  );
  return result;
}

async function readSamples(recording, options = {}) {
  const from = filePath(recording, 'path');
  args.checkOptions(options);
  const { values, answer } = samplesRequest(options);
  return answer(await run((done) => native.readSamples(done, from, ...values), options, { recordings: [from] }));
}

async function inspect(recording, options = {}) {
  const from = filePath(recording, 'path');
  args.checkOptions(options);
  const { result } = await run((done) => native.inspect(done, from), options, { recordings: [from] });
  return result;
}

/** For viewers: levels of minimum and maximum of each channel, and the samples where they are few. */
async function levels(recordings, options = {}) {
  const paths = pathList(recordings);
  args.checkOptions(options);
  const { values, answer } = levelsRequest(options);
  return answer(await run((done) => native.levels(done, paths, ...values), options, { recordings: paths }));
}

async function synchronise(recordings, outputFolder, options = {}) {
  const paths = pathList(recordings);
  const folder = filePath(outputFolder, 'outputFolder');
  args.checkOptions(options);
  const flags = [args.flag(options, 'fsync', false), args.flag(options, 'overwrite', true)];
  const method = args.orientationMethod(options);
  const offsets = args.gyroscopeOffsets(options, paths.length);
  const { result } = await run((done) => native.synchronise(done, paths, folder, ...flags, method, ...offsets), options, {
    recordings: paths,
    outputs: paths.map((file) => `${folder}/${csvName(file)}`),
    folder,
  });
  return setAnswer(result, paths);
}

async function readConfig(recording, options = {}) {
  const from = filePath(recording, 'path');
  args.checkOptions(options);
  const formatter = args.formatter(options);
  const start = (done) => native.readConfig(done, from);
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
  await run((done) => native.writeConfig(done, to, text, fsync), options, { outputs: [to] });
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
