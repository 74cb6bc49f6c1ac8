// From files and folders to recordings and the places of their outputs, as the command line finds and names them.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { findAll } = require('vortena-tools/lib/finding/recordings.js');
const { FORMATS } = require('vortena-tools/lib/outputs/made.js');
const { findClash, outputOf } = require('vortena-tools/lib/outputs/plan.js');

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

/** The same of an output: of a folder, by what is written last. Jobs of an earlier release are CSV. */
const changeOfOutput = ({ output, to = 'csv' }) => changeOf(path.join(output, FORMATS[to].proof ?? ''));

function clash(first, second, output) {
  const message = `two recordings would be written to ${output}:\n  ${first}\n  ${second}\nNothing was queued.`;
  return Object.assign(new Error(message), { code: 'ERR_OUTPUT_CLASH', path: output });
}

function requireFound({ recording, failure }) {
  if (failure) {
    throw Object.assign(new Error(failure.message), { code: failure.systemCode, path: recording, syscall: 'stat' });
  }
}

/** In the order of the arguments; a recording that is named twice counts once. */
async function findInOrder(paths, recursive) {
  const found = (await Promise.all(paths.map((each) => findAll([path.resolve(each)], { recursive })))).flat();
  found.forEach(requireFound);
  return new Map(found.map((each) => [`${each.recording}\0${each.below}`, each])).values();
}

/** One for each recording. Paths are absolute: a machine of the same folder finds them. */
async function planConversions(paths, { out, to, recursive }) {
  const jobs = Array.from(await findInOrder(paths, recursive), ({ recording, below, size, changed }) => ({
    recording,
    output: outputOf({ below }, path.resolve(out), FORMATS[to]),
    to,
    size,
    changed: Math.trunc(changed),
  }));
  const { first, second, output } = (await findClash(jobs)) ?? {};
  if (first) {
    throw clash(first, second, output);
  }
  return jobs;
}

module.exports = { FORMATS, changeOf, changeOfOutput, clash, planConversions, stateOf };
