// Channels by name, and their samples as typed arrays over the buffers that the native entry hands out.
'use strict';

const { check } = require('./arguments.js');

/** Keys of the native entry, units, and the arrays of a channel. */
const CHANNELS = {
  accel: { key: 1, unit: 'g', axes: ['x', 'y', 'z'] },
  gyro: { key: 2, unit: 'deg/s', axes: ['x', 'y', 'z'] },
  baro: { key: 3, unit: { pressure: 'mBar', temperature: 'degree C' }, axes: ['pressure', 'temperature'] },
  mag: { key: 5, unit: '', axes: ['x', 'y', 'z'] },
  radioByte: { key: 6, unit: '', axes: ['value'] },
  radioTime: { key: 7, unit: 's', axes: ['value'] },
  quaternion: { key: 10, unit: '', axes: ['w', 'x', 'y', 'z'] },
  event: { key: 11, unit: '', axes: ['value'] },
};
const NAMES = Object.keys(CHANNELS);

/** The wanted channels, all without a list, as one bit for each key. */
function channelBits(list = NAMES) {
  check(Array.isArray(list), 'options.channels is not an array');
  for (const name of list) {
    check(NAMES.includes(name), `options.channels: ${String(name)} is none of ${NAMES.join(', ')}`);
  }
  const bits = list.reduce((sum, name) => sum | (1 << CHANNELS[name].key), 0);
  return { bits, hasQuaternion: list.includes('quaternion') };
}

function channelNames(keys) {
  return keys.map((key) => NAMES.find((name) => CHANNELS[name].key === key));
}

/** `memory` is an ArrayBuffer, or the bytes of one that hold the array. */
function arrayIn(memory, FloatArray, first, count) {
  const { buffer = memory, byteOffset = 0 } = memory;
  return new FloatArray(buffer, byteOffset + first * FloatArray.BYTES_PER_ELEMENT, count);
}

/** The axes lie one after another in a buffer; the time stamps may be shared with a longer channel. */
function channelObject(name, { samples, values, times }, buffers, config, FloatArray) {
  const { unit, axes } = CHANNELS[name];
  const axisArray = (k) => arrayIn(buffers[values], FloatArray, k * samples, samples);
  const arrays = axes.map((axis, k) => [axis, axisArray(k)]);
  const rate = config[name === 'quaternion' ? 'gyro' : name].frequency;
  return { rate, unit, time: arrayIn(buffers[times], Float64Array, 0, samples), ...Object.fromEntries(arrays) };
}

/** `list` tells which channels came, and where in `buffers` theirs are. */
function channelObjects(list, buffers, config, precision) {
  const FloatArray = precision === 'float32' ? Float32Array : Float64Array;
  const names = channelNames(list.map(({ key }) => key));
  return Object.fromEntries(names.map((name, k) => [name, channelObject(name, list[k], buffers, config, FloatArray)]));
}

module.exports = { arrayIn, channelBits, channelNames, channelObjects };
