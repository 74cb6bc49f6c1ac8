// Does the jobs of the queue, in threads of this process.
'use strict';

const os = require('node:os');
const { Worker } = require('bullmq');
const { QUEUE, redisUrl } = require('./connection.js');
const { convertOnce } = require('./conversion.js');
const { MemoryGate } = require('./memory.js');

const LOCK_S = 30;
const PROGRESS_MS = 1000;

/** As often as workers may be lost with a job before it counts as what ends them. */
const LOSSES = 2;

/** Tells how far a job is, at most once a second and not while the server is away. */
function progressOf(job) {
  let last = -Infinity;
  let isOnItsWay = false;
  return ({ stage, fraction }) => {
    const now = performance.now();
    if (isOnItsWay || now - last < PROGRESS_MS) {
      return;
    }
    last = now;
    isOnItsWay = true;
    const settle = () => {
      isOnItsWay = false;
    };
    job.updateProgress({ stage, fraction }).then(settle, settle);
  };
}

function checkOptions(options) {
  for (const [name, value] of Object.entries(options)) {
    if (value !== undefined && !(Number.isFinite(value) && value > 0)) {
      throw new TypeError(`options.${name} is not a number above 0`);
    }
  }
}

function work({ redis, concurrency = os.availableParallelism(), memory, lock = LOCK_S } = {}) {
  checkOptions({ concurrency, memory, lock });
  const gate = new MemoryGate(memory);

  // The engine hands a signal to functions of three parameters only.
  const perform = async (job, token, signal) => {
    const release = await gate.enter(job.data.size, signal);
    try {
      return await convertOnce(job.data, job.attemptsStarted === 1, { signal, onProgress: progressOf(job) });
    } finally {
      release();
    }
  };
  const worker = new Worker(QUEUE, perform, {
    connection: { url: redisUrl(redis) },
    concurrency,
    lockDuration: 1000 * lock,
    stalledInterval: 1000 * lock,
    maxStalledCount: LOSSES,
    name: `${os.hostname()}-${process.pid}`,
  });
  worker.on('lockRenewalFailed', (ids) => ids.forEach((id) => worker.cancelJob(id, new Error('the job was given to another worker'))));
  return worker;
}

module.exports = { work };
