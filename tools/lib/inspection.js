'use strict';

const { inspect } = require('vortena-reader/promises');

/** The quality report of a recording, without its samples. */
async function inspectRecording({ recording }, { signal }) {
  return { report: await inspect(recording, { signal }) };
}

module.exports = { inspectRecording };
