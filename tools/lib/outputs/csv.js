// CSV, whole or not there: the reader sees to that.
'use strict';

const path = require('node:path');
const { convert } = require('vortena-reader/promises');
const { makeFolder } = require('./whole.js');

async function writeCsv({ recording, output, fsync, overwrite, keepReadable, secondThread }, { signal, onProgress }) {
  await makeFolder(path.dirname(output));
  const options = { signal, onProgress, fsync, overwrite, keepReadable, secondThread };
  const { rows, bytes, report } = await convert(recording, output, options);
  return { rows, bytes, report };
}

module.exports = { writeCsv };
