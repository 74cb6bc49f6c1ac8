// The first and the last step of outputs that appear whole or not at all.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { readConfig, VortenaError } = require('vortena-reader/promises');
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

function unwritable(code, words) {
  return Object.assign(new Error(`${code}: ${words}`), { code, syscall: 'open' });
}

async function beginsWith(file, bytes) {
  const handle = await fs.open(file);
  try {
    const { buffer } = await handle.read(Buffer.alloc(bytes.length), 0, bytes.length, 0);
    return buffer.equals(bytes);
  } finally {
    await handle.close();
  }
}

/** Recordings cannot be made again. What begins with `signature` is none: in compressed bytes a header can appear by chance. */
async function refuseRecording(output, signature) {
  const isRecording = await readConfig(output).then(() => true, () => false);
  if (isRecording && !(await beginsWith(output, signature))) {
    throw new VortenaError(`${output} is a recording and is not replaced`, { code: 'ERR_OUTPUT_IS_RECORDING', path: output });
  }
}

/** Before the work: the stats of a file that renaming may replace, undefined where nothing is. Other outputs are refused. */
async function requireReplaceable(output, signature) {
  const stats = await fs.stat(output).catch((error) => {
    if (error.code !== 'ENOENT') {
      throw error;
    }
  });
  if (stats?.isDirectory()) {
    throw unwritable('EISDIR', 'illegal operation on a directory');
  } else if (stats && !stats.isFile()) {
    throw unwritable('ENOTSUP', 'not a regular file');
  } else if (stats) {
    await fs.access(output, fs.constants.W_OK);
    await refuseRecording(output, signature);
  }
  return stats;
}

/** Of another user's file only the permissions stay where its owner cannot. */
async function takeOverMode(part, { uid, gid, mode }) {
  await fs.chown(part, uid, gid).catch(() => {});
  await fs.chmod(part, mode & 0o777);
}

/** A link stays a link, and the mode that of `old`. With `fsync` file and name are on the disk afterwards. */
async function renameWhole(part, output, { old, fsync }) {
  const target = await targetOf(output);
  if (old) {
    await takeOverMode(part, old);
  }
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

module.exports = { renameWhole, replaceFolder, requireReplaceable, syncToDisk };
