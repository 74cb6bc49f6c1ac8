// From files and folders to recordings and the places of their outputs.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { glob } = require('tinyglobby');

const ENDINGS = { csv: '.csv' };

/**
 * Hidden files are left out: macOS leaves a ._NAME.bin beside each NAME.bin. Links to folders are not followed, as they
 * can lead round.
 */
async function inFolder(folder, recursive) {
  const pattern = recursive ? '**/*.bin' : '*.bin';
  const options = { cwd: folder, caseSensitiveMatch: false, expandDirectories: false, followSymbolicLinks: false };
  const names = await glob(pattern, options);
  return names.sort().map((name) => ({ recording: path.join(folder, name), below: path.normalize(name) }));
}

/** Named for what a machine of the same folder can find: absolute. `below` is the path in the folder of outputs. */
async function expand(argument, recursive) {
  const file = path.resolve(argument);
  const stats = await fs.stat(file);
  return stats.isDirectory() ? inFolder(file, recursive) : [{ recording: file, below: path.basename(file) }];
}

/** Size and time of change, ms, tell one state of a file from another. Milliseconds are what all file systems keep. */
async function stateOf(file) {
  const { size, mtimeMs } = await fs.stat(file);
  return { size, changed: Math.trunc(mtimeMs) };
}

/** The time of change of a file, or null where there is none. */
async function changeOf(file) {
  try {
    return (await stateOf(file)).changed;
  } catch (error) {
    if (error.code === 'ENOENT') {
      return null;
    }
    throw error;
  }
}

const outputOf = (below, out, to) =>
  path.join(path.resolve(out), below.slice(0, below.length - path.extname(below).length) + ENDINGS[to]);

function clash(first, second, output) {
  const message = `two recordings would be written to ${output}:\n  ${first}\n  ${second}\nNothing was queued.`;
  return Object.assign(new Error(message), { code: 'ERR_OUTPUT_CLASH', path: output });
}

/** One for each recording, in the order of the arguments; a recording that is named twice counts once. */
async function planConversions(paths, { out, to, recursive }) {
  const found = (await Promise.all(paths.map((argument) => expand(argument, recursive)))).flat();
  const byOutput = new Map();
  for (const { recording, below } of found) {
    const output = outputOf(below, out, to);
    const owner = byOutput.get(output)?.recording ?? recording;
    if (owner !== recording) {
      throw clash(owner, recording, output);
    }
    byOutput.set(output, { recording, output, to });
  }
  return Promise.all([...byOutput.values()].map(async (job) => ({ ...job, ...(await stateOf(job.recording)) })));
}

module.exports = { ENDINGS, changeOf, clash, planConversions, stateOf };
