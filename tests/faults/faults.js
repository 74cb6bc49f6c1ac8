// Attacks on outputs: system calls that fail, processes killed at any moment, a full disk. After each an output is whole
// or not there, what stood there stands, with its mode, and nothing is left but after a kill.
// Usage: node tests/faults/faults.js SHIM [short]
'use strict';

const assert = require('node:assert/strict');
const { spawn, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const zlib = require('node:zlib');
const { longUnit, unit } = require('../js/units.js');

const [shim, length] = process.argv.slice(2);
const isShort = length === 'short';
const KILLS = isShort ? 2 : 100;
const cli = path.join(__dirname, '..', '..', 'tools', 'bin', 'vortena.js');
const { EIO, ENOSPC, EDQUOT, EINTR, EACCES } = os.constants.errno;
const SHORT = 0;
const OLD_MODE = 0o640;

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vortena-faults-'));
const recording = longUnit(folder, 'long.bin', 6000);
const set = ['a', 'b', 'c'].map((name) => unit(folder, `${name}.bin`, { schedule: { second: 0, tick: 0 } }));

/** Each with its command, its outputs, and how an output that is whole is told. */
const KINDS = {
  csv: {
    args: (out, options) => ['convert', recording, '-o', out, ...options],
    outputs: ['long.csv'],
    isWhole: (file) => requireCsv(fs.readFileSync(file)),
  },
  'csv.gz': {
    args: (out, options) => ['convert', recording, '-o', out, '--to', 'csv.gz', ...options],
    outputs: ['long.csv.gz'],
    isWhole: (file) => requireCsv(zlib.gunzipSync(fs.readFileSync(file))),
  },
  parquet: {
    args: (out, options) => ['convert', recording, '-o', out, '--to', 'parquet', ...options],
    outputs: ['long'],
    isWhole: (file) =>
      Object.values(JSON.parse(fs.readFileSync(path.join(file, 'recording.json'))).tables).forEach(({ file: table }) =>
        assert.equal(fs.readFileSync(path.join(file, table)).toString('latin1').slice(-4), 'PAR1'),
      ),
  },
  set: {
    args: (out, options) => ['sync', ...set, '-o', out, ...options],
    outputs: ['a.csv', 'b.csv', 'c.csv'],
    isWhole: (file) => requireCsv(fs.readFileSync(file)),
  },
  page: {
    args: (out, options) => [
      'view',
      recording,
      '-o',
      path.join(out, 'long.html'),
      ...options.filter((option) => option !== '--fsync'),
    ],
    outputs: ['long.html'],
    isWhole: (file) => assert.ok(fs.readFileSync(file, 'utf8').trimEnd().endsWith('</html>')),
  },
};

function requireCsv(bytes) {
  const lines = bytes.toString('latin1').split('\n');
  assert.equal(lines.at(-1), '');
  assert.equal(lines.length - 8, Number(/^Total data points: (\d+)$/.exec(lines[2])[1]));
}

/** An output folder, with an older output at each place where `older` is true. */
function prepare(kind, older) {
  const out = fs.mkdtempSync(path.join(folder, 'out-'));
  if (older) {
    run(KINDS[kind].args(out, []));
    for (const name of KINDS[kind].outputs) {
      fs.chmodSync(path.join(out, name), kind === 'parquet' ? 0o750 : OLD_MODE);
      fs.utimesSync(markOf(kind, out, name), 1000, 1000);
    }
  }
  return out;
}

/** What tells an older output from a new one. */
const markOf = (kind, out, name) => path.join(out, name, kind === 'parquet' ? 'recording.json' : '');

function run(args, fault = {}) {
  const environment = Object.fromEntries(
    Object.entries(fault).map(([name, value]) => [`FAULT_${name.toUpperCase()}`, String(value)]),
  );
  const env = { ...process.env, ...environment, ...(fault.call ? { LD_PRELOAD: shim } : {}) };
  return spawnSync(process.execPath, [cli, ...args], { encoding: 'utf8', env, timeout: 60_000 });
}

const hidden = (name) => /\.(part|old)-/.test(name);
const isOlder = (kind, out, name) => fs.statSync(markOf(kind, out, name)).mtimeMs === 1_000_000;

/** Every output is whole; `states` are which of them are there, and older. */
function inspect(kind, out) {
  return KINDS[kind].outputs.map((name) => {
    const file = path.join(out, name);
    if (!fs.existsSync(file)) {
      return 'absent';
    }
    KINDS[kind].isWhole(file);
    return isOlder(kind, out, name) ? 'older' : 'new';
  });
}

function requireModes(kind, out, older) {
  const wanted = older ? (kind === 'parquet' ? 0o750 : OLD_MODE) : (kind === 'parquet' ? 0o777 : 0o666) & ~process.umask();
  for (const name of KINDS[kind].outputs.filter((each) => fs.existsSync(path.join(out, each)))) {
    assert.equal(fs.statSync(path.join(out, name)).mode & 0o777, wanted, name);
  }
}

const counts = { runs: 0, failed: 0, passed: 0 };

/** One run with a fault: it succeeds and all is new, or it fails and all is as before. */
function attack(kind, older, fault) {
  const out = prepare(kind, older);
  const { status, stderr } = run(KINDS[kind].args(out, [...(older ? ['--overwrite'] : []), '--fsync']), { path: out, ...fault });
  const what = `${kind} ${older ? 'over an older one' : 'new'} ${JSON.stringify(fault)}: status ${status}\n${stderr}`;
  try {
    const states = inspect(kind, out);
    // A new name that cannot be synced is told, and stands.
    const allowed =
      status === 0 ? ['new'] : fault.call === 'fsync' ? ['new', older ? 'older' : 'absent'] : [older ? 'older' : 'absent'];
    assert.ok(
      states.every((state) => state === states[0] && allowed.includes(state)),
      `${states}`,
    );
    assert.ok(status === 0 || status === 1, 'neither a signal nor a fault of the program');
    assert.doesNotMatch(stderr, /undefined|\n {4}at /);
    requireModes(kind, out, older);
    assert.deepEqual(
      fs
        .readdirSync(out)
        .filter(hidden)
        .filter(() => fault.call !== 'unlink'),
      [],
    );
  } catch (error) {
    throw new Error(`${what}${error.message}`, { cause: error });
  }
  counts.runs += 1;
  counts[status === 0 ? 'passed' : 'failed'] += 1;
  fs.rmSync(out, { recursive: true });
}

function attackCalls() {
  const faults = [
    ...[EIO, ENOSPC, EDQUOT, EINTR, SHORT].map((error) => ({ call: 'write', after: 1, error })),
    ...[EIO, ENOSPC].map((error) => ({ call: 'close', after: 0, error })),
    ...[EIO, EDQUOT].map((error) => ({ call: 'fsync', after: 0, error })),
    { call: 'fsync', after: 1, error: EIO },
    ...[EIO, EACCES].map((error) => ({ call: 'rename', after: 0, error })),
    { call: 'rename', after: 1, times: 1, error: EIO },
    { call: 'link', after: 0, error: EIO },
  ];
  const wanted = isShort ? faults.filter(({ call, error }) => [EIO, SHORT].includes(error) && call !== 'close') : faults;
  for (const kind of Object.keys(KINDS)) {
    for (const older of isShort ? [true] : [false, true]) {
      wanted.forEach((fault) => attack(kind, older, fault));
    }
  }
}

/** What cannot be read gives nothing, whatever is made of it. */
function attackReading() {
  for (const kind of Object.keys(KINDS)) {
    const input = kind === 'set' ? set[1] : recording;
    for (const error of isShort ? [EIO] : [EIO, EINTR, SHORT]) {
      const out = prepare(kind, false);
      const { status, stderr } = run(KINDS[kind].args(out, []), { call: 'read', path: input, after: 1, error });
      const passes = error !== EIO;
      assert.equal(status, passes ? 0 : 1, `${kind} ${error} ${stderr}`);
      assert.ok(inspect(kind, out).every((state) => state === (passes ? 'new' : 'absent')));
      assert.ok(passes || /cannot be read: EIO/.test(stderr), stderr);
      counts.runs += 1;
    }
  }
}

const sleep = (ms) =>
  new Promise((resolve) => {
    setTimeout(resolve, ms);
  });

/** The process and its children, as the out-of-memory killer may take any. */
async function killAt(args, ms) {
  const child = spawn(process.execPath, [cli, ...args], { stdio: 'ignore', detached: true });
  const ended = new Promise((resolve) => {
    child.on('close', resolve);
  });
  await sleep(ms);
  try {
    process.kill(-child.pid, 'SIGKILL');
  } catch {
    // It was done.
  }
  await ended;
}

/** After a kill each output is whole, and the next run clears what was left. */
async function attackWithKills() {
  for (const kind of Object.keys(KINDS)) {
    const begin = performance.now();
    fs.rmSync(prepare(kind, true), { recursive: true });
    const whole = performance.now() - begin;
    let mixed = 0;
    for (let k = 0; k < KILLS; k += 1) {
      const older = k % 2 === 0;
      const out = prepare(kind, older);
      await killAt(KINDS[kind].args(out, older ? ['--overwrite'] : []), Math.random() * whole * 1.1);
      mixed += new Set(inspect(kind, out)).size > 1 ? 1 : 0;
      requireModes(kind, out, older);
      assert.equal(run(KINDS[kind].args(out, ['--overwrite'])).status, 0);
      assert.deepEqual(
        inspect(kind, out),
        KINDS[kind].outputs.map(() => 'new'),
      );
      assert.ok(kind === 'page' || fs.readdirSync(out).filter(hidden).length === 0, `${fs.readdirSync(out)}`);
      fs.rmSync(out, { recursive: true });
      counts.runs += 1;
    }
    console.log(`${kind}: ${KILLS} kills, each output whole; ${mixed} times old and new together`);
  }
}

async function main() {
  try {
    attackCalls();
    console.log(
      `${counts.runs} runs with a failing call: ${counts.failed} failed and left all as it was, ${counts.passed} passed`,
    );
    attackReading();
    await attackWithKills();
    console.log(`${counts.runs} attacks, no output cut or lost`);
  } finally {
    fs.rmSync(folder, { recursive: true, force: true });
  }
}

main();
