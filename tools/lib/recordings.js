// From the arguments of a command to recordings. In folders every *.bin is one; a file that is named is one, whatever its
// name.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { glob } = require('tinyglobby');
const { UsageError } = require('./exit-status.js');
const { failure } = require('./failures.js');

const inOrder = (a, b) => (a.recording < b.recording ? -1 : Number(a.recording > b.recording));

async function inFolder(folder, recursive) {
  const names = await glob(recursive ? '**/*.bin' : '*.bin', {
    cwd: folder, caseSensitiveMatch: false, expandDirectories: false, // without hidden ones: macOS leaves ._NAME.bin
  });
  return names.map((name) => ({ recording: path.join(folder, name), below: path.normalize(name) }));
}

/** `below` is the path of the output folder's file, with the name of the recording. */
async function expand(argument, recursive) {
  const stats = await fs.stat(argument).catch((error) => error);
  if (stats instanceof Error) {
    const message = `${argument} cannot be read: ${stats.code}: ${stats.code === 'ENOENT' ? 'no such file or folder' : stats.message}`;
    return [{ recording: argument, failure: failure('ERR_UNREADABLE', message, { systemCode: stats.code }) }];
  }
  return stats.isDirectory() ? inFolder(argument, recursive) : [{ recording: argument, below: path.basename(argument) }];
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
