// How far an operation is, from the numbers that it tells.
'use strict';

const STAGES = [undefined, 'decode', 'orientation', 'write', 'synchronise', 'levels'];

/** `stage` is undefined before the first one. */
function progressOf([stage, done, total]) {
  return { stage: STAGES[stage], fraction: total > 0 ? Math.min(1, done / total) : 0 };
}

module.exports = { progressOf };
