// The last step of outputs that appear whole or not at all.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { asideOf } = require('../parts.js');

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

/** Whether a folder holds what was made from a recording and nothing else, or nothing. Others are not ours to replace. */
async function isReplaceable(folder, proof) {
  const entries = await fs.readdir(folder, { withFileTypes: true });
  const isOurs = (entry) => entry.isFile() && (entry.name === proof || entry.name.endsWith('.parquet'));
  return entries.length === 0 || (entries.some(({ name }) => name === proof) && entries.every(isOurs));
}

function notOurs(folder) {
  const message = `${folder} is there and holds other things than the tables of a recording: it is not replaced`;
  return Object.assign(new Error(message), { code: 'ERR_OUTPUT_FOREIGN' });
}

/** Folders cannot be renamed over each other: the old one goes aside first, and comes back when the new one cannot stay. */
async function replaceFolder(part, output, { proof, fsync }) {
  const stats = await fs.stat(output).catch(() => undefined);
  if (!stats) {
    await fs.rename(part, output);
  } else if (!stats.isDirectory() || !(await isReplaceable(output, proof))) {
    throw notOurs(output);
  } else {
    await exchange(part, await targetOf(output));
  }
  if (fsync) {
    await syncToDisk(path.dirname(output));
  }
}

async function exchange(part, target) {
  const aside = asideOf(target);
  await fs.rename(target, aside);
  try {
    await fs.rename(part, target);
  } catch (error) {
    await fs.rename(aside, target);
    throw error;
  }
  await fs.rm(aside, { recursive: true, force: true });
}

module.exports = { renameWhole, replaceFolder, syncToDisk };
