// What a page knows of recordings besides their levels and samples. Those who make pages and pages that read themselves
// share this file.
'use strict';

const ACCELEROMETER_KEY = 1;
const ORIENTATION_KEY = 10;
const EVENT_KEY = 11;
const CURVE_KEYS = [1, 2, 3, 5, 10];

const isCurve = ({ key, levels }) => CURVE_KEYS.includes(key) && levels.length > 0;

const pairs = (flat) => Array.from({ length: flat.length / 2 }, (_, i) => [flat[2 * i], flat[2 * i + 1]]);

function eventsOf({ channels }) {
  const events = channels.find(({ key }) => key === EVENT_KEY)?.kept;
  return events ? Array.from(events.time, (time, i) => [time, events.axes[0][i]]) : [];
}

/** The orientation has a row for each sample of the accelerometer. */
function gapsOf(channel, { channels }) {
  return pairs((channel.key === ORIENTATION_KEY ? channels.find(({ key }) => key === ACCELEROMETER_KEY) : channel).gaps);
}

/** Of a channel that was sampled by a clock; else what the samples' span says. */
function rateOf({ key, samples }, { report, start, end }) {
  const name = { 1: 'accel', 2: 'gyro', 3: 'baro', 5: 'mag', 10: 'accel' }[key];
  return report.channels[name]?.measuredRate ?? Math.max(samples - 1, 1) / Math.max(end - start, 1e-9);
}

/** Of a unit of `levels()`. `dataOf(channel)` adds what the levels and samples of a channel are found by. */
function describeUnit(unit, { name, unitNumber, dataOf }) {
  const { report, start, end, shift } = unit;
  const channels = unit.channels.filter(isCurve).map((channel) => {
    const { key, samples: sampleCount, gapCount, scales, attitudes } = channel;
    const gaps = gapsOf(channel, unit);
    const rate = rateOf(channel, unit);
    return { key, unitNumber, sampleCount, rate, gapCount, gaps, scales, attitudes, ...dataOf(channel) };
  });
  const config = { ...unit.config, unknownFrames: undefined };
  return { name, config, report, start, end, shift, events: eventsOf(unit), channels };
}

module.exports = { describeUnit, isCurve };
