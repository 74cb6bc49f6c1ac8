// Jobs of the reader page. Each has a worker of its own, which takes all of its memory along when it ends.
'use strict';

const { inflate } = require('../page/packing.js');

/** A failure of the reader: `code` is stable, the message is for people. */
class JobError extends Error {
  constructor({ message, code }) {
    super(message);
    this.code = code;
  }
}

class Jobs {
  /** `script` is the worker's text, `wasm` the reader's module as base64 of its deflated form. */
  static async from(script, wasm) {
    const address = URL.createObjectURL(new Blob([script], { type: 'text/javascript' }));
    return Object.assign(new Jobs(), { address, module: await WebAssembly.compile(await inflate(wasm)) });
  }

  /** Resolves with the answer. What aborts `signal` ends the worker at once. `onPiece` gets parts of a file. */
  async run(job, files, { options, signal, onProgress, onPiece }) {
    signal.throwIfAborted();
    const worker = new Worker(this.address);
    try {
      return await new Promise((resolve, reject) => {
        signal.addEventListener('abort', () => reject(signal.reason), { once: true });
        worker.addEventListener('error', ({ message }) => reject(new Error(message || 'The reader ended.')));
        worker.addEventListener('message', ({ data }) => {
          if (data.progress) {
            onProgress(data.progress);
          } else if (data.piece) {
            onPiece(data.piece).then(() => worker.postMessage('taken'), reject);
          } else if (data.failure) {
            reject(new JobError(data.failure));
          } else {
            resolve(data.answer);
          }
        });
        worker.postMessage({ module: this.module, job, files, options });
      });
    } finally {
      worker.terminate();
    }
  }
}

module.exports = { Jobs };
