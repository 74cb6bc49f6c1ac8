// Outputs that appear whole or not at all: written as parts that only their owner can read, then published.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { publish, requirePlace } = require('vortena-reader/outputs');

const PARQUET = Buffer.from('PAR1'); // at both ends of such a file

/** Until an output appears it is for nobody else. */
const OWNER_ONLY = 0o600;
const FOLDER_OWNER_ONLY = 0o700;

/** Some systems sync only what is open for writing. */
async function syncToDisk(file) {
  const handle = await fs.open(file, 'r+');
  try {
    await handle.sync();
  } finally {
    await handle.close();
  }
}

/** Node.js calls the folder missing where the system does not let it be made. */
async function makeFolder(folder) {
  try {
    await fs.mkdir(folder, { recursive: true });
  } catch (error) {
    const parent = path.dirname(folder);
    if (error.code === 'ENOENT' && parent !== folder) {
      await makeFolder(parent);
      await fs.mkdir(folder);
    } else {
      throw error;
    }
  }
}

/** The bytes at the start and at the end of a file. */
async function ends(file, length) {
  const handle = await fs.open(file);
  try {
    const { size } = await handle.stat();
    const at = async (position) => (await handle.read(Buffer.alloc(length), 0, length, position)).buffer;
    return size >= 2 * length ? [await at(0), await at(size - length)] : [];
  } finally {
    await handle.close();
  }
}

async function isParquet(file) {
  const found = await ends(file, PARQUET.length);
  return found.length > 0 && found.every((bytes) => bytes.equals(PARQUET));
}

async function isTable(folder, entry) {
  return entry.isFile() && entry.name.endsWith('.parquet') && isParquet(path.join(folder, entry.name));
}

/** Whether a folder holds what was made from a recording and nothing else, or nothing. Others are not ours to replace. */
async function holdsTablesOnly(folder, proof) {
  const entries = await fs.readdir(folder, { withFileTypes: true });
  const ours = await Promise.all(
    entries.map(async (entry) => (entry.isFile() && entry.name === proof) || isTable(folder, entry)),
  );
  return entries.length === 0 || (entries.some(({ name }) => name === proof) && ours.every(Boolean));
}

/** Before the work and again before the renaming. A folder that is not there is nobody's. */
async function requireOurs(folder, proof) {
  const stats = await fs.stat(folder).catch(() => undefined);
  if (stats && !(stats.isDirectory() && (await holdsTablesOnly(folder, proof)))) {
    const message = `${folder} is there and holds other things than the tables of a recording: it is not replaced`;
    throw Object.assign(new Error(message), { code: 'ERR_OUTPUT_FOREIGN' });
  }
}

async function requireFolderPlace(output, { proof, overwrite }) {
  await requireOurs(output, proof);
  await requirePlace(output, { folder: true, overwrite, mayBeginLikeRecording: true });
}

/** Each table gets the mode of the one that it replaces. */
async function takeOverModes(part, output) {
  for (const name of await fs.readdir(part)) {
    const old = await fs.stat(path.join(output, name)).catch(() => undefined);
    if (old) {
      await fs.chmod(path.join(part, name), old.mode & 0o777).catch(() => {});
    }
  }
}

/** Old tables that cannot be removed are in nobody's way: the new ones stand. */
async function publishFolder(part, output, { proof, fsync, overwrite }) {
  await requireOurs(output, proof);
  await takeOverModes(part, output);
  const aside = await publish(part, output, { fsync, overwrite, mayBeginLikeRecording: true });
  if (aside) {
    await fs.rm(aside, { recursive: true, force: true }).catch(() => {});
  }
}

module.exports = { FOLDER_OWNER_ONLY, OWNER_ONLY, makeFolder, publishFolder, requireFolderPlace, syncToDisk };
