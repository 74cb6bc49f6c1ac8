// vortena check: the verdict of many recordings, the worst first.
'use strict';

const { poolOptions } = require('./options.js');

function define(program) {
  const command = program
    .command('check')
    .description('Says how good recordings are, the worst first. Ends with status 3 when some are damaged.')
    .argument('<path...>', 'recordings, or folders of recordings (*.bin)')
    .option('-r, --recursive', 'search the folders below as well')
    .option('--json', 'whole reports as JSON, one object a line');
  poolOptions.forEach((option) => command.addOption(option));
  command.action(async (paths, options) => {
    process.exitCode = await checkAll(paths, options);
  });
}

/** Worst first: what could not be read, then damage, then notes; within these the most notes. */
function severityOf({ verdict, notes }) {
  const damage = notes.filter(({ severity }) => severity === 'damage').length;
  return { ok: 0, notes: 1, damaged: 2 }[verdict] * 1e6 + damage * 1e3 + notes.length;
}

async function checkAll(paths, options) {
  const { DAMAGED, OK } = require('../telling/exit-status.js');
  const { findRecordings } = require('../finding/recordings.js');
  const { makeReport } = require('../telling/report.js');
  const { Run } = require('../running/run.js');

  const report = makeReport(options);
  const checked = [];
  const run = new Run(report, ({ recording }, { report: quality }) => checked.push({ recording, quality }));
  const recordings = await findRecordings(paths, options);
  await run.over(
    recordings.map((job) => ({ ...job, operation: 'inspect' })),
    options,
  );
  checked.sort((a, b) => severityOf(b.quality) - severityOf(a.quality) || (a.recording < b.recording ? -1 : 1));
  checked.forEach(({ recording, quality }) => tellChecked(report, recording, quality));
  const damaged = checked.some(({ quality }) => quality.verdict === 'damaged');
  const status = run.status === OK && damaged ? DAMAGED : run.status;
  run.finish('checked', status);
  return status;
}

function tellChecked(report, recording, quality) {
  const { printable } = require('../telling/quantities.js');
  report.event('checked', { recording, report: quality });
  report.result(`${quality.verdict.padEnd(8)} ${printable(recording)}`);
  quality.notes.forEach(({ severity, text }) => report.result(`         ${severity === 'damage' ? '! ' : '- '}${text}`));
}

module.exports = { define };
