// What a page knows of recordings besides their levels and samples. Those who make pages and pages that read themselves
// share this file.
'use strict';

const { ORIENTATION } = require('./methods.js');

const isCurve = ({ levels }) => levels.length > 0;

const pairs = (flat) => Array.from({ length: flat.length / 2 }, (_, i) => [flat[2 * i], flat[2 * i + 1]]);

function eventsOf({ channels }) {
  const events = channels.find(({ name }) => name === 'event')?.kept;
  return events ? Array.from(events.time, (time, i) => [time, events.axes[0][i]]) : [];
}

/** The sensor behind a channel: an orientation has a row for each sample of the accelerometer, a smoothed one of the gyroscope. */
const sampledName = ({ name, method }) => (name !== ORIENTATION ? name : method === 'smoothed' ? 'gyro' : 'accel');

function gapsOf(channel, { channels }) {
  return pairs(channels.find(({ name }) => name === sampledName(channel)).gaps);
}

/** The measured rate of a channel that a clock sampled; else what the samples' span says. */
function rateOf(channel, { report, start, end }) {
  const measured = report.channels[sampledName(channel)]?.measuredRate;
  return measured ?? Math.max(channel.samples - 1, 1) / Math.max(end - start, 1e-9);
}

/** Describes a unit of `levels()`. `dataOf(channel)` adds what the levels and samples of a channel are found by. */
function describeUnit(unit, { name, unitNumber, dataOf }) {
  const { report, titles, start, end, shift } = unit;
  const channels = unit.channels.filter(isCurve).map((channel) => {
    const { codes, kept, samples: sampleCount, ...description } = channel;
    const title = titles[channel.name] ?? channel.name;
    const [gaps, rate] = [gapsOf(channel, unit), rateOf(channel, unit)];
    return { ...description, title, unitNumber, sampleCount, rate, gaps, ...dataOf(channel) };
  });
  const config = { ...unit.config, unknownFrames: undefined };
  return { name, config, report, titles, start, end, shift, events: eventsOf(unit), channels };
}

module.exports = { describeUnit, isCurve };
