// An operation under way as its caller sees it: progress out, the wish to stop in.
'use strict';

const { progressOf } = require('../requests/stages.js');

const PROGRESS_MS = 100;

class Listener {
  constructor({ signal, onProgress }) {
    Object.assign(this, { signal, onProgress, last: 0, look: this.look.bind(this) });
  }

  /** For an instance: the numbers of the operation, of which the first tells it to stop. */
  look(watch) {
    const { stage, fraction } = progressOf(watch.subarray(1));
    this.tell(stage, fraction);
    watch[0] = this.signal?.aborted || this.thrown ? 1 : 0;
  }

  tell(stage, fraction) {
    const now = performance.now();
    if (this.onProgress && stage && !this.thrown && now - this.last >= PROGRESS_MS) {
      const { onProgress } = this;
      this.last = now;
      try {
        onProgress({ stage, fraction });
      } catch (error) {
        this.thrown = { error };
      }
    }
  }

  /** What the listener threw and the reason of the signal come before any failure that they made. */
  throwIfStopped() {
    if (this.thrown) {
      throw this.thrown.error;
    }
    this.signal?.throwIfAborted();
  }
}

module.exports = { Listener };
