// Bars on a terminal: one for all jobs, and below it one for each that runs. Elsewhere nothing is drawn.
'use strict';

const path = require('node:path');
const { MultiBar } = require('cli-progress');
const { formatBytes, formatDuration, printable } = require('./quantities.js');

const BAR_WIDTH = 24;
const NAME_WIDTH = 28;
const CLEAR_TO_END = '\x1b[K';
const ROWS_FOR_TEXT = 4; // left free on small terminals

/** What share of a job's time its stages take, about. */
const STAGES = {
  csv: [
    ['decode', 0.1],
    ['orientation', 0.5],
    ['write', 0.4],
  ],
  'csv.gz': [
    ['decode', 0.03],
    ['orientation', 0.12],
    ['write', 0.1],
    ['compress', 0.75],
  ],
  parquet: [
    ['decode', 0.05],
    ['orientation', 0.25],
    ['tables', 0.7],
  ],
  inspect: [
    ['decode', 0.4],
    ['orientation', 0.6],
  ],
  synchronise: [
    ['decode', 0.1],
    ['synchronise', 0.1],
    ['orientation', 0.4],
    ['write', 0.4],
  ],
};

/** The share of the whole job that is done, from 0 to 1. */
function fractionOf(operation, { stage, fraction }) {
  let before = 0;
  for (const [name, share] of STAGES[operation]) {
    if (name === stage) {
      return before + share * fraction;
    }
    before += share;
  }
  return 0;
}

function shortName(file) {
  const name = printable(path.basename(file));
  return (name.length > NAME_WIDTH ? `${name.slice(0, NAME_WIDTH - 1)}…` : name).padEnd(NAME_WIDTH);
}

function drawBar(value) {
  const full = Math.round(BAR_WIDTH * value);
  return `${'█'.repeat(full)}${'░'.repeat(BAR_WIDTH - full)} ${String(Math.floor(100 * value)).padStart(3)} %`;
}

const formatLine = (_, { value }, { name, text }) => `${name} ${drawBar(value)}  ${text}`;

class Bars {
  constructor(stream, slots, totals) {
    // With wrapping on, bars are cut to the width of the terminal and the lines above them are not.
    this.bars = new MultiBar({
      stream,
      format: formatLine,
      clearOnComplete: true,
      hideCursor: true,
      forceRedraw: true,
      linewrap: true,
    });
    this.mostShown = Math.max(0, Math.min(slots, (stream.rows ?? 24) - ROWS_FOR_TEXT));
    this.total = this.bars.create(1, 0, { name: 'all'.padEnd(NAME_WIDTH), text: '' });
    this.shown = new Map();
    this.jobs = new Map();
    Object.assign(this, { totals, settledBytes: 0, settledCount: 0, begin: performance.now() });
  }

  started(job) {
    this.jobs.set(job, 0);
    if (this.shown.size < this.mostShown) {
      this.shown.set(job, this.bars.create(1, 0, { name: shortName(job.recording), text: formatBytes(job.size) }));
    }
  }

  progressed(job, progress) {
    const fraction = Math.max(this.jobs.get(job) ?? 0, fractionOf(job.operation, progress));
    this.jobs.set(job, fraction);
    this.shown.get(job)?.update(fraction, { text: `${formatBytes(job.size)}, ${progress.stage}` });
    this.updateTotal();
  }

  settled(job) {
    this.bars.remove(this.shown.get(job));
    this.shown.delete(job);
    this.jobs.delete(job);
    this.settledBytes += job.size;
    this.settledCount += 1;
    this.updateTotal();
  }

  /** Rate and time left go by the bytes of the recordings. */
  updateTotal() {
    let done = this.settledBytes;
    for (const [job, fraction] of this.jobs) {
      done += job.size * fraction;
    }
    const rate = done / ((performance.now() - this.begin) / 1000);
    const left = formatDuration((this.totals.bytes - done) / rate, 0);
    const words = [`${this.settledCount}/${this.totals.count}`, `${formatBytes(rate)}/s`, ...(left ? [`${left} left`] : [])];
    this.total.update(this.totals.bytes > 0 ? done / this.totals.bytes : 1, { text: words.join(', ') });
  }

  /** A line above the bars, over what is left of one. */
  print(line) {
    this.bars.log(`${line.replaceAll('\n', `${CLEAR_TO_END}\n`)}${CLEAR_TO_END}\n`);
  }

  stop() {
    this.bars.update();
    this.bars.stop();
  }
}

module.exports = { Bars };
