// vortena info: header, quality and channels of each recording on a screen, or as JSON.
'use strict';

function define(program) {
  program
    .command('info')
    .description('Shows what is in recordings: unit, dates, channels, rates, duration, orientation.')
    .argument('<file...>', 'recordings')
    .option('--json', 'header and quality report as JSON, one object a line')
    .action(async (files, options) => {
      process.exitCode = await showAll(files, options);
    });
}

async function showAll(files, { json }) {
  const { FAILED, OK } = require('../telling/exit-status.js');
  const { failureOf } = require('../telling/failures.js');
  const { makeReport } = require('../telling/report.js');
  const { inspect, readConfig } = require('vortena-reader/promises');

  const report = makeReport({ json });
  let status = OK;
  for (const recording of files) {
    try {
      const config = await readConfig(recording);
      const quality = await inspect(recording);
      report.event('info', { recording, config: jsonConfig(config), report: quality });
      report.result(screen(recording, config, quality));
    } catch (error) {
      report.event('failed', { recording, ...failureOf(error) });
      status = FAILED;
    }
  }
  return status;
}

/** Bytes of unknown frames as base64, as the other JSON of the reader has them. */
function jsonConfig({ unknownFrames, ...config }) {
  return { ...config, unknownFrames: unknownFrames.toString('base64') };
}

const unitText = ({ deviceId, deviceType, bodyLocation, hasDevice, version, majorVersion, minorVersion }) =>
  hasDevice
    ? `${deviceId} (type ${deviceType}, body location ${bodyLocation}), firmware ${version}.${majorVersion}.${minorVersion}`
    : 'not named in the header';

function dateText({ year, month, day, hour, minute, second }) {
  const two = (number) => String(number).padStart(2, '0');
  return year === 0 ? 'unknown' : `${year}-${two(month)}-${two(day)} ${two(hour)}:${two(minute)}:${two(second)}`;
}

function orientationText({ available, reason, startsAfter, firstTilt, lastTilt }) {
  const { knownSeconds } = require('../telling/quantities.js');
  const degrees = (angle) => (angle === null ? 'unknown' : `${angle.toFixed(1)} degrees`);
  return available
    ? `from ${knownSeconds(startsAfter, 2)} on, tilt ${degrees(firstTilt)} at first and ${degrees(lastTilt)} at last`
    : `none (${reason})`;
}

function channelRow([name, { samples, nominalRate, measuredRate, gaps }]) {
  const { formatDuration } = require('../telling/quantities.js');
  const missing = gaps?.count ? `${gaps.count} (${formatDuration(gaps.seconds)})` : gaps && samples > 0 ? '0' : '';
  return [name, String(samples), `${nominalRate} Hz`, measuredRate === null ? '' : `${measuredRate.toFixed(2)} Hz`, missing];
}

function table(rows) {
  const widths = rows[0].map((_, at) => Math.max(...rows.map((row) => row[at].length)));
  const cell = (text, at) => (at === 0 ? text.padEnd(widths[at]) : text.padStart(widths[at]));
  return rows.map((row) => `  ${row.map(cell).join('  ')}`.trimEnd()).join('\n');
}

function screen(recording, config, { verdict, notes, file, clock, channels, orientation }) {
  const { formatBytes, formatDuration, printable } = require('../telling/quantities.js');
  const duration = clock.seconds === null ? 'no samples' : formatDuration(clock.seconds);
  return [
    printable(recording),
    `  unit         ${unitText(config)}`,
    `  recorded     ${dateText(config.createdAt)} to ${dateText(config.endDate)}, by the unit's clock`,
    `  duration     ${duration}, by ${clock.ticksPerSecond} ticks per second; ${formatBytes(file.bytes)}`,
    `  orientation  ${orientationText(orientation)}`,
    `  verdict      ${verdict}`,
    ...notes.map(({ text }) => `               ${text}`),
    table([['channel', 'samples', 'header', 'measured', 'gaps'], ...Object.entries(channels).map(channelRow)]),
  ].join('\n');
}

module.exports = { define };
