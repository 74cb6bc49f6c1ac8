// How much memory the jobs of a pool may take together.
'use strict';

const os = require('node:os');

const MIB = 1024 * 1024;
const SHARE_OF_FREE = 0.6;

/** Reading takes at most seven times the recording; the rest is for the process itself. */
const TIMES_RECORDING = 7;
const PROCESS_MIB = 64;

function memoryOf({ size }) {
  return TIMES_RECORDING * size + PROCESS_MIB * MIB;
}

/** Bytes. A container may have less than its host. */
function memoryBudget(givenMiB) {
  if (givenMiB !== undefined) {
    return givenMiB * MIB;
  }
  const limit = process.constrainedMemory() || Infinity; // 0 where nothing limits it
  return SHARE_OF_FREE * Math.min(os.freemem(), limit);
}

module.exports = { memoryBudget, memoryOf };
