// At most as many jobs at a time as there are processors; the others wait in order. How a job is started, watched and
// stopped is the backend's; here it has a handle.
'use strict';

const os = require('node:os');

const { progressOf } = require('../requests/stages.js');

const POLL_MS = 100;
/** Jobs end within some milliseconds of their wish to stop, and leave nothing. One that the system holds is not waited for. */
const PATIENCE_MS = 100;

const slots = os.availableParallelism();
const waiting = new Set();
let running = 0;

function startNext() {
  for (const job of waiting) {
    if (running >= slots) {
      return;
    }
    waiting.delete(job);
    job.begin();
  }
}

/** One listener for a signal, however many jobs it has: an emitter searches its listeners one by one. */
const jobsOfSignals = new WeakMap();

function abortAll(signal) {
  const jobs = jobsOfSignals.get(signal);
  jobsOfSignals.delete(signal);
  jobs.forEach((job) => job.abort());
}

function listen(signal, job) {
  if (!jobsOfSignals.has(signal)) {
    jobsOfSignals.set(signal, new Set());
    signal.addEventListener('abort', onAbort, { once: true });
  }
  jobsOfSignals.get(signal).add(job);
}

function onAbort({ target }) {
  abortAll(target);
}

function unlisten(signal, job) {
  const jobs = jobsOfSignals.get(signal);
  jobs?.delete(job);
  if (jobs?.size === 0) {
    jobsOfSignals.delete(signal);
    signal.removeEventListener('abort', onAbort);
  }
}

/** Why an operation gave nothing, as the backend tells it. */
class JobFailure {
  constructor(failure) {
    this.failure = failure;
  }
}

/** From the place in the queue to the callback. */
class Job {
  constructor(backend, start, { signal, onProgress }, settle) {
    Object.assign(this, { backend, start, signal, onProgress, settle });
    if (signal) {
      listen(signal, this);
    }
  }

  begin() {
    running += 1;
    try {
      this.handle = this.start((...answer) => this.end(...answer), running < slots);
    } catch (error) {
      this.rejection = error.code === 'ERR_NO_MEMORY' ? undefined : { error, evenWhenDone: true };
      this.end(error);
      return;
    }
    if (this.onProgress) {
      this.poller = setInterval(() => this.poll(), POLL_MS);
      this.poller.unref();
    }
  }

  /** Stops the job; `error` is what its promise rejects with, unless `evenWhenDone` is false and it was done before. */
  stop(error, evenWhenDone) {
    this.rejection ??= { error, evenWhenDone };
    clearInterval(this.poller);
    this.backend.stopJob(this.handle);
    this.patience ??= setTimeout(() => this.settle.reject(this.rejection.error), PATIENCE_MS);
  }

  abort() {
    const { reason } = this.signal;
    if (waiting.delete(this)) {
      this.settle.reject(reason);
    } else {
      this.stop(reason, false);
    }
  }

  poll() {
    const progress = progressOf(this.backend.jobProgress(this.handle));
    if (progress.stage) {
      this.report(progress);
    }
  }

  /** What the listener throws stops the job. */
  report(progress) {
    const { onProgress } = this;
    try {
      onProgress(progress);
    } catch (error) {
      this.stop(error, true);
    }
  }

  end(failure, json, arrays) {
    clearInterval(this.poller);
    if (!failure && this.onProgress && !this.rejection) {
      const { stage } = progressOf(this.backend.jobProgress(this.handle));
      if (stage) {
        this.report({ stage, fraction: 1 });
      }
    }
    if (failure || this.rejection?.evenWhenDone) {
      this.leave();
      this.reject(failure);
    } else {
      this.collect(JSON.parse(json), arrays);
    }
  }

  /** Arrays come into memory of JavaScript's own, which can be handed on to other threads. */
  collect(result, arrays) {
    const finish = (failure, buffers) => {
      this.leave();
      if (failure) {
        this.reject(failure);
      } else {
        this.settle.resolve({ result, buffers });
      }
    };
    this.backend.collect(arrays, finish, (handle) => {
      this.handle = handle;
    });
  }

  /** What stopped the job comes before any failure that it made. */
  reject(failure) {
    this.settle.reject(this.rejection ? this.rejection.error : new JobFailure(failure));
  }

  /** The place goes to the next; nothing of the job is under way any more. */
  leave() {
    running -= 1;
    clearTimeout(this.patience);
    if (this.signal) {
      unlisten(this.signal, this);
    }
    startNext();
  }
}

/**
 * Runs `start(callback, alone)` of a backend when its turn comes; `alone` says that a processor is left over. It answers
 * a handle for the backend's stopJob() and jobProgress(). Resolves with what the callback gets, rejects with its failure
 * as a JobFailure, or with the reason of the signal.
 */
function runJob(backend, start, options) {
  options.signal?.throwIfAborted();
  return new Promise((resolve, reject) => {
    waiting.add(new Job(backend, start, options, { resolve, reject }));
    startNext();
  });
}

module.exports = { JobFailure, runJob };
