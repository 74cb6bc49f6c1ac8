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

/** `axes` arrays of `samples` elements that lie one after another. */
function channelObject(name, { samples }, [values, time], config, precision) {
  const { unit, axes } = CHANNELS[name];
  const all = precision === 'float32' ? new Float32Array(values) : new Float64Array(values);
  const arrays = axes.map((axis, k) => [axis, all.subarray(k * samples, (k + 1) * samples)]);
  const rate = config[name === 'quaternion' ? 'gyro' : name].frequency;
  return { rate, unit, time: new Float64Array(time), ...Object.fromEntries(arrays) };
}

/** `list` describes the channels that came, `buffers` has two for each: values, then time stamps. */
function channelObjects(list, buffers, config, precision) {
  const names = channelNames(list.map(({ key }) => key));
  return Object.fromEntries(
    names.map((name, k) => [name, channelObject(name, list[k], buffers.slice(2 * k, 2 * k + 2), config, precision)]),
  );
}

module.exports = { channelBits, channelNames, channelObjects };
