// The job of check in a child of the pool.
'use strict';

const { inspect } = require('vortena-reader/promises');

/** The quality report of a recording, without its samples. */
async function inspectRecording({ recording }, context) {
  return { report: await inspect(recording, context) };
}

module.exports = { inspectRecording };
