// At most as many jobs at a time as there are processors; the others wait in order. A running job is met only in four
// numbers that it shares, its control block, and in one callback.
'use strict';

const os = require('node:os');

const POLL_MS = 100;
const STAGES = [undefined, 'decode', 'orientation', 'write', 'synchronise', 'levels'];

// Places in a control block.
const STOP = 0;
const STAGE = 1;
const DONE = 2;
const TOTAL = 3;
const PLACES = 4;

const slots = os.availableParallelism();
const waiting = [];
let running = 0;

function startNext() {
  while (running < slots && waiting.length > 0) {
    waiting.shift().begin();
  }
}

function progressOf(control) {
  const stage = STAGES[Atomics.load(control, STAGE)];
  const total = Atomics.load(control, TOTAL);
  return { stage, fraction: total > 0 ? Math.min(1, Atomics.load(control, DONE) / total) : 0 };
}

/** From the place in the queue to the callback. */
class Job {
  constructor(start, { signal, onProgress }, { sharedControl, settle }) {
    const Memory = sharedControl ? SharedArrayBuffer : ArrayBuffer;
    Object.assign(this, { start, signal, onProgress, settle });
    this.control = new Int32Array(new Memory(PLACES * Int32Array.BYTES_PER_ELEMENT));
    this.abort = this.abort.bind(this);
    signal?.addEventListener('abort', this.abort, { once: true });
  }

  begin() {
    running += 1;
    try {
      this.start(this.control, (...answer) => this.end(...answer), running < slots);
    } catch (error) {
      this.end(error);
      return;
    }
    if (this.onProgress) {
      this.timer = setInterval(() => this.poll(), POLL_MS);
      this.timer.unref();
    }
  }

  stop() {
    Atomics.store(this.control, STOP, 1);
  }

  abort() {
    const place = waiting.indexOf(this);
    if (place < 0) {
      this.stop();
    } else {
      waiting.splice(place, 1);
      this.settle.reject(this.signal.reason);
    }
  }

  poll() {
    const progress = progressOf(this.control);
    if (progress.stage) {
      this.report(progress);
    }
  }

  /** What the listener throws stops the job, and is what its promise rejects with. */
  report(progress) {
    try {
      this.onProgress(progress);
    } catch (error) {
      this.thrown = { error };
      clearInterval(this.timer);
      this.stop();
    }
  }

  end(failure, json, buffers) {
    running -= 1;
    clearInterval(this.timer);
    this.signal?.removeEventListener('abort', this.abort);
    if (!failure && this.onProgress && !this.thrown && progressOf(this.control).stage) {
      this.report({ ...progressOf(this.control), fraction: 1 });
    }
    if (this.thrown) {
      this.settle.reject(this.thrown.error);
    } else if (failure) {
      this.settle.reject(this.signal?.aborted ? this.signal.reason : failure);
    } else {
      this.settle.resolve({ result: JSON.parse(json), buffers });
    }
    startNext();
  }
}

/**
 * Runs `start(control, callback, alone)` when its turn comes; `alone` says that a processor is left over. Resolves with
 * what the callback gets, rejects with its failure or with the reason of the signal. `sharedControl` puts the control
 * block into memory that a worker thread can see.
 */
function runJob(start, options, { sharedControl = false } = {}) {
  options.signal?.throwIfAborted();
  return new Promise((resolve, reject) => {
    waiting.push(new Job(start, options, { sharedControl, settle: { resolve, reject } }));
    startNext();
  });
}

module.exports = { runJob };
