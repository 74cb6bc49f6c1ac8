// Does the jobs of the queue, in threads of this process.
'use strict';

const fs = require('node:fs/promises');
const os = require('node:os');
const { DelayedError, Worker } = require('bullmq');
const { QUEUE, redisUrl, withoutCommand } = require('./connection.js');
const { convertOnce } = require('./conversion.js');
const { MemoryGate } = require('./memory.js');
const { optionsOf } = require('./options.js');
const { serverClockBackend } = require('./server-clock.js');

const PROGRESS_MS = 1000;
const PAUSE_MS = 1000;

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

const lost = () => new Error('the job was lost: it belongs to whoever takes it next');

/** What is there counts: jobs can be made by hand. A recording that cannot be looked at fails soon, and needs no memory. */
async function sizeNow(recording) {
  try {
    return (await fs.stat(recording)).size;
  } catch {
    return 0;
  }
}

/** The starts of jobs in this process that have not ended; cancelling takes a moment. */
class Starts {
  constructor(gate, lockMs) {
    Object.assign(this, { gate, lockMs, byId: new Map() });
  }

  cancel(id) {
    this.byId.get(id)?.abort(lost());
  }

  cancelAll() {
    [...this.byId.keys()].forEach((id) => this.cancel(id));
  }

  /** A job that was lost may come back before its start here has ended. It is put off, as a worker's locks go by job. */
  async putOff(job, token) {
    this.cancel(job.id);
    await job.moveToDelayed(Date.now() + PAUSE_MS, token);
    throw new DelayedError();
  }

  async perform(job, token) {
    if (this.byId.has(job.id)) {
      return this.putOff(job, token);
    }
    const controller = new AbortController();
    this.byId.set(job.id, controller);
    try {
      return await this.convert(job, token, controller.signal);
    } finally {
      this.byId.delete(job.id);
    }
  }

  /** The job may have been lost before this start could be cancelled. While the server is away, nothing begins. */
  async requireLock(job, token) {
    if (!(await job.extendLock(token, this.lockMs))) {
      throw lost();
    }
  }

  async convert(job, token, signal) {
    const size = await sizeNow(job.data?.recording);
    const release = await this.gate.enter({ size, operation: job.data?.to }, signal);
    try {
      await this.requireLock(job, token);
      return await convertOnce(job.data, job.attemptsStarted === 1, { signal, onProgress: progressOf(job) });
    } finally {
      release();
    }
  }
}

class QueueWorker extends Worker {
  emit(event, ...values) {
    return super.emit(event, ...(event === 'error' ? values.map(withoutCommand) : values));
  }
}

/** The engine asks for its locks now and then; whoever was frozen for longer than they last has lost them at once. */
function cancelAfterFreeze(worker, starts, lockMs) {
  let last = performance.now();
  const timer = setInterval(() => {
    const now = performance.now();
    if (now - last > lockMs) {
      starts.cancelAll();
    }
    last = now;
  }, lockMs / 4);
  timer.unref();
  worker.on('closed', () => clearInterval(timer));
}

function work(given = {}) {
  const { redis, concurrency, memory, lock } = optionsOf('work', given);
  const lockMs = 1000 * lock;
  const starts = new Starts(new MemoryGate(memory), lockMs);
  const worker = new QueueWorker(
    QUEUE,
    (job, token) => starts.perform(job, token),
    {
      connection: { url: redisUrl(redis) },
      concurrency,
      lockDuration: lockMs,
      stalledInterval: lockMs,
      maxStalledCount: LOSSES,
      name: `${os.hostname()}-${process.pid}`,
    },
    serverClockBackend,
  );
  worker.on('lockRenewalFailed', (ids) => ids.forEach((id) => starts.cancel(id)));
  cancelAfterFreeze(worker, starts, lockMs);
  return worker;
}

module.exports = { work };
