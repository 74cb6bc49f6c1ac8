// Processes that die or are told to: what was whole stays, nothing half remains, the rest is done.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');
const { listOf, longRecording, scratchFolder, startVortena, unit, until, vortena } = require('./support.js');

/** Three recordings, of which b takes long. */
function folders(t) {
  const folder = scratchFolder(t);
  const set = path.join(folder, 'set');
  const out = path.join(folder, 'out');
  fs.mkdirSync(set);
  longRecording(set, 'b.bin');
  unit(set, 'a.bin', {});
  unit(set, 'c.bin', {});
  return { set, out, args: ['convert', set, '-o', out, '--json'] };
}

const partsIn = (out) => (fs.existsSync(out) ? fs.readdirSync(out).filter((name) => name.includes('.part-')) : []);
const partOf = (out, start) => () => partsIn(out).find((name) => name.startsWith(start));

/** Resolves with the process that converts b.bin, once it writes. */
async function writerOf({ event }, out) {
  await event('started');
  const name = await until(partOf(out, 'b.'));
  return Number(name.match(/-(\d+)-\d+$/)[1]);
}

test('a killed child costs its recording alone, and leaves no part of it', async (t) => {
  const { out, args } = folders(t);
  for (const options of [[], ['--to', 'csv.gz', '-j', '1'], ['--to', 'parquet']]) {
    const run = startVortena([...args, ...options]);
    process.kill(await writerOf(run, out), 'SIGKILL');
    const { status, events } = await run.ended;
    const failed = events.filter(({ event }) => event === 'failed');
    assert.deepEqual(
      failed.map(({ recording, code }) => [path.basename(recording), code]),
      [['b.bin', 'ERR_WORKER_DIED']],
    );
    assert.match(failed[0].message, /SIGKILL/);
    assert.equal(status, 1);
    assert.deepEqual(events.at(-1).converted, 2);
    assert.deepEqual(
      listOf(out).filter((name) => /^b|part/.test(name)),
      [],
    );
  }
  assert.equal(vortena([...args, '--skip-existing']).events.at(-1).converted, 1);
});

test('an interrupted run cancels, removes its parts and ends with status 130; what is whole stays', async (t) => {
  const { out, args } = folders(t);
  for (const [signal, status] of [
    ['SIGINT', 130],
    ['SIGTERM', 143],
  ]) {
    const run = startVortena([...args, '-j', '1', '--skip-existing']);
    await writerOf(run, out);
    run.child.kill(signal);
    const end = await run.ended;
    assert.deepEqual([end.status, end.events.at(-1).interrupted, end.events.at(-1).status], [status, 2, status]);
    assert.deepEqual(listOf(out), ['a.csv']);
  }
});

test('a second interruption ends at once, and the next start clears what was left', async (t) => {
  const { out, args } = folders(t);
  const run = startVortena(args);
  const pid = await writerOf(run, out);
  process.kill(pid, 'SIGSTOP'); // so that it cannot cancel
  run.child.kill('SIGINT');
  await new Promise((resolve) => setTimeout(resolve, 200));
  run.child.kill('SIGINT');
  assert.equal((await run.ended).status, 130);
  assert.equal(partsIn(out).length, 1);
  assert.equal(vortena([...args, '--skip-existing']).status, 0);
  assert.deepEqual(listOf(out), ['a.csv', 'b.csv', 'c.csv']);
});

test('when the parent is killed, its children leave nothing', async (t) => {
  const { out, args } = folders(t);
  const run = startVortena(args);
  const pid = await writerOf(run, out);
  run.child.kill('SIGKILL');
  await until(() => partsIn(out).length === 0);
  await until(() => {
    try {
      process.kill(pid, 0);
    } catch {
      return true;
    }
    return false;
  });
  assert.ok(!fs.existsSync(path.join(out, 'b.csv')));
});

test('only what dead processes of this host left is cleared, only where outputs go; what stood aside comes back', (t) => {
  const { set, out, args } = folders(t);
  const dead = spawnSync('true').pid;
  const host = os.hostname();
  fs.mkdirSync(path.join(out, 'below'), { recursive: true });
  const theirs = [
    `x.csv.part-${host}-${process.pid}-1`,
    `x.csv.part-${host}x-${dead}-1`,
    `x.csv.part-${host}-${dead}`,
    `.part-${host}-${dead}-1`,
    `x.csv.part-${host}-${dead}-1.txt`,
    `x.csv.part-${host}-0-1`,
    `below/x.csv.part-${host}-${dead}-1`,
  ];
  const ours = [`x.csv.part-${host}-${dead}-1`, `x.part-${host}-7-1.part-${host}-${dead}-12`];
  for (const name of [...theirs, ...ours]) fs.writeFileSync(path.join(out, name), '');
  fs.mkdirSync(path.join(out, `y.part-${host}-${dead}-3`));
  fs.writeFileSync(path.join(out, `y.part-${host}-${dead}-3`, 'accel.parquet'), '');
  fs.rmSync(path.join(set, 'b.bin'));
  for (const [name, text] of [
    ['z', 'whole'],
    [`z.old-${host}-${dead}-1`, 'older'],
    [`c.old-${host}-${dead}-2`, 'c'],
  ]) {
    fs.mkdirSync(path.join(out, name));
    fs.writeFileSync(path.join(out, name, 'recording.json'), text);
  }
  assert.equal(vortena(args).status, 0);
  assert.deepEqual(listOf(out), [...theirs, 'a.csv', 'c.csv', 'c/recording.json', 'z/recording.json'].sort());
  assert.equal(fs.readFileSync(path.join(out, 'z/recording.json'), 'utf8'), 'whole');
  fs.renameSync(path.join(out, 'c'), path.join(out, `c.old-${host}-${dead}-2`));
  const failed = vortena([...args, '--to', 'parquet']).events.filter(({ event }) => event === 'failed');
  assert.deepEqual(
    failed.map(({ code, output }) => [code, path.basename(output)]),
    [['ERR_OUTPUT_EXISTS', 'c']],
  );
});

test('memory lets in what fits, and always one', (t) => {
  const { set, out, args } = folders(t);
  const order = (...options) =>
    vortena([...args, '--overwrite', '-j', '3', ...options])
      .events.map(({ event }) => event[0])
      .join('');
  fs.cpSync(path.join(set, 'a.bin'), path.join(set, 'd.bin'));
  assert.equal(order('--memory', '1'), 'scscscscf');
  assert.match(order('--memory', '4000'), /^sss/);
  // b.bin takes 215 + 64 MB, the others 64 each: beside b.bin there is room for one
  let running = 0;
  const atATime = [...order('--memory', '350')].map((letter) => (running += { s: 1, c: -1, f: 0 }[letter]));
  assert.equal(Math.max(...atATime), 2);
  assert.ok(fs.existsSync(path.join(out, 'd.csv')));
});
