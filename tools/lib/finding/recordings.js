// From the arguments of a command to recordings. In folders every *.bin is one; a file that is named is one, whatever its
// name.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { UsageError } = require('../telling/exit-status.js');
const { failure } = require('../telling/failures.js');

const ENDING = /\.bin$/i;

const inOrder = (a, b) => (a.recording < b.recording ? -1 : Number(a.recording > b.recording));

const WORDS = { ENOENT: 'no such file or folder', EACCES: 'permission denied', ELOOP: 'a link that leads round' };

function unreadable(file, { code, message }, words = WORDS[code] ?? message.replace(`${code}: `, '')) {
  return {
    recording: file,
    failure: failure('ERR_UNREADABLE', `${file} cannot be read: ${code}: ${words}`, { systemCode: code }),
  };
}

/** Links to files are recordings; links to folders are not followed, as they can lead round. */
async function behindLink(file, below) {
  const stats = await fs.stat(file).catch((error) => error);
  if (stats instanceof Error) {
    return [unreadable(file, stats, stats.code === 'ENOENT' ? 'a link to a file that is not there' : undefined)];
  }
  return stats.isFile() ? [{ recording: file, below }] : [];
}

/** Hidden files are left out: macOS leaves a ._NAME.bin beside each NAME.bin. */
async function entriesOf(folder) {
  await fs.access(folder, fs.constants.R_OK | fs.constants.X_OK);
  const entries = await fs.readdir(folder, { withFileTypes: true });
  return entries.filter(({ name }) => !name.startsWith('.'));
}

/** What the entry `below` of a folder stands for: recordings, and what cannot be read. */
function foundAt(folder, below, entry, recursive) {
  if (entry.isDirectory()) {
    return recursive ? recordingsIn(folder, recursive, below) : [];
  }
  const file = path.join(folder, below);
  if (!ENDING.test(below)) {
    return [];
  }
  return entry.isSymbolicLink() ? behindLink(file, below) : entry.isFile() ? [{ recording: file, below }] : [];
}

async function recordingsIn(folder, recursive, below = '') {
  const here = path.join(folder, below);
  const entries = await entriesOf(here).catch((error) => error);
  if (entries instanceof Error) {
    return [unreadable(here, entries)];
  }
  const found = await Promise.all(entries.map((entry) => foundAt(folder, path.join(below, entry.name), entry, recursive)));
  return found.flat();
}

/** `below` is the path of the output folder's file, with the name of the recording. */
async function expand(argument, recursive) {
  const stats = await fs.stat(argument).catch((error) => error);
  if (stats instanceof Error) {
    return [unreadable(argument, stats)];
  }
  return stats.isDirectory() ? recordingsIn(argument, recursive) : [{ recording: argument, below: path.basename(argument) }];
}

async function withSize(found) {
  const stats = found.failure ? undefined : await fs.stat(found.recording).catch(() => undefined);
  return { ...found, size: stats?.size ?? 0, changed: stats?.mtimeMs ?? 0 };
}

/** Twice the same recording for the same place is one. */
function withoutRepeats(recordings) {
  const seen = new Map(recordings.map((found) => [`${path.resolve(found.recording)}\0${found.below}`, found]));
  return [...seen.values()];
}

/** In order of their paths: { recording, below, size, changed }, or { recording, failure } for what cannot be found. */
async function findAll(folderArguments, { recursive }) {
  const found = (await Promise.all(folderArguments.map((argument) => expand(argument, recursive)))).flat();
  return Promise.all(withoutRepeats(found).sort(inOrder).map(withSize));
}

/** The same. Throws a UsageError when nothing is found at all. */
async function findRecordings(folderArguments, { recursive }) {
  const found = await findAll(folderArguments, { recursive });
  if (found.every((each) => each.failure)) {
    const sentences = found.map((each) => `${each.failure.message}. ${each.failure.advice}`);
    const hint = recursive ? '' : ' With -r, the folders below are searched as well.';
    throw new UsageError(
      sentences.length > 0 ? sentences.join('\n') : `no recordings (*.bin) in ${folderArguments.join(', ')}.${hint}`,
    );
  }
  return found;
}

module.exports = { findAll, findRecordings };
