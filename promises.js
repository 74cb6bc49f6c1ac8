// The operations as promises; each runs on a thread of its own.
'use strict';

const { loadMethods } = require('./src/loading.js');
const { check, optionsTaker } = require('./src/requests/arguments.js');
const { configurationText } = require('./src/requests/configuration.js');
const { VortenaError } = require('./src/requests/errors.js');
const { filePath, pathList } = require('./src/promises/paths.js');
const { configAnswer, levelsAnswer, samplesAnswer, setAnswer, valuesOf } = require('./src/requests/requests.js');
const { backend: operations, native, run } = require('./src/promises/run.js');

const optionsOf = optionsTaker('promises');

/** As the native entry names CSVs; for messages. */
function csvName(recording) {
  return `${recording
    .split(/[\\/]/)
    .at(-1)
    .replace(/\.[^.]*$/, '')}.csv`;
}

async function convert(recording, csv, given = {}) {
  const from = filePath(recording, 'path');
  const to = filePath(csv, 'csvPath');
  const options = optionsOf('convert', given);
  const values = (alone) => valuesOf.convert({ ...options, secondThread: alone && options.secondThread });
  const { result } = await run((done, alone) => native.convert(done, from, to, ...values(alone)), options, {
    recordings: [from],
    outputs: [to],
  });
  return result;
}

async function readSamples(recording, given = {}) {
  const from = filePath(recording, 'path');
  const options = optionsOf('readSamples', given);
  const values = valuesOf.readSamples(options);
  const answer = await run((done) => native.readSamples(done, from, ...values), options, { recordings: [from] });
  return samplesAnswer(answer, options);
}

async function inspect(recording, given = {}) {
  const from = filePath(recording, 'path');
  const options = optionsOf('inspect', given);
  const { result } = await run((done) => native.inspect(done, from), options, { recordings: [from] });
  return result;
}

/** For viewers: levels of minimum and maximum of each channel, and the samples where they are few. */
async function levels(recordings, given = {}) {
  const paths = pathList(recordings);
  const options = optionsOf('levels', given);
  const values = valuesOf.levels(options);
  return levelsAnswer(await run((done) => native.levels(done, paths, ...values), options, { recordings: paths }));
}

async function synchronise(recordings, outputFolder, given = {}) {
  const paths = pathList(recordings);
  const folder = filePath(outputFolder, 'outputFolder');
  const options = optionsOf('synchronise', given, paths.length);
  const values = valuesOf.synchronise(options);
  const { result } = await run((done) => native.synchronise(done, paths, folder, ...values), options, {
    recordings: paths,
    outputs: paths.map((file) => `${folder}/${csvName(file)}`),
    folder,
  });
  return setAnswer(result, paths);
}

async function readConfig(recording, given = {}) {
  const from = filePath(recording, 'path');
  const options = optionsOf('readConfig', given);
  return configAnswer(await run((done) => native.readConfig(done, from), options, { recordings: [from] }), options);
}

async function writeConfig(file, config, given = {}) {
  const to = filePath(file, 'path');
  const options = optionsOf('writeConfig', given);
  const isObject = typeof config === 'object' && config !== null;
  check(isObject || typeof config === 'string', 'config is neither a string nor an object');
  const text = isObject ? configurationText(config, to) : config;
  await run((done) => native.writeConfig(done, to, text, ...valuesOf.writeConfig(options)), options, { outputs: [to] });
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
