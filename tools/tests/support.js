// Runs the command line, and makes folders of recordings for it.
'use strict';

const { spawn, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const { gyroRecording, scratchFolder, writeRecording } = require('../../tests/js/support.js');
const { unit } = require('../../tests/js/units.js');

const bin = path.join(__dirname, '..', 'bin', 'vortena.js');

/** `{ status, stdout, stderr, lines, events }` of a run in a pipe. */
function vortena(args, { command = [] } = {}) {
  const [first, ...rest] = [...command, process.execPath, bin, ...args];
  const { status, stdout, stderr } = spawnSync(first, rest, { encoding: 'utf8' });
  const lines = stdout.split('\n').slice(0, -1);
  return {
    status,
    stdout,
    stderr,
    lines,
    get events() {
      return lines.map(JSON.parse);
    },
  };
}

/** A run that goes on: `ended` resolves with the same, and `event(name)` with the first such event. */
function startVortena(args) {
  const child = spawn(process.execPath, [bin, ...args], { stdio: ['ignore', 'pipe', 'pipe'] });
  let stdout = '';
  let stderr = '';
  child.stdout.on('data', (text) => (stdout += text));
  child.stderr.on('data', (text) => (stderr += text));
  const events = () =>
    stdout
      .split('\n')
      .slice(0, -1)
      .map((line) => JSON.parse(line));
  const ended = new Promise((resolve) =>
    child.on('close', (status, signal) => resolve({ status, signal, stderr, events: events() })),
  );
  return { child, ended, event: (name) => until(() => events().find(({ event }) => event === name)) };
}

/** Resolves with what `find` gives, as soon as that is something. */
async function until(find) {
  for (const end = Date.now() + 20_000; Date.now() < end; await new Promise((resolve) => setTimeout(resolve, 2))) {
    const found = find();
    if (found) return found;
  }
  throw new Error(`waited in vain for ${find}`);
}

const NOTES = '.vortena-made.jsonl';

/** Without the notes about what outputs were made from. */
function listOf(folder) {
  const names = fs.readdirSync(folder, { recursive: true });
  return names.filter((name) => path.basename(name) !== NOTES && fs.statSync(path.join(folder, name)).isFile()).sort();
}

/** Takes about a second to convert. */
function longRecording(folder, name, blocks = 60_000) {
  return writeRecording(folder, name, [gyroRecording(blocks)]);
}

/** The bytes of a unit of ten seconds, in blocks. */
function blocksOf(folder) {
  const bytes = fs.readFileSync(unit(folder, 'model.bin', { radio: { role: 1 }, baro: true }));
  fs.rmSync(path.join(folder, 'model.bin'));
  return Array.from({ length: bytes.length / 512 }, (_, i) => bytes.subarray(512 * i, 512 * (i + 1)));
}

module.exports = { blocksOf, listOf, longRecording, scratchFolder, startVortena, unit, until, vortena, writeRecording };
