// Memory for the jobs of one process: they are let in while it lasts, in their order, and one always is.
'use strict';

const { memoryBudget, memoryOf } = require('vortena-tools/lib/running/memory.js');

class MemoryGate {
  constructor(givenMiB) {
    Object.assign(this, { budget: memoryBudget(givenMiB), taken: 0, inside: 0, waiting: [] });
  }

  /** Resolves with what gives the memory back; rejects when the signal aborts first. */
  enter(job, signal) {
    signal.throwIfAborted();
    return new Promise((resolve, reject) => {
      const visitor = { need: memoryOf(job), resolve };
      visitor.leave = () => {
        this.waiting = this.waiting.filter((each) => each !== visitor);
        reject(signal.reason);
        this.admit();
      };
      signal.addEventListener('abort', visitor.leave, { once: true });
      visitor.signal = signal;
      this.waiting.push(visitor);
      this.admit();
    });
  }

  admit() {
    while (this.waiting.length > 0 && (this.inside === 0 || this.taken + this.waiting[0].need <= this.budget)) {
      const { need, resolve, signal, leave } = this.waiting.shift();
      signal.removeEventListener('abort', leave);
      this.inside += 1;
      this.taken += need;
      resolve(() => this.release(need));
    }
  }

  release(need) {
    this.inside -= 1;
    this.taken -= need;
    this.admit();
  }
}

module.exports = { MemoryGate };
