// What is to be done before any of it is: one output for each recording, none for two, and which of them are there.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { clearParts } = require('vortena-reader/outputs');
const { UsageError } = require('../telling/exit-status.js');
const { failure } = require('../telling/failures.js');
const { FORMATS, Made } = require('./made.js');
const { Places } = require('./places.js');

function outputOf({ below }, out, { ending }) {
  return path.join(out, below.slice(0, below.length - path.extname(below).length) + ending);
}

async function refuseFile(out) {
  const stats = await fs.stat(out).catch(() => undefined);
  if (stats && !stats.isDirectory()) {
    throw new UsageError(`${out} is a file, and -o names the folder for the outputs. Nothing was done.`);
  }
}

/** The folders above a path, the nearest first. */
function* foldersAbove(file) {
  for (let folder = path.dirname(file); folder !== path.dirname(folder); folder = path.dirname(folder)) {
    yield folder;
  }
}

/** Two recordings for one output, or, where outputs are folders, one output within another: { first, second, output }. */
async function findClash(jobs) {
  const places = new Places();
  const keys = await Promise.all(jobs.map(({ output }) => places.keyOf(output)));
  const owners = new Map();
  for (const [k, { recording, output }] of jobs.entries()) {
    if (owners.has(keys[k])) {
      return { first: owners.get(keys[k]), second: recording, output };
    }
    owners.set(keys[k], recording);
  }
  for (const [k, { recording }] of jobs.entries()) {
    const around = [...foldersAbove(keys[k])].find((folder) => owners.has(folder));
    if (around) {
      return { first: owners.get(around), second: recording, output: around };
    }
  }
  return undefined;
}

async function refuseClashes(jobs) {
  const clash = await findClash(jobs);
  if (clash) {
    throw new UsageError(
      `two recordings would be written to ${clash.output}:\n  ${clash.first}\n  ${clash.second}\n` +
        'Nothing was done. Rename one of them, or convert them into folders of their own.',
    );
  }
}

const exists = (output) =>
  fs.lstat(output).then(
    () => true,
    () => false,
  );

/** Only an output that was seen, and is to be replaced, may be. */
async function fateOf(job, made, { skipExisting, overwrite = false }) {
  if (skipExisting) {
    return (await made.isUpToDate(job)) ? { ...job, skipped: 'exists' } : { ...job, overwrite: await exists(job.output) };
  }
  if (overwrite || !(await exists(job.output))) {
    return { ...job, overwrite };
  }
  return { ...job, failure: failure('ERR_OUTPUT_EXISTS', `${job.output} is there already`) };
}

/**
 * Gives each recording an `output` and, where it needs none or cannot have one, `skipped` or `failure`. Clashes are
 * looked for among all, whatever the shard, so that all shards answer alike.
 */
async function planConversions(recordings, { out, to, shard = { index: 1, count: 1 }, skipExisting, overwrite, ...orientation }) {
  const format = FORMATS[to];
  await refuseFile(out);
  const jobs = recordings.map((found) => (found.failure ? found : { ...found, output: outputOf(found, out, format) }));
  await refuseClashes(jobs.filter((job) => job.output));
  await clearParts(jobs.filter((job) => job.output).map((job) => path.dirname(job.output))); // some outputs may come back
  const made = new Made(format, orientation);
  const ours = jobs.filter((_, place) => place % shard.count === shard.index - 1);
  return Promise.all(ours.map((job) => (job.failure ? job : fateOf(job, made, { skipExisting, overwrite }))));
}

module.exports = { findClash, outputOf, planConversions };
