// Hands recordings in. Whatever is wrong with them as a set is found before the first is queued.
'use strict';

const { createHash } = require('node:crypto');
const { Queue } = require('bullmq');
const { QUEUE, withRedis } = require('./connection.js');
const { optionsOf } = require('./options.js');
const { changeOf, changeOfOutput, clash, planConversions } = require('./recordings.js');

/** A hash of outputs, with the recording that each belongs to, as jobs are forgotten sooner than files are. */
const OWNERS = 'vortena:outputs';

const DAY_S = 24 * 60 * 60;
const kept = { age: 30 * DAY_S };

const JOB_OPTIONS = {
  attempts: 6,
  backoff: { type: 'exponential', delay: 10_000, jitter: 0.2 },
  removeOnComplete: kept,
  removeOnFail: kept,
};

/** What the data of a job add for each way to compute the orientation. */
const METHODS = [{}, { gyroscopeOffset: 'rest' }, { orientation: 'smoothed' }];

/** The same for whoever submits the same state of a recording for the same output, with the same orientation. */
function idOf({ recording, size, changed, output, orientation, gyroscopeOffset }) {
  const method = orientation ?? gyroscopeOffset;
  return createHash('sha256')
    .update(JSON.stringify([recording, size, changed, output, ...(method ? [method] : [])]))
    .digest('hex');
}

/** Jobs that write the same output of the recording with another orientation. */
async function rivalsOf(queue, { recording, size, changed, output, ...rest }) {
  const ids = METHODS.map((method) => idOf({ recording, size, changed, output, ...method }));
  const own = idOf({ recording, size, changed, output, ...rest });
  const jobs = await Promise.all(ids.filter((id) => id !== own).map((id) => queue.getJob(id)));
  return jobs.filter(Boolean);
}

/** A rival that runs would give the output its name after the job that is to replace it. */
async function requireNoneRuns(queue, conversion) {
  for (const job of await rivalsOf(queue, conversion)) {
    if (await job.isActive()) {
      const message = `${conversion.output} is being written with another orientation: submit it when that is done`;
      throw Object.assign(new Error(message), { code: 'ERR_OUTPUT_CLASH', path: conversion.output });
    }
  }
}

const isThere = async (conversion) => (await changeOfOutput(conversion)) !== null;

/** Gives an output to its recording. An owner that is gone, and left no output, has no claim to it. */
async function claim(redis, conversion) {
  const { recording, output } = conversion;
  if (await redis.hsetnx(OWNERS, output, recording)) {
    return { isNew: true };
  }
  const owner = await redis.hget(OWNERS, output);
  if (owner !== recording) {
    if ((await changeOf(owner)) !== null || (await isThere(conversion))) {
      throw clash(owner, recording, output);
    }
    await redis.hset(OWNERS, output, recording);
  }
  return { isNew: false };
}

/** A job that failed, or whose output was removed, is queued again. */
async function submitAgain(job, conversion) {
  const state = await job.getState();
  if (state === 'failed' || (state === 'completed' && !(await isThere(conversion)))) {
    await job.retry(state, { resetAttemptsMade: true, resetAttemptsStarted: true });
    return 'queued';
  }
  return 'known';
}

/** `before` tells the output of this job from one that was there when it was submitted. */
async function submit(queue, conversion, isNew) {
  const id = idOf(conversion);
  const { recording, output, changed, orientation, gyroscopeOffset } = conversion;
  const isPlain = !orientation && !gyroscopeOffset;
  await Promise.all((await rivalsOf(queue, conversion)).map((rival) => rival.remove()));
  const job = await queue.getJob(id);
  const before = await changeOfOutput(conversion);
  let state = 'queued';
  if (job) {
    state = await submitAgain(job, conversion);
  } else if (isNew && isPlain && before !== null && before >= changed) {
    state = 'exists'; // made before this server knew of it; nothing tells its orientation
  } else {
    await queue.add('convert', { ...conversion, before }, { ...JOB_OPTIONS, jobId: id });
  }
  return { id, recording, output, state };
}

/** All outputs are claimed before the first job is queued, so that a clash leaves nothing behind. */
async function submitAll(redis, conversions) {
  const queue = new Queue(QUEUE, { connection: redis });
  queue.on('error', () => {}); // what fails rejects
  const claims = [];
  for (const conversion of conversions) {
    await requireNoneRuns(queue, conversion);
    claims.push(await claim(redis, conversion));
  }
  const submitted = [];
  for (const [i, conversion] of conversions.entries()) {
    submitted.push(await submit(queue, conversion, claims[i].isNew));
  }
  await queue.close();
  return submitted;
}

/** What a job's data add; nothing for the filter, so that its jobs are those of earlier releases. */
function methodOf({ orientation, gyroscopeOffset }) {
  return orientation === 'smoothed' ? { orientation } : gyroscopeOffset ? { gyroscopeOffset } : {};
}

async function enqueue(paths, given = {}) {
  const { redis, orientation, gyroscopeOffset, ...options } = optionsOf('enqueue', given);
  const list = [paths].flat();
  if (!list.every((each) => typeof each === 'string')) {
    throw new TypeError('paths is not a path or a list of paths');
  }
  const conversions = await planConversions(list, options);
  const method = methodOf({ orientation, gyroscopeOffset });
  return withRedis(redis, (connection) =>
    submitAll(
      connection,
      conversions.map((each) => ({ ...each, ...method })),
    ),
  );
}

module.exports = { enqueue };
