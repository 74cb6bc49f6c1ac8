// Options of enqueue() and work(), checked.
'use strict';

const os = require('node:os');
const { takeOptions } = require('vortena-reader/options');
const { FORMATS } = require('./recordings.js');

const LOCK_S = 30;

const isText = (value) => typeof value === 'string' && value !== '';
const ABOVE_0 = { test: (value) => Number.isFinite(value) && value > 0, sentence: 'is not a number above 0' };

/** connection.js checks it, null as well: what is malformed must not be shown. */
const REDIS = { redis: { test: () => true, take: (value) => value } };

const OPTIONS = {
  enqueue: {
    ...REDIS,
    out: { test: isText, sentence: 'is not the path of a folder' },
    to: {
      test: (value) => isText(value) && Object.hasOwn(FORMATS, value),
      sentence: `is not one of: ${Object.keys(FORMATS).join(', ')}`,
      fallback: 'csv',
    },
    recursive: { test: (value) => typeof value === 'boolean', sentence: 'is not a boolean', fallback: false },
    orientation: {
      test: (value) => ['filter', 'smoothed'].includes(value),
      sentence: "is neither 'filter' nor 'smoothed'",
    },
    gyroscopeOffset: { test: (value) => value === 'rest', sentence: "is not 'rest'" },
  },
  work: {
    ...REDIS,
    concurrency: { ...ABOVE_0, fallback: os.availableParallelism() },
    memory: ABOVE_0,
    lock: { ...ABOVE_0, fallback: LOCK_S },
  },
};

/** All options of a function by their names. */
function optionsOf(called, given) {
  const options = takeOptions(called, OPTIONS[called], given);
  if (called === 'enqueue' && options.out === undefined) {
    throw new TypeError('options.out is not the path of a folder');
  }
  if (options.orientation === 'smoothed' && options.gyroscopeOffset) {
    throw new TypeError('a smoothed orientation estimates the offset itself: options.gyroscopeOffset is not for it');
  }
  return options;
}

module.exports = { optionsOf };
