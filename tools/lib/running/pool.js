// Child processes that each do one job after the other. What ends one costs the job that it had; the next job gets a new
// child. Jobs are let in while their memory fits into the budget, and one always is.
'use strict';

const { fork } = require('node:child_process');
const path = require('node:path');
const { clearParts } = require('vortena-reader/outputs');
const { failure } = require('../telling/failures.js');
const { memoryOf } = require('./memory.js');

const WORKER = path.join(__dirname, 'worker.js');
const PATIENCE_MS = 5000; // with a job that is to stop
const LAST_WORDS = 500; // characters of a child's standard error

class Child {
  constructor(pool) {
    this.pool = pool;
    this.lastWords = '';
    this.process = fork(WORKER, [], { stdio: ['ignore', 'ignore', 'pipe', 'ipc'], serialization: 'advanced' });
    this.process.stderr.setEncoding('utf8').on('data', (text) => {
      this.lastWords = (this.lastWords + text).slice(-LAST_WORDS);
    });
    this.process.on('message', (message) => this.hear(message));
    this.process.once('error', (error) => this.end(`could not be started: ${error.message}`));
    this.process.once('close', (status, signal) => this.end(`ended with ${signal ?? `status ${status}`}`));
  }

  take(job) {
    this.job = job;
    this.tell({ job });
    this.pool.listener.started(job, this.process.pid);
  }

  /** A message to a child that has just died is lost, as its job is. */
  tell(message) {
    if (this.process.connected) {
      this.process.send(message, () => {});
    }
  }

  hear({ progress, result, failure: problem }) {
    if (progress && this.job) {
      this.pool.listener.progressed(this.job, progress);
    } else if (this.job) {
      this.finish({ result, failure: problem });
    }
  }

  finish(outcome) {
    const { job } = this;
    this.job = undefined;
    clearTimeout(this.timer);
    this.pool.settle(job, outcome);
  }

  /** Called once or twice: a child that could not be started closes as well. */
  async end(how) {
    this.pool.forget(this);
    const { job } = this;
    if (job) {
      this.job = undefined;
      clearTimeout(this.timer);
      await clearParts(job.output ? [path.dirname(job.output)] : []);
      const words = this.lastWords.trim();
      const message = `${job.recording}: the process that read it ${how}${words ? `: ${words}` : ''}`;
      this.pool.settle(job, { failure: failure('ERR_WORKER_DIED', message) });
    }
  }

  cancel() {
    this.tell({ cancel: true });
    this.timer = setTimeout(() => this.kill(), PATIENCE_MS);
  }

  kill() {
    this.process.kill('SIGKILL');
  }

  release() {
    if (this.process.connected) {
      this.process.disconnect();
    }
  }
}

class Pool {
  /** `listener` has started(job, pid), progressed(job, { stage, fraction }) and settled(job, { result, failure }). */
  constructor({ slots, budget, listener }) {
    Object.assign(this, { slots, budget, listener, waiting: [], children: new Set(), taken: 0, running: 0 });
  }

  /** Resolves when nothing runs any more: all jobs are settled, or cancel() left some out. */
  run(jobs) {
    this.waiting = [...jobs];
    return new Promise((resolve) => {
      this.done = resolve;
      this.admit();
    });
  }

  /** The first that fits; the largest come last when they do not. */
  next() {
    const place = this.running === 0 ? 0 : this.waiting.findIndex((job) => this.taken + memoryOf(job) <= this.budget);
    return place < 0 ? undefined : this.waiting.splice(place, 1)[0];
  }

  admit() {
    while (this.running < this.slots && this.waiting.length > 0) {
      const job = this.next();
      if (!job) {
        return;
      }
      this.running += 1;
      this.taken += memoryOf(job);
      this.idleChild().take(job);
    }
    if (this.running === 0) {
      this.children.forEach((child) => child.release());
      this.done();
    }
  }

  idleChild() {
    const child = [...this.children].find((each) => !each.job) ?? new Child(this);
    this.children.add(child);
    return child;
  }

  forget(child) {
    this.children.delete(child);
  }

  settle(job, outcome) {
    this.running -= 1;
    this.taken -= memoryOf(job);
    this.listener.settled(job, outcome);
    this.admit();
  }

  /** Starts nothing new and stops what runs; gives the jobs that were not started. */
  cancel() {
    const left = this.waiting.splice(0);
    this.children.forEach((child) => child.job && child.cancel());
    return left;
  }

  /** Without waiting for anything. */
  kill() {
    this.children.forEach((child) => child.kill());
  }
}

module.exports = { Pool };
