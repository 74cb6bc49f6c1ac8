// A child of the pool: does the jobs that it is given, one at a time. It ends when its parent has gone, and leaves no
// unfinished output then.
'use strict';

const { failureOf } = require('../telling/failures.js');

const OPERATIONS = {
  csv: () => require('../outputs/csv.js').writeCsv,
  'csv.gz': () => require('../outputs/csv-gz.js').writeCsvGz,
  parquet: () => require('../outputs/parquet.js').writeParquet,
  inspect: () => require('./inspection.js').inspectRecording,
};

let running;

/** The parent may have died meanwhile. */
function tell(message) {
  if (process.connected) {
    process.send(message, () => {});
  }
}

async function perform(job) {
  running = new AbortController();
  try {
    const operation = OPERATIONS[job.operation]();
    const onProgress = (progress) => tell({ progress });
    tell({ result: await operation(job, { signal: running.signal, onProgress }) });
  } catch (error) {
    tell({ failure: running.signal.aborted ? { code: 'ERR_INTERRUPTED' } : failureOf(error, job.output) });
  }
  running = undefined;
  leaveIfAlone();
}

function leaveIfAlone() {
  if (!process.connected && !running) {
    process.exit();
  }
}

process.on('message', ({ job, cancel }) => {
  if (cancel) {
    running?.abort();
  } else {
    perform(job);
  }
});
process.on('disconnect', () => {
  running?.abort();
  leaveIfAlone();
});
for (const signal of ['SIGINT', 'SIGTERM', 'SIGHUP']) {
  process.on(signal, () => {}); // a terminal sends them to all; the parent decides what becomes of the jobs
}
