// CSV, whole or not there: the reader sees to that.
'use strict';

const path = require('node:path');
const { convert } = require('vortena-reader/promises');
const { makeFolder } = require('./whole.js');

async function writeCsv(job, { signal, onProgress }) {
  const { recording, output, fsync, overwrite, keepReadable, secondThread, orientation, gyroscopeOffset } = job;
  await makeFolder(path.dirname(output));
  const options = { signal, onProgress, fsync, overwrite, keepReadable, secondThread, orientation, gyroscopeOffset };
  const { rows, bytes, report } = await convert(recording, output, options);
  return { rows, bytes, report };
}

module.exports = { writeCsv };
