// vortena convert: an output of each of many recordings, in child processes.
'use strict';

const { Option } = require('commander');
const { orientationOf, orientationOptions, poolOptions, shard } = require('./options.js');

const FORMATS = ['csv', 'csv.gz', 'parquet'];

function define(program) {
  const command = program
    .command('convert')
    .description('Converts recordings; each output appears whole or not at all.')
    .argument('<path...>', 'recordings, or folders of recordings (*.bin)')
    .requiredOption('-o, --out <folder>', 'where the outputs go; folders below a given one are kept')
    .addOption(new Option('--to <format>', 'what to write').choices(FORMATS).default('csv'))
    .option('-r, --recursive', 'search the folders below as well')
    .addOption(new Option('--skip-existing', 'leave out what is done').conflicts('overwrite'))
    .option('--overwrite', 'replace outputs that are there')
    .addOption(new Option('--shard <i/n>', 'only the i-th of n parts of the recordings').argParser(shard))
    .option('--keep-readable', 'of a recording that cannot be read to its end, convert what comes before')
    .option('--fsync', 'wait until each output is on the disk')
    .option('--json', 'tell what happens as JSON, one object a line')
    .option('-q, --quiet', 'tell failures only');
  [...orientationOptions, ...poolOptions].forEach((option) => command.addOption(option));
  command.action(async (paths, options) => {
    process.exitCode = await convertAll(paths, options);
  });
}

async function convertAll(paths, options) {
  const { noteMade } = require('../outputs/made.js');
  const { planConversions } = require('../outputs/plan.js');
  const { findRecordings } = require('../finding/recordings.js');
  const { makeReport } = require('../telling/report.js');
  const { Run } = require('../running/run.js');

  const orientation = orientationOf(options);
  const jobs = await planConversions(await findRecordings(paths, options), { ...options, ...orientation });
  const report = makeReport(options);
  const notes = [];
  const run = new Run(report, (job, result, ms) => {
    notes.push(noteMade(job, result.report.file.bytes));
    tellConverted(report, job, result, ms);
  });
  await run.over(
    jobs.map((job) => ({
      ...job,
      operation: options.to,
      fsync: Boolean(options.fsync),
      keepReadable: Boolean(options.keepReadable),
      ...orientation,
    })),
    options,
  );
  await Promise.all(notes);
  run.finish('converted', run.status);
  return run.status;
}

function tellConverted(report, { recording, output }, { rows, bytes, report: quality }, ms) {
  const { damageText } = require('../telling/report.js');
  const { verdict, notes } = quality;
  report.event('converted', { recording, output, rows, bytes, ms, verdict, notes: notes.map(({ code }) => code) });
  report.result(output);
  report.say(damageText(recording, quality));
}

module.exports = { define };
