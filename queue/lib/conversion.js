// One conversion of the queue, at its first start or at a later one: another worker may have begun it, and been lost.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { UnrecoverableError } = require('bullmq');
const { changeOfOutput, stateOf } = require('./recordings.js');
const { mayPass, systemCode } = require('./system-errors.js');

/** By the format of the job; each makes its folder, and appears whole or not at all. */
const WRITERS = {
  csv: () => require('vortena-tools/lib/outputs/csv.js').writeCsv,
  'csv.gz': () => require('vortena-tools/lib/outputs/csv-gz.js').writeCsvGz,
  parquet: () => require('vortena-tools/lib/outputs/parquet.js').writeParquet,
};

const LONGEST_NAME = 255; // bytes
const LONGEST_CHARACTER = 4;

/** The queue keeps the message alone; it opens with the code. */
function failureOf(error) {
  const code = (error?.syscall && systemCode(error)) ?? error?.code ?? 'ERR_INTERNAL';
  const message = error?.message ?? String(error);
  const text = message.startsWith(code) ? message : `${code}: ${message}`;
  return mayPass(error) ? new Error(text, { cause: error }) : new UnrecoverableError(text);
}

/** A job that was made by hand may lack the state; it wants the recording as it is. */
async function requireUnchanged({ recording, ...submitted }) {
  const now = await stateOf(recording);
  const differs = (name) => (submitted[name] ?? now[name]) !== now[name];
  if (['size', 'changed'].some(differs)) {
    const message = `${recording} was changed after it was submitted: submit it again`;
    throw Object.assign(new Error(message), { code: 'ERR_RECORDING_CHANGED' });
  }
}

/** Whether a file is an unfinished one of an output, whose name is cut where it would be too long. */
function isPartOf(output, name) {
  const [, opening] = /^(.*)\.part-.+-[1-9]\d*-\d+$/s.exec(name) ?? [];
  return (
    opening === output || (opening && output.startsWith(opening) && Buffer.byteLength(name) > LONGEST_NAME - LONGEST_CHARACTER)
  );
}

/** Unfinished files of one output. Whoever wrote them has lost the job. */
async function removeParts(output) {
  const folder = path.dirname(output);
  const names = await fs.readdir(folder).catch(() => []);
  const parts = names.filter((name) => isPartOf(path.basename(output), name));
  await Promise.all(parts.map((name) => fs.rm(path.join(folder, name), { recursive: true, force: true })));
}

/** An output that is new since the job was submitted has all that the job is for: it gets its name last. */
async function wasDone(data) {
  const { before } = data;
  if (before === undefined) {
    return false; // by hand: nothing tells which output is new
  }
  const change = await changeOfOutput(data);
  return change !== null && change !== before;
}

async function perform(data, isFirst, { signal, onProgress }) {
  const { recording, output, orientation, gyroscopeOffset } = data;
  if (!isFirst && (await wasDone(data))) {
    return { output, skipped: 'exists' };
  }
  await requireUnchanged(data);
  await removeParts(output);
  const write = WRITERS[data.to ?? 'csv']();
  const job = { recording, output, overwrite: true, orientation, gyroscopeOffset };
  const { rows, bytes, report } = await write(job, { signal, onProgress });
  return { output, rows, bytes, verdict: report.verdict, notes: report.notes.map(({ code }) => code) };
}

/** Rejects with an UnrecoverableError for what would fail again. */
async function convertOnce(data, isFirst, { signal, onProgress }) {
  try {
    return await perform(data, isFirst, { signal, onProgress });
  } catch (error) {
    // Whoever lost the job may have finished it all the same.
    if (error?.code === 'ERR_OUTPUT_EXISTS' && (await wasDone(data))) {
      return { output: data.output, skipped: 'exists' };
    }
    throw signal.aborted ? signal.reason : failureOf(error);
  }
}

module.exports = { convertOnce };
