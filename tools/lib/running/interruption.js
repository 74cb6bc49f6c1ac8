// Signals that ask a run to end: the first asks, the second does not.
'use strict';

const os = require('node:os');

const SIGNALS = ['SIGINT', 'SIGTERM', 'SIGHUP'];

/** As shells report a process that the signal ended; 130 for SIGINT. */
const statusOf = (signal) => 128 + os.constants.signals[signal];

class Interruption {
  /** `ask` is called once, with what is to be done at once for the second signal before the process ends. */
  constructor({ ask, now }) {
    this.listener = (signal) => {
      if (this.status !== undefined) {
        now();
        process.exit(statusOf(signal));
      }
      this.status = statusOf(signal);
      ask();
    };
    SIGNALS.forEach((signal) => process.on(signal, this.listener));
  }

  end() {
    SIGNALS.forEach((signal) => process.off(signal, this.listener));
  }
}

module.exports = { Interruption };
