// Channels by name, and their samples as typed arrays over the buffers that the native entry hands out.
'use strict';

/** For checking arguments before anything runs; all else about channels comes with the answers. */
const CHANNEL_NAMES = ['accel', 'gyro', 'baro', 'mag', 'radioByte', 'radioTime', 'quaternion', 'event'];

/** `memory` is an ArrayBuffer, or the bytes of one that hold the array. */
function arrayIn(memory, FloatArray, first, count) {
  const { buffer = memory, byteOffset = 0 } = memory;
  return new FloatArray(buffer, byteOffset + first * FloatArray.BYTES_PER_ELEMENT, count);
}

/** The axes lie one after another in a buffer; the time stamps may be shared with a longer channel. */
function channelObject({ unit, axes, rate, samples, values, times }, buffers, FloatArray) {
  const axisArray = (k) => arrayIn(buffers[values], FloatArray, k * samples, samples);
  const arrays = axes.map((axis, k) => [axis, axisArray(k)]);
  return { rate, unit, time: arrayIn(buffers[times], Float64Array, 0, samples), ...Object.fromEntries(arrays) };
}

/** `list` tells which channels came, and where in `buffers` theirs are. */
function channelObjects(list, buffers, precision) {
  const FloatArray = precision === 'float32' ? Float32Array : Float64Array;
  return Object.fromEntries(list.map((channel) => [channel.name, channelObject(channel, buffers, FloatArray)]));
}

module.exports = { CHANNEL_NAMES, arrayIn, channelObjects };
