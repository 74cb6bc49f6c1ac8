// CSV, whole or not there: the reader sees to that.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { convert } = require('vortena-reader/promises');

async function writeCsv({ recording, output, fsync, secondThread }, { signal, onProgress }) {
  await fs.mkdir(path.dirname(output), { recursive: true });
  const { rows, bytes, report } = await convert(recording, output, { signal, onProgress, fsync, secondThread });
  return { rows, bytes, report };
}

module.exports = { writeCsv };
