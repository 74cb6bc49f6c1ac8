// Numbers on their way into the page. Codes of 16 bits as two planes of bytes, those that vary least together, compress
// best. Both sides share this file.
'use strict';

const NONE = 0xffff;
const MOST = NONE - 1;
const QUATERNION_AXES = 4;

function toPlanes(codes) {
  const bytes = new Uint8Array(2 * codes.length);
  for (let i = 0; i < codes.length; i += 1) {
    bytes[i] = codes[i] >> 8;
    bytes[codes.length + i] = codes[i] & 0xff;
  }
  return bytes;
}

function fromPlanes(bytes) {
  const count = bytes.length / 2;
  const codes = new Uint16Array(count);
  for (let i = 0; i < count; i += 1) {
    codes[i] = (bytes[i] << 8) | bytes[count + i];
  }
  return codes;
}

/** A scale whose codes are the counts of the sensor where those fit, so that nothing is lost. */
function scaleOf(values, quantum) {
  let [low, high] = [Infinity, -Infinity];
  for (const value of values) {
    if (Number.isFinite(value)) {
      low = Math.min(low, value);
      high = Math.max(high, value);
    }
  }
  const span = high - low;
  const step = quantum > 0 && span / quantum <= MOST ? quantum : span / MOST;
  return { base: Number.isFinite(low) ? low : 0, step: step > 0 && Number.isFinite(step) ? step : 1 };
}

function encodeValues(values, { base, step }) {
  return Uint16Array.from(values, (value) => (Number.isFinite(value) ? Math.round((value - base) / step) : NONE));
}

function decodeValues(codes, { base, step }) {
  return Float64Array.from(codes, (code) => (code === NONE ? NaN : base + code * step));
}

/** Times as whole ticks between one and the next. */
function encodeTimes(times, ticksPerSecond) {
  const steps = new Uint32Array(times.length);
  for (let i = 1; i < times.length; i += 1) {
    steps[i] = Math.round((times[i] - times[i - 1]) * ticksPerSecond);
  }
  return steps;
}

function decodeTimes(steps, first, ticksPerSecond) {
  const times = new Float64Array(steps.length);
  let ticks = 0;
  for (let i = 0; i < steps.length; i += 1) {
    ticks += steps[i];
    times[i] = first + ticks / ticksPerSecond;
  }
  return times;
}

/** Axes of quaternions in which four zeros, which are no orientation, are no numbers: rounded they would be an orientation. */
function withoutZeros(axes) {
  const isNone = (i) => axes.every((axis) => axis[i] === 0);
  return axes.map((axis) => axis.map((value, i) => (value === 0 && isNone(i) ? NaN : value)));
}

/** Samples of a channel: `{ samples: { first, ticksPerSecond, count, scales }, parts }`, parts being arrays of bytes. */
function packSamples({ time, axes: recorded }, quanta, ticksPerSecond) {
  const axes = recorded.length === QUATERNION_AXES ? withoutZeros(recorded) : recorded;
  const scales = axes.map((values, k) => scaleOf(values, quanta[k]));
  const times = encodeTimes(time, ticksPerSecond);
  return {
    samples: { first: time[0] ?? 0, ticksPerSecond, count: time.length, scales },
    parts: [new Uint8Array(times.buffer), ...axes.map((values, k) => toPlanes(encodeValues(values, scales[k])))],
  };
}

function unpackSamples({ first, ticksPerSecond, count, scales }, bytes) {
  const time = decodeTimes(new Uint32Array(bytes.slice(0, 4 * count).buffer), first, ticksPerSecond);
  const axes = scales.map((scale, k) =>
    decodeValues(fromPlanes(bytes.subarray((4 + 2 * k) * count, (6 + 2 * k) * count)), scale),
  );
  return { time, axes };
}

/** Bytes that stand in a page as base64 of their deflated form. */
async function inflate(base64) {
  const text = atob(base64);
  const bytes = new Uint8Array(text.length);
  for (let i = 0; i < text.length; i += 1) {
    bytes[i] = text.charCodeAt(i);
  }
  const stream = new Blob([bytes]).stream().pipeThrough(new DecompressionStream('deflate-raw'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

module.exports = { MOST, NONE, fromPlanes, inflate, packSamples, toPlanes, unpackSamples };
