'use strict';

function define(program) {
  program
    .command('sync')
    .description('Brings recordings that were made together onto one clock, and writes one CSV each.')
    .argument('<file...>', 'the recordings of the set')
    .requiredOption('-o, --out <folder>', 'where the CSV files go')
    .option('--overwrite', 'replace CSV files that are there')
    .option('--fsync', 'wait until the files are on the disk')
    .option('--json', 'the result as JSON, one object')
    .action(async (files, options) => {
      process.exitCode = await synchroniseAll(files, options);
    });
}

const SOURCES = {
  schedule: 'the schedules in the headers',
  'radio-parameters': 'the radio parameters in the headers',
  'radio-times': 'the times that the master sent by radio',
};

async function outputsInTheWay(files, { out, overwrite }) {
  const fs = require('node:fs');
  const path = require('node:path');
  const outputs = files.map((file) => path.join(out, `${path.basename(file, path.extname(file))}.csv`));
  return overwrite ? [] : outputs.filter((output) => fs.existsSync(output));
}

async function synchroniseAll(files, options) {
  const fs = require('node:fs/promises');
  const { FAILED, OK } = require('../exit-status.js');
  const { failure, failureOf } = require('../failures.js');
  const { clearParts } = require('../parts.js');
  const { makeReport } = require('../report.js');

  const report = makeReport(options);
  const [inTheWay] = await outputsInTheWay(files, options);
  if (inTheWay) {
    report.event('failed', { output: inTheWay, ...failure('ERR_OUTPUT_EXISTS', `${inTheWay} is there already`), advice: 'Use --overwrite to replace it.' });
    return FAILED;
  }
  try {
    await fs.mkdir(options.out, { recursive: true });
    await clearParts([options.out]);
    tellSynchronised(report, await synchroniseWithBar(options.json ? undefined : report, files, options));
    return OK;
  } catch (error) {
    report.end();
    if (error?.interrupted) {
      return error.interrupted;
    }
    report.event('failed', { recording: error?.path, ...failureOf(error, options.out) });
    return FAILED;
  }
}

/** `report` draws the bar, where one is wanted. */
async function synchroniseWithBar(report, files, { out, fsync }) {
  const fs = require('node:fs/promises');
  const { Interruption } = require('../interruption.js');
  const { synchronise } = require('vortena-reader/promises');

  const controller = new AbortController();
  const interruption = new Interruption({ ask: () => controller.abort({ interrupted: interruption.status }), now: () => report?.end() });
  const sizes = await Promise.all(files.map((file) => fs.stat(file).then(({ size }) => size, () => 0)));
  const job = { recording: out, operation: 'synchronise', size: sizes.reduce((sum, size) => sum + size, 0) };
  report?.begin(1, [job]);
  report?.started(job, process.pid);
  try {
    const onProgress = (progress) => report?.progressed(job, progress);
    return await synchronise(files, out, { signal: controller.signal, onProgress, fsync: Boolean(fsync) });
  } finally {
    interruption.end();
    report?.settled(job);
    report?.end();
  }
}

function tellSynchronised(report, { outputs, clock, units }) {
  const { damageText } = require('../report.js');
  const { formatDuration } = require('../quantities.js');
  report.event('synchronised', { outputs, clock, units });
  outputs.forEach((output) => report.result(output));
  report.say(`One clock by ${SOURCES[clock.source] ?? clock.source}; ${formatDuration(clock.duration)} in common from ${clock.start.toFixed(3)} s on.`);
  units.forEach(({ path, shift, rows, report: quality }) => {
    report.say(`${path}: shifted by ${shift.toFixed(6)} s, ${rows} rows`);
    report.say(damageText(path, quality));
  });
}

module.exports = { define };
