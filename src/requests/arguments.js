// What users hand in, checked: wrong arguments are the only TypeErrors.
'use strict';

const { CHANNEL_NAMES } = require('./channels.js');
const { takeOptions } = require('./options.js');
const { zoneFormatter } = require('./wall-time.js');

function check(condition, sentence) {
  if (!condition) {
    throw new TypeError(sentence);
  }
}

const BOOLEAN = { test: (value) => typeof value === 'boolean', sentence: 'is not a boolean' };
const NO = { ...BOOLEAN, fallback: false };
const YES = { ...BOOLEAN, fallback: true };
const COUNT = { test: (value) => Number.isSafeInteger(value) && value >= 0, sentence: 'is not a whole number from 0 on' };

const isChannel = (name) => CHANNEL_NAMES.includes(name);

function isZone(name) {
  try {
    return typeof name === 'string' && zoneFormatter(name) !== undefined;
  } catch {
    return false;
  }
}

const isOffset = (value) => value === undefined || value === 'rest' || [value?.x, value?.y, value?.z].every(Number.isFinite);

/** As the backend takes it: where it comes from, and three numbers in deg/s. */
const offsetValues = (value) => (value?.x === undefined ? [value ?? 'none', 0, 0, 0] : ['given', value.x, value.y, value.z]);

/** `value` is one offset for all of `count` recordings, or a list. */
const offsetList = (value, count) => (Array.isArray(value) ? Array.from(value) : Array(count).fill(value));

/** The filter looks back alone; the smoother looks both ways, and estimates the offset itself. */
const METHODS = ['filter', 'smoothed'];

/** Every option, as options.js takes it. */
const OPTIONS = {
  signal: { test: (value) => value instanceof AbortSignal, sentence: 'is not an AbortSignal' },
  onProgress: { test: (value) => typeof value === 'function', sentence: 'is not a function' },

  fsync: NO,
  overwrite: YES,
  keepReadable: NO,
  secondThread: YES,
  folder: NO,
  mayBeginLikeRecording: NO,

  gyroscopeOffset: { test: isOffset, sentence: "is neither 'rest' nor { x, y, z } in deg/s", take: offsetValues },

  channels: {
    test: (value) => Array.isArray(value) && Array.from(value).every(isChannel),
    sentence: (value) =>
      Array.isArray(value)
        ? `holds ${String(Array.from(value).find((name) => !isChannel(name)))}, which is none of ${CHANNEL_NAMES.join(', ')}`
        : 'is not an array',
  },
  orientation: {
    test: (value) => METHODS.includes(value),
    sentence: "is neither 'filter' nor 'smoothed'",
    fallback: 'filter',
  },
  precision: {
    test: (value) => ['float64', 'float32'].includes(value),
    sentence: "is neither 'float64' nor 'float32'",
    fallback: 'float64',
  },
  transferable: NO,
  timeZone: {
    test: isZone,
    sentence: (value) => (typeof value === 'string' ? `is ${value}, which is no zone that is known` : 'is not a string'),
  },

  synchronised: NO,
  mostBins: { ...COUNT, fallback: 200_000 },
  mostSamples: { ...COUNT, fallback: 0 },
};

/** For samples, callers may also say whether there is to be an orientation. */
const ORIENTATION_OF_SAMPLES = {
  test: (value) => typeof value === 'boolean' || METHODS.includes(value),
  sentence: "is neither true, false, 'filter' nor 'smoothed'",
};

/** The same option for a set, whose number of recordings is the context: one offset for all, or one for each. */
const OFFSET_OF_SET = {
  test: (value, count) => offsetList(value, count).every(isOffset) && (!Array.isArray(value) || value.length === count),
  sentence: (value, count) =>
    Array.isArray(value) && value.length !== count
      ? 'has not as many elements as there are recordings'
      : "is neither 'rest' nor { x, y, z } in deg/s, nor a list of these",
  take: (value, count) => offsetList(value, count).flatMap(offsetValues),
};

/** A smoothed orientation is there all at once, not in pieces. */
const ORIENTATION_OF_PIECES = { test: (value) => value === 'filter', sentence: "is not 'filter': use convert() for 'smoothed'" };

const named = (...names) => Object.fromEntries(names.map((name) => [name, OPTIONS[name]]));

const JOB = named('signal', 'onProgress');
const SAMPLES = {
  ...JOB,
  ...named('channels', 'precision', 'timeZone', 'gyroscopeOffset'),
  orientation: ORIENTATION_OF_SAMPLES,
};
const LEVELS = { ...JOB, ...named('synchronised', 'mostBins', 'mostSamples', 'orientation', 'gyroscopeOffset') };
const CONFIG = { ...JOB, ...named('timeZone') };

/** What each function takes, by the entry that it belongs to. */
const FUNCTIONS = {
  promises: {
    convert: { ...JOB, ...named('fsync', 'overwrite', 'keepReadable', 'secondThread', 'orientation', 'gyroscopeOffset') },
    readSamples: SAMPLES,
    inspect: JOB,
    levels: LEVELS,
    synchronise: { ...JOB, ...named('fsync', 'overwrite', 'orientation'), gyroscopeOffset: OFFSET_OF_SET },
    readConfig: CONFIG,
    writeConfig: { ...JOB, ...named('fsync') },
  },
  outputs: {
    requirePlace: named('folder', 'overwrite', 'mayBeginLikeRecording'),
    publish: named('fsync', 'overwrite', 'mayBeginLikeRecording'),
  },
  wasm: {
    convert: { ...JOB, ...named('orientation', 'gyroscopeOffset') },
    csvPieces: { ...JOB, ...named('gyroscopeOffset'), orientation: ORIENTATION_OF_PIECES },
    readSamples: { ...SAMPLES, ...named('transferable') },
    inspect: JOB,
    levels: LEVELS,
    synchronise: { ...JOB, ...named('orientation'), gyroscopeOffset: OFFSET_OF_SET },
    readConfig: CONFIG,
  },
};

/** `optionsOf(name, given, context)` for the functions of an entry: all their options, checked. */
function optionsTaker(entry) {
  return (name, given, context) => {
    const options = takeOptions(name, FUNCTIONS[entry][name], given, context);
    check(
      options.orientation !== 'smoothed' || given.gyroscopeOffset === undefined,
      "options.gyroscopeOffset cannot be used with orientation: 'smoothed', which estimates the offset itself",
    );
    return options;
  };
}

module.exports = { check, optionsTaker };
