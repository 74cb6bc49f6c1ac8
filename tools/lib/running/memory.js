// How much memory the jobs of a pool may take together.
'use strict';

const os = require('node:os');

const MIB = 1024 * 1024;
const SHARE_OF_FREE = 0.6;

/** Reading takes at most seven times the recording; the rest is for the process itself, and for rows under way. */
const TIMES_RECORDING = 7;
const PROCESS_MIB = 64;
const PARQUET_MIB = 64;

function memoryOf({ size, operation }) {
  return TIMES_RECORDING * size + (PROCESS_MIB + (operation === 'parquet' ? PARQUET_MIB : 0)) * MIB;
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
