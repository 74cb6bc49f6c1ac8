// What outputs were made from. An output that is newer than its recording is not always of it: a copy of another one may
// carry an older date. So each folder of outputs has a hidden file, NOTES, with a line of JSON for each that was made
// there: { output, recordingBytes, how, bytes, changed }, the last two being the output's own, which tell whether the note
// is still about it. Where there is no note, dates alone decide.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');

const NOTES = '.vortena-made.jsonl';

/** What else makes outputs differ. */
const howOf = ({ orientation = 'filter', gyroscopeOffset }) =>
  gyroscopeOffset ? `${orientation}, offset taken off` : orientation;

/** By --to: how an output is called, and what in it tells that it is whole. */
const FORMATS = {
  csv: { ending: '.csv' },
  'csv.gz': { ending: '.csv.gz' },
  parquet: { ending: '', proof: 'recording.json' },
};

async function stateOf(output, { proof }) {
  const stats = await fs.stat(proof ? path.join(output, proof) : output).catch(() => undefined);
  return stats && { bytes: stats.size, changed: stats.mtimeMs };
}

function parsed(line) {
  try {
    return JSON.parse(line);
  } catch {
    return undefined; // cut off, as when the disk was full
  }
}

/** The last note about each output of a folder, by name. */
async function readNotes(folder) {
  const text = await fs.readFile(path.join(folder, NOTES), 'utf8').catch(() => '');
  return new Map(
    text
      .split('\n')
      .map(parsed)
      .filter((note) => note?.output)
      .map((note) => [note.output, note]),
  );
}

/** Notes are a help: an output without one is as whole as with it. */
async function noteMade(job, recordingBytes) {
  const { output, operation } = job;
  const state = await stateOf(output, FORMATS[operation]);
  const note = { output: path.basename(output), recordingBytes, how: howOf(job), ...state };
  await fs.appendFile(path.join(path.dirname(output), NOTES), `${JSON.stringify(note)}\n`).catch(() => {});
}

/** Tells of jobs whether their outputs are whole and of their recordings as these are now. */
class Made {
  /** `orientation` is how that of the outputs is computed, with `gyroscopeOffset`. */
  constructor(format, orientation) {
    Object.assign(this, { format, how: howOf(orientation), folders: new Map() });
  }

  notesOf(folder) {
    if (!this.folders.has(folder)) {
      this.folders.set(folder, readNotes(folder));
    }
    return this.folders.get(folder);
  }

  /** An output that has its name is whole, as it gets it last. One that is older than its recording is of another one. */
  async isUpToDate({ output, size, changed }) {
    const state = await stateOf(output, this.format);
    if (!state || state.changed < changed) {
      return false;
    }
    const note = (await this.notesOf(path.dirname(output))).get(path.basename(output));
    const isAboutIt = note?.bytes === state.bytes && note.changed === state.changed;
    return !isAboutIt || (note.recordingBytes === size && note.how === this.how);
  }
}

module.exports = { FORMATS, Made, noteMade };
