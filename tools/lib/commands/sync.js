// vortena sync: the CSVs of a set of recordings on one clock, all or none.
'use strict';

const { orientationOf, orientationOptions } = require('./options.js');

function define(program) {
  const command = program
    .command('sync')
    .description('Brings recordings that were made together onto one clock, and writes one CSV each.')
    .argument('<file...>', 'the recordings of the set')
    .requiredOption('-o, --out <folder>', 'where the CSV files go')
    .option('--overwrite', 'replace CSV files that are there')
    .option('--fsync', 'wait until the files are on the disk')
    .option('--json', 'the result as JSON, one object');
  orientationOptions.forEach((option) => command.addOption(option));
  command.action(async (files, options) => {
    process.exitCode = await synchroniseAll(files, options);
  });
}

const SOURCES = {
  schedule: 'the schedules in the headers',
  'radio-parameters': 'the radio parameters in the headers',
  'radio-times': 'the times that the master sent by radio',
};

/** As the reader names the CSVs of a set on every platform: by what is behind the last slash of either kind, to its last dot. */
const csvName = (recording) =>
  `${recording
    .split(/[\\/]/)
    .at(-1)
    .replace(/\.[^.]*$/, '')}.csv`;

/** The first of the outputs that is there already. */
function outputInTheWay(files, out) {
  const fs = require('node:fs');
  return files.map((file) => `${out}/${csvName(file)}`).find((output) => fs.existsSync(output));
}

async function synchroniseAll(files, options) {
  const { FAILED, OK } = require('../telling/exit-status.js');
  const { failure, failureOf } = require('../telling/failures.js');
  const { makeReport } = require('../telling/report.js');

  const report = makeReport(options);
  const inTheWay = options.overwrite ? undefined : outputInTheWay(files, options.out);
  if (inTheWay) {
    const problem = failure('ERR_OUTPUT_EXISTS', `${inTheWay} is there already`);
    report.event('failed', { output: inTheWay, ...problem, advice: 'Use --overwrite to replace it.' });
    return FAILED;
  }
  try {
    tellSynchronised(report, await synchroniseInto(options, files, options.json ? undefined : report));
    return OK;
  } catch (error) {
    if (error?.interrupted) {
      return error.interrupted;
    }
    report.event('failed', { recording: error?.path, ...failureOf(error, options.out) });
    return FAILED;
  }
}

async function synchroniseInto({ out, fsync, overwrite = false, ...options }, files, bars) {
  const { clearParts } = require('vortena-reader/outputs');
  const { makeFolder } = require('../outputs/whole.js');
  await makeFolder(out);
  await clearParts([out]);
  return synchroniseWithBar(bars, files, out, { fsync: Boolean(fsync), overwrite, ...orientationOf(options) });
}

/** `report` draws the bar, where one is wanted. */
async function synchroniseWithBar(report, files, out, options) {
  const fs = require('node:fs/promises');
  const { Interruption } = require('../running/interruption.js');
  const { synchronise } = require('vortena-reader/promises');

  const controller = new AbortController();
  const interruption = new Interruption({
    ask: () => controller.abort({ interrupted: interruption.status }),
    now: () => report?.end(),
  });
  const sizes = await Promise.all(
    files.map((file) =>
      fs.stat(file).then(
        ({ size }) => size,
        () => 0,
      ),
    ),
  );
  const job = { recording: out, operation: 'synchronise', size: sizes.reduce((sum, size) => sum + size, 0) };
  report?.begin(1, [job]);
  report?.started(job, process.pid);
  try {
    const onProgress = (progress) => report?.progressed(job, progress);
    return await synchronise(files, out, { signal: controller.signal, onProgress, ...options });
  } finally {
    interruption.end();
    report?.settled(job);
    report?.end();
  }
}

function tellSynchronised(report, { outputs, clock, units }) {
  const { damageText } = require('../telling/report.js');
  const { counted, formatDuration, knownSeconds } = require('../telling/quantities.js');
  report.event('synchronised', { outputs, clock, units });
  outputs.forEach((output) => report.result(output));
  const common = `${formatDuration(clock.duration) || 'unknown'} in common from ${knownSeconds(clock.start, 3)} on`;
  report.say(`One clock by ${SOURCES[clock.source] ?? clock.source}; ${common}.`);
  units.forEach(({ path, shift, rows, report: quality }) => {
    report.say(`${path}: shifted by ${knownSeconds(shift, 6)}, ${counted(rows, 'row')}`);
    report.say(damageText(path, quality));
  });
}

module.exports = { define };
