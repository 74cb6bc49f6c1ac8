// The operations on recordings in memory, over WebAssembly: the same code for Node.js, for pages and for their workers.
'use strict';

const { Instance } = require('./instance.js');
const { Listener } = require('./listener.js');
const { MemoryFiles, WrittenFile } = require('./memory-files.js');
const { check, optionsTaker } = require('../requests/arguments.js');
const { VortenaError, vortenaError } = require('../requests/errors.js');
const { configAnswer, levelsAnswer, samplesAnswer, setAnswer, valuesOf } = require('../requests/requests.js');

const optionsOf = optionsTaker('wasm');

/** Between two pieces of a CSV, other tasks of the thread get their turn this often. */
const BREATH_MS = 50;

/** Where a CSV goes that is written as a file. */
const CSV_FILE = '/out.csv';

const decoder = new TextDecoder();

function breathe() {
  return new Promise((resolve) => {
    setTimeout(resolve);
  });
}

/** From what users hand in to a module. */
async function compile(given) {
  const source = await given;
  if (source instanceof WebAssembly.Module) {
    return source;
  }
  const response = typeof source === 'string' || source instanceof URL ? await fetch(source) : source;
  if (typeof Response === 'undefined' || !(response instanceof Response)) {
    return WebAssembly.compile(response);
  }
  if (!response.ok) {
    throw new Error(`vortena.wasm cannot be fetched: ${response.status} ${response.statusText}`);
  }
  return WebAssembly.compile(await response.arrayBuffer());
}

/** The module answers with plain objects; what else is thrown is a fault, or a lack of memory. */
function asError(failure, names) {
  const isPlain = typeof failure?.code === 'string' && !(failure instanceof Error);
  const code = failure instanceof RangeError ? 'ERR_NO_MEMORY' : 'ERR_INTERNAL';
  const known = isPlain ? failure : { code, message: failure?.message };
  return vortenaError(known, names[known.recording] ?? names[0]);
}

function recordingList(list) {
  check(Array.isArray(list), 'recordings is not an array');
  return list;
}

/** A page may have room for a file's pieces, and none for the file. */
function whole(written, names) {
  try {
    return written.take();
  } catch (failure) {
    throw asError(failure, names);
  }
}

/** `provide()` gives what initialise() takes, for those who never call it. */
function makeReader(provide) {
  let compiled;

  /** Readies the module: a WebAssembly.Module, its bytes, a Response, a URL, or a promise of one of these. */
  async function initialise(source = provide()) {
    const attempt = compile(source);
    compiled = attempt;
    try {
      await attempt;
    } catch (error) {
      compiled = compiled === attempt ? undefined : compiled; // the next call tries again
      throw error;
    }
  }

  /** An instance of its own for each call: its memory, which never shrinks, goes with it. */
  async function open(recordings, options) {
    const files = new MemoryFiles();
    const paths = recordings.map((recording, k) => `/in/${k}.bin`);
    recordings.forEach((recording, k) => files.add(paths[k], recording));
    options.signal?.throwIfAborted();
    if (!compiled) {
      await initialise();
    }
    const module = await compiled;
    const names = recordings.map((recording, k) => recording.name ?? (recordings.length > 1 ? `recordings[${k}]` : 'recording'));
    const listener = new Listener(options);
    const instance = new Instance(files, listener.look);
    try {
      instance.attach(await WebAssembly.instantiate(module, instance.importsFor(module)));
    } catch (failure) {
      throw asError(failure, names);
    }
    return { instance, files, paths, names, listener };
  }

  function run(opened, ...values) {
    return runBy('run', opened, ...values);
  }

  /** `way` is how the instance, which was opened for this, hands out arrays. */
  async function runBy(way, { instance, listener, names }, ...values) {
    try {
      const { json, buffers } = instance[way](...values);
      return { result: JSON.parse(decoder.decode(json)), buffers };
    } catch (failure) {
      listener.throwIfStopped();
      throw asError(failure, names);
    }
  }

  async function* csvPieces(recording, given = {}) {
    const options = optionsOf('csvPieces', given);
    yield* piecesOf(await open([recording], options), valuesOf.csvPieces(options));
  }

  async function* piecesOf({ instance, paths, names, listener }, values) {
    let breath = performance.now();
    const tell = (fraction) => listener.tell('write', fraction);
    try {
      for (const piece of instance.csvPieces([paths[0], ...values], tell)) {
        yield piece;
        if (performance.now() - breath >= BREATH_MS) {
          await breathe();
          breath = performance.now();
        }
        listener.throwIfStopped();
      }
    } catch (failure) {
      listener.throwIfStopped();
      throw asError(failure, names);
    }
  }

  async function convert(recording, given = {}) {
    const options = optionsOf('convert', given);
    const opened = await open([recording], options);
    if (options.orientation === 'smoothed') {
      const values = valuesOf.convert({ ...options, fsync: false, overwrite: true, keepReadable: false, secondThread: false });
      await run(opened, 'convert', opened.paths[0], CSV_FILE, ...values);
      return whole(opened.files.take(CSV_FILE), opened.names);
    }
    const csv = new WrittenFile();
    for await (const piece of piecesOf(opened, valuesOf.csvPieces(options))) {
      csv.append(piece);
    }
    return whole(csv, opened.names);
  }

  async function readSamples(recording, given = {}) {
    const options = optionsOf('readSamples', given);
    const way = options.transferable ? 'run' : 'runLast';
    const opened = await open([recording], options);
    const answer = await runBy(way, opened, 'readSamples', opened.paths[0], ...valuesOf.readSamples(options));
    return samplesAnswer(answer, options);
  }

  async function inspect(recording, given = {}) {
    const opened = await open([recording], optionsOf('inspect', given));
    return (await run(opened, 'inspect', opened.paths[0])).result;
  }

  async function readConfig(recording, given = {}) {
    const options = optionsOf('readConfig', given);
    const opened = await open([recording], options);
    return configAnswer(await run(opened, 'readConfig', opened.paths[0]), options);
  }

  async function levels(recordings, given = {}) {
    const options = optionsOf('levels', given);
    const opened = await open(recordingList(recordings), options);
    return levelsAnswer(await run(opened, 'levels', opened.paths, ...valuesOf.levels(options)));
  }

  async function synchronise(recordings, given = {}) {
    const options = optionsOf('synchronise', given, recordingList(recordings).length);
    const opened = await open(recordings, options);
    const { result } = await run(opened, 'synchronise', opened.paths, '/out', ...valuesOf.synchronise(options));
    const { clock, units } = setAnswer(result, opened.names);
    const outputs = units.map(({ output }) => whole(opened.files.take(output), opened.names));
    return { outputs, clock, units: units.map(({ output, ...unit }) => unit) };
  }

  return { VortenaError, initialise, convert, csvPieces, readSamples, inspect, readConfig, levels, synchronise };
}

module.exports = { makeReader };
