// What is to be done before any of it is: one output for each recording, none for two, and which of them are there.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { UsageError } = require('./exit-status.js');
const { failure } = require('./failures.js');
const { clearParts } = require('./parts.js');

/** By --to: how an output is called, and what tells that it is whole. */
const FORMATS = {
  csv: { ending: '.csv' },
  'csv.gz': { ending: '.csv.gz' },
  parquet: { ending: '', proof: 'recording.json' },
};

const foldsCase = process.platform === 'win32' || process.platform === 'darwin';
const keyOf = (output) => (foldsCase ? path.resolve(output).toLowerCase() : path.resolve(output));

function outputOf({ below }, out, { ending }) {
  return path.join(out, below.slice(0, below.length - path.extname(below).length) + ending);
}

function refuse(first, second, output) {
  throw new UsageError(
    `two recordings would be written to ${output}:\n  ${first}\n  ${second}\n` +
      'Nothing was done. Rename one of them, or convert them into folders of their own.',
  );
}

/** The folders above a path, the nearest first. */
function* foldersAbove(file) {
  for (let folder = path.dirname(file); folder !== path.dirname(folder); folder = path.dirname(folder)) {
    yield folder;
  }
}

/** Two recordings for one output, or, where outputs are folders, one output within another. */
function refuseClashes(jobs) {
  const owners = new Map();
  for (const { recording, output } of jobs) {
    const owner = owners.get(keyOf(output));
    if (owner) {
      refuse(owner, recording, output);
    }
    owners.set(keyOf(output), recording);
  }
  for (const { recording, output } of jobs) {
    const around = [...foldersAbove(path.resolve(output))].find((folder) => owners.has(keyOf(folder)));
    if (around) {
      refuse(owners.get(keyOf(around)), recording, around);
    }
  }
}

async function timeOf(file) {
  const stats = await fs.stat(file).catch(() => undefined);
  return stats?.mtimeMs;
}

const exists = (output) => fs.lstat(output).then(() => true, () => false);

/** An output that has its name is whole, as it gets it last. One that is older than its recording is of another one. */
async function isUpToDate({ output, changed }, { proof }) {
  const time = await timeOf(proof ? path.join(output, proof) : output);
  return time !== undefined && time >= changed;
}

async function fateOf(job, format, { skipExisting, overwrite }) {
  if (skipExisting) {
    return (await isUpToDate(job, format)) ? { ...job, skipped: 'exists' } : job;
  }
  if (overwrite || !(await exists(job.output))) {
    return job;
  }
  return { ...job, failure: failure('ERR_OUTPUT_EXISTS', `${job.output} is there already`) };
}

/**
 * Gives each recording an `output` and, where it needs none or cannot have one, `skipped` or `failure`. Clashes are
 * looked for among all, whatever the shard, so that all shards answer alike.
 */
async function planConversions(recordings, { out, to, shard = { index: 1, count: 1 }, skipExisting, overwrite }) {
  const format = FORMATS[to];
  const jobs = recordings.map((found) => (found.failure ? found : { ...found, output: outputOf(found, out, format) }));
  refuseClashes(jobs.filter((job) => job.output));
  await clearParts(jobs.filter((job) => job.output).map((job) => path.dirname(job.output))); // some outputs may come back
  const ours = jobs.filter((_, place) => place % shard.count === shard.index - 1);
  return Promise.all(ours.map((job) => (job.failure ? job : fateOf(job, format, { skipExisting, overwrite }))));
}

module.exports = { FORMATS, planConversions };
