// What users hand in, checked: wrong arguments are the only TypeErrors.
'use strict';

const { zoneFormatter } = require('./wall-time.js');

function check(condition, sentence) {
  if (!condition) {
    throw new TypeError(sentence);
  }
}

function checkOptions(options) {
  check(typeof options === 'object' && options !== null, 'options is not an object');
  const { signal, onProgress } = options;
  check(signal === undefined || signal instanceof AbortSignal, 'options.signal is not an AbortSignal');
  check(onProgress === undefined || typeof onProgress === 'function', 'options.onProgress is not a function');
}

function flag(options, name, fallback) {
  const value = options[name] ?? fallback;
  check(typeof value === 'boolean', `options.${name} is not a boolean`);
  return value;
}

/** As the native entry takes it: where it comes from, and three numbers in deg/s. */
function offset(value) {
  if (value === undefined || value === 'rest') {
    return [value ?? 'none', 0, 0, 0];
  }
  const axes = [value?.x, value?.y, value?.z];
  check(axes.every(Number.isFinite), "options.gyroscopeOffset is neither 'rest' nor { x, y, z } in deg/s");
  return ['given', ...axes];
}

function gyroscopeOffset(options) {
  return offset(options.gyroscopeOffset);
}

/** One for each of `count` recordings. */
function gyroscopeOffsets({ gyroscopeOffset: value }, count) {
  const list = Array.isArray(value) ? value : Array(count).fill(value);
  check(list.length === count, 'options.gyroscopeOffset has not as many elements as there are recordings');
  return list.flatMap(offset);
}

const METHODS = ['filter', 'smoothed'];

/** How the orientation is computed: the filter looks back alone, the smoother both ways, and estimates the offset itself. */
function orientationMethod({ orientation, gyroscopeOffset: given }) {
  check(orientation === undefined || METHODS.includes(orientation), "options.orientation is neither 'filter' nor 'smoothed'");
  check(
    orientation !== 'smoothed' || given === undefined,
    "options.gyroscopeOffset cannot be used with orientation: 'smoothed', which estimates the offset itself",
  );
  return orientation ?? 'filter';
}

function formatter({ timeZone }) {
  check(timeZone === undefined || typeof timeZone === 'string', 'options.timeZone is not a string');
  try {
    return zoneFormatter(timeZone);
  } catch (cause) {
    throw new TypeError(`options.timeZone is ${timeZone}, which is no zone that is known`, { cause });
  }
}

module.exports = { check, checkOptions, flag, formatter, gyroscopeOffset, gyroscopeOffsets, orientationMethod };
