// The quality report in words, and where in the recording each of them is about.
'use strict';

const { numberText } = require('./scales.js');
const { counted, durationText } = require('./wording.js');

/** Where the page words a channel otherwise than the reader. */
const TITLES = { event: 'events', radioTime: 'radio times' };
const VERDICTS = {
  ok: 'Good: nothing to remark',
  notes: 'Whole, with remarks',
  damaged: 'Damaged: data are missing or cannot be trusted',
};
const SHOWN_AROUND_GAP = 10; // times its length
const SHOWN_AROUND_SECONDS = 2;
const MOST_AROUND_SECONDS = 60; // of a long gap its beginning is shown

const titleOf = (name, { titles }) => TITLES[name] ?? titles[name];
const wholeNumber = (value) => numberText(value, 0);

/** The longest, in order of time; channels often miss the same. */
function gapsOf(unit) {
  const gaps = new Map();
  for (const [name, channel] of Object.entries(unit.report.channels)) {
    for (const { after, seconds } of channel.gaps?.where ?? []) {
      const place = `${after} ${seconds}`;
      gaps.set(place, gaps.get(place) ?? { after, seconds, names: [] });
      gaps.get(place).names.push(titleOf(name, unit));
    }
  }
  return [...gaps.values()].sort((a, b) => a.after - b.after);
}

/** Spans that a note is about: { text, from, to }, on the recording's clock. */
function placesOf(code, unit) {
  const { report, channels } = unit;
  const around = (time, seconds, text) => ({ text, time, from: time - seconds, to: time + seconds });
  if (code === 'gaps') {
    return gapsOf(unit).map(({ after, seconds, names }) => {
      const margin = Math.min(MOST_AROUND_SECONDS, Math.max(SHOWN_AROUND_SECONDS, SHOWN_AROUND_GAP * seconds));
      const text = `${durationText(seconds)} missing: ${names.join(', ')}`;
      return { text, time: after, from: after - margin, to: after + Math.min(seconds, margin) + margin };
    });
  }
  if (code === 'full-scale') {
    return channels
      .filter(({ name }) => report.channels[name]?.fullScaleShare > 0)
      .map((channel) =>
        around(channel.timeOfExtreme() + unit.toOwnClock, SHOWN_AROUND_SECONDS, `${titleOf(channel.name, unit)}, largest value`),
      );
  }
  return ['cut-off', 'unreadable-block'].includes(code) ? [around(report.clock.last, SHOWN_AROUND_SECONDS, 'end')] : [];
}

function rateText({ measuredRate, nominalRate }) {
  return measuredRate === null ? `${nominalRate} Hz nominal` : `${numberText(measuredRate, 2)} Hz (${nominalRate} nominal)`;
}

function gapText({ gaps }) {
  const { count, seconds, longest } = gaps;
  return count === 0
    ? 'no gaps'
    : `${counted(count, 'gap', wholeNumber)}, ${durationText(seconds)} missing, longest ${durationText(longest)}`;
}

function channelText(channel) {
  const { samples, gaps } = channel;
  const parts = [samples > 0 ? counted(samples, 'sample', wholeNumber) : 'no samples', rateText(channel)];
  return [...parts, ...(gaps && samples > 0 ? [gapText(channel)] : [])].join(', ');
}

/** Rows of the table below: [name, text]. */
function channelRows(unit) {
  return Object.entries(unit.report.channels).map(([name, channel]) => [titleOf(name, unit), channelText(channel)]);
}

function unitRows({ config, report }) {
  const rows = [
    [
      'unit',
      config.hasDevice ? `${config.deviceId}, type ${config.deviceType}, at location ${config.bodyLocation}` : 'not named',
    ],
    ['firmware', `${config.version}.${config.majorVersion}.${config.minorVersion}`],
    ['clock', `${config.frequency} ticks/s`],
  ];
  if (config.accel.present) {
    rows.push(['accelerometer', `±${config.accel.range} g`]);
  }
  if (config.gyro.present) {
    rows.push(['gyroscope', `±${numberText(config.gyro.range, 0)} °/s`]);
  }
  if (report.orientation.available && report.orientation.startsAfter !== null) {
    rows.push([
      'orientation',
      `from ${numberText(report.orientation.startsAfter, 2)} s on, still ${numberText(100 * report.orientation.stillShare, 0)} % of the time`,
    ]);
  }
  return rows;
}

module.exports = { VERDICTS, channelRows, placesOf, unitRows };
