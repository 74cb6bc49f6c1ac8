// A run of one operation over many recordings: the pool, what is told about it, and how it is interrupted.
'use strict';

const os = require('node:os');
require('vortena-reader/promises'); // says once, and here, when it is not built
const { FAILED, OK } = require('../telling/exit-status.js');
const { Interruption } = require('./interruption.js');
const { memoryBudget } = require('./memory.js');
const { Pool } = require('./pool.js');
const { counted, formatBytes, formatDuration } = require('../telling/quantities.js');

class Run {
  /** `succeed(job, result, ms)` reports a job that was done. */
  constructor(report, succeed) {
    Object.assign(this, { report, succeed, counts: { done: 0, damaged: 0, skipped: 0, failed: 0 }, bytes: 0 });
    this.begin = performance.now();
    this.starts = new Map();
  }

  fail({ recording, output }, failure) {
    this.counts.failed += 1;
    this.report.event('failed', { recording, output, ...failure });
  }

  skip({ recording, output, skipped }) {
    this.counts.skipped += 1;
    this.report.event('skipped', { recording, output, reason: skipped });
  }

  started(job, pid) {
    this.starts.set(job, performance.now());
    this.report.started(job, pid);
  }

  progressed(job, progress) {
    this.report.progressed(job, progress);
  }

  settled(job, { result, failure }) {
    this.report.settled(job);
    if (failure?.code === 'ERR_INTERRUPTED') {
      this.interrupted += 1;
    } else if (failure) {
      this.fail(job, failure);
    } else {
      this.counts.done += 1;
      this.counts.damaged += Number(result.report.verdict === 'damaged');
      this.bytes += job.size;
      this.succeed(job, result, Math.round(performance.now() - this.starts.get(job)));
    }
  }

  /** Does the jobs that have neither `failure` nor `skipped`. */
  async over(jobs, { jobs: mostJobs = os.availableParallelism(), memory }) {
    const open = jobs.filter((job) => !job.failure && !job.skipped);
    this.count = jobs.length;
    this.interrupted = 0;
    const slots = Math.min(mostJobs, open.length);
    const secondThread = slots < os.availableParallelism();
    open.forEach((job) => Object.assign(job, { secondThread }));
    this.report.begin(slots, open);
    jobs.filter((job) => job.failure).forEach((job) => this.fail(job, job.failure));
    jobs.filter((job) => job.skipped).forEach((job) => this.skip(job));
    const pool = new Pool({ slots, budget: memoryBudget(memory), listener: this });
    const interruption = new Interruption({ ask: () => this.interrupt(pool), now: () => this.abandon(pool) });
    await pool.run(open);
    interruption.end();
    this.signalStatus = interruption.status;
    this.report.end();
  }

  interrupt(pool) {
    this.interrupted += pool.cancel().length;
    this.report.say('Interrupted: what runs is cancelled and removed. Once more ends at once.');
  }

  abandon(pool) {
    pool.kill();
    this.report.end();
  }

  get status() {
    return this.signalStatus ?? (this.counts.failed > 0 ? FAILED : OK);
  }

  /** `verb` is what happened to the recordings that went well. */
  finish(verb, status) {
    const { done, damaged, skipped, failed } = this.counts;
    const { count: recordings, interrupted, bytes } = this;
    const ms = Math.round(performance.now() - this.begin);
    this.report.event('finished', { recordings, [verb]: done, damaged, skipped, failed, interrupted, bytes, ms, status });
    const others = [
      [damaged, 'of them damaged'],
      [skipped, 'there already'],
      [failed, 'failed'],
      [interrupted, 'not done'],
    ]
      .filter(([count]) => count > 0)
      .map(([count, what]) => `, ${count} ${what}`);
    const rate =
      done > 0 ? `, ${formatBytes(bytes)} in ${formatDuration(ms / 1000, 1)}, ${formatBytes((1000 * bytes) / ms)}/s` : '';
    this.report.say(`${counted(recordings, 'recording')}: ${done} ${verb}${others.join('')}${rate}`);
  }
}

module.exports = { Run };
