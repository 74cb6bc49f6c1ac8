// From the arguments of a command to recordings. In folders every *.bin is one; a file that is named is one, whatever its
// name.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { glob } = require('tinyglobby');
const { UsageError } = require('./exit-status.js');
const { failure } = require('./failures.js');

const inOrder = (a, b) => (a.recording < b.recording ? -1 : Number(a.recording > b.recording));

const unreadable = (file, code, words) =>
  ({ recording: file, failure: failure('ERR_UNREADABLE', `${file} cannot be read: ${code}: ${words}`, { systemCode: code }) });

/**
 * Hidden files are left out: macOS leaves a ._NAME.bin beside each NAME.bin. Links to files are recordings; links to
 * folders are not followed, as they can lead round.
 */
function inFolder(folder, pattern, options) {
  return glob(pattern, { cwd: folder, caseSensitiveMatch: false, expandDirectories: false, followSymbolicLinks: false, ...options });
}

/** The search passes over folders that it must not look into. */
async function closedFolders(folder, recursive) {
  const below = recursive ? await inFolder(folder, '**/', { onlyDirectories: true }) : [];
  const folders = [folder, ...below.map((name) => path.join(folder, name))];
  const mode = fs.constants.R_OK | fs.constants.X_OK;
  const closed = await Promise.all(folders.map((each) => fs.access(each, mode).then(() => false, () => true)));
  return folders.filter((_, i) => closed[i]).map((each) => unreadable(each, 'EACCES', 'permission denied'));
}

async function recordingsIn(folder, recursive) {
  const names = await inFolder(folder, recursive ? '**/*.bin' : '*.bin');
  const found = names.map((name) => ({ recording: path.join(folder, name), below: path.normalize(name) }));
  return [...found, ...(await closedFolders(folder, recursive))];
}

/** `below` is the path of the output folder's file, with the name of the recording. */
async function expand(argument, recursive) {
  const stats = await fs.stat(argument).catch((error) => error);
  if (stats instanceof Error) {
    return [unreadable(argument, stats.code, stats.code === 'ENOENT' ? 'no such file or folder' : stats.message)];
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

/**
 * In order of their paths: { recording, below, size, changed }, or { recording, failure } for what cannot be found.
 * Throws a UsageError when nothing is found at all.
 */
async function findRecordings(folderArguments, { recursive }) {
  const found = (await Promise.all(folderArguments.map((argument) => expand(argument, recursive)))).flat();
  const usable = found.filter((each) => !each.failure);
  if (usable.length === 0) {
    const sentences = found.map((each) => `${each.failure.message}. ${each.failure.advice}`);
    const hint = recursive ? '' : ' With -r, the folders below are searched as well.';
    throw new UsageError(sentences.length > 0 ? sentences.join('\n') : `no recordings (*.bin) in ${folderArguments.join(', ')}.${hint}`);
  }
  return Promise.all(withoutRepeats(found).sort(inOrder).map(withSize));
}

module.exports = { findRecordings };
