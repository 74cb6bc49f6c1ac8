// The last step of outputs that appear whole or not at all.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');

async function syncToDisk(file) {
  const handle = await fs.open(file);
  try {
    await handle.sync();
  } finally {
    await handle.close();
  }
}

/** Where links lead; the path itself when nothing is there. */
const targetOf = (output) => fs.realpath(output).catch(() => output);

/** A link stays a link. With `fsync` file and name are on the disk afterwards. */
async function renameWhole(part, output, fsync) {
  const target = await targetOf(output);
  if (fsync) {
    await syncToDisk(part);
  }
  await fs.rename(part, target);
  if (fsync) {
    await syncToDisk(path.dirname(target));
  }
}

module.exports = { renameWhole, syncToDisk };
