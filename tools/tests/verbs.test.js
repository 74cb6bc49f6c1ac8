// The verbs that take single recordings or one set: info, sync and config.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { readAndSync2 } = require('vortena-reader');
const { listOf, scratchFolder, unit, vortena, writeRecording } = require('./support.js');

const readFolder = (folder) => fs.readdirSync(folder).map((name) => [name, fs.readFileSync(path.join(folder, name), 'utf8')]);

test('--version gives the version, then what the reader runs on', () => {
  const { status, lines } = vortena(['--version']);
  assert.deepEqual([status, lines.length, lines[0]], [0, 2, require('../package.json').version]);
  const { methods, promises } = require('vortena-reader/promises').backend();
  assert.ok(
    [methods, promises].every(({ kind, file }) => lines[1].includes(`${kind} (${file})`)),
    lines[1],
  );
});

test('info fits a screen and tells what is in a recording', (t) => {
  const folder = scratchFolder(t);
  const recording = unit(folder, 'walk.bin', { baro: true });
  const { status, stdout, lines } = vortena(['info', recording]);
  assert.equal(status, 0);
  assert.ok(lines.length < 24 && lines.every((line) => line.length < 120), stdout);
  assert.match(stdout, /^ {2}duration +9\.990 s, by 100 ticks per second; 25\.1 kB$/m);
  assert.match(stdout, /^ {2}orientation +from \d\.\d\d s on, tilt \d+\.\d degrees/m);
  assert.match(stdout, /^ {2}gyro +1000 +100 Hz +100\.00 Hz +0$/m);

  const pipe = vortena(['info', path.join(folder, 'none.bin'), recording, folder, '--json']);
  assert.equal(pipe.status, 1);
  assert.deepEqual(
    pipe.events.map(({ event, systemCode }) => systemCode ?? event),
    ['ENOENT', 'info', 'EISDIR'],
  );
  assert.deepEqual([pipe.events[1].config.frequency, pipe.events[1].report.channels.baro.samples], [100, 1000]);
});

test('sync writes what readAndSync2 writes, and says by what and how far', (t) => {
  const folder = scratchFolder(t);
  const set = [
    unit(folder, 'hip.bin', { time: { role: 0 } }),
    unit(folder, 'foot.bin', { start: 3, time: { role: 1, ahead: -300 } }),
  ];
  const [out, other] = ['out', 'other'].map((name) => path.join(folder, name));
  const run = vortena(['sync', ...set, '-o', out]);
  assert.equal(run.status, 0, run.stderr);
  fs.mkdirSync(other);
  assert.equal(readAndSync2(set, other), 'OK');
  assert.deepEqual(readFolder(out), readFolder(other));
  assert.deepEqual(
    run.lines,
    ['hip', 'foot'].map((name) => path.join(out, `${name}.csv`)),
  );
  assert.match(run.stderr, /times that the master sent by radio/);
  assert.match(run.stderr, /foot\.bin: shifted by -3\.000000 s/);

  const again = vortena(['sync', ...set, '-o', out]);
  assert.equal(again.status, 1);
  assert.match(again.stderr, /is there already\n +Use --overwrite/);
  const odd = ['a\\hip.bin', '.hid'].map((name, i) => unit(folder, name, { time: { role: i, ahead: i ? 0 : undefined } }));
  for (const name of ['hip.csv', '.csv']) {
    fs.mkdirSync(path.join(folder, name));
    fs.writeFileSync(path.join(folder, name, name), 'older');
    assert.equal(vortena(['sync', ...odd, '-o', path.join(folder, name), '--json']).events[0].code, 'ERR_OUTPUT_EXISTS', name);
  }
  assert.equal(vortena(['sync', ...set, '-o', out, '--overwrite', '--json']).events[0].units.length, 2);
  const second = unit(folder, 'second.bin', { time: { role: 0 } });
  const [refused] = vortena(['sync', second, set[0], '-o', out, '--json', '--overwrite']).events;
  assert.deepEqual([refused.code, refused.reason], ['ERR_SYNC', 'several-masters']);
});

test('an offset at rest that is not to be had is no fault of the program, and none of its outputs is there', (t) => {
  const folder = scratchFolder(t);
  const short = unit(folder, 'short.bin', { ticks: 100, time: { role: 0, ahead: 0 } });
  const other = unit(folder, 'other.bin', { ticks: 100, time: { role: 1, ahead: 0 } });
  for (const [verb, ...args] of [
    ['convert', short, '-o', path.join(folder, 'out')],
    ['sync', short, other, '-o', path.join(folder, 'out')],
    ['view', short, '-o', path.join(folder, 'out', 'short.html')],
  ]) {
    const { status, stdout, stderr } = vortena([verb, ...args, '--offset', 'rest']);
    assert.equal(status, 1, verb);
    assert.match(
      stdout + stderr,
      /short\.bin gives no estimate of the gyroscope's offset.+\n +Take --orientation smoothed/,
      verb,
    );
    assert.deepEqual(fs.existsSync(path.join(folder, 'out')) ? listOf(path.join(folder, 'out')) : [], [], verb);
  }
});

test('without a time base, info and sync tell what is unknown', (t) => {
  const folder = scratchFolder(t);
  const set = [0, 3].map((start, i) => unit(folder, `${i}.bin`, { start, radio: { role: i } }));
  for (const file of set) {
    const bytes = fs.readFileSync(file);
    bytes.fill(0, 6, 8); // the ticks per second
    fs.writeFileSync(file, bytes);
  }
  const info = vortena(['info', ...set]);
  assert.deepEqual([info.status, info.stderr], [0, '']);
  assert.equal(info.stdout.match(/^ {2}duration +no samples, by 0 ticks per second/gm).length, 2);
  const sync = vortena(['sync', ...set, '-o', path.join(folder, 'out')]);
  assert.equal(sync.status, 0, sync.stderr);
  assert.match(sync.stderr, /^\S+1\.bin: shifted by unknown, 1000 rows$/m);
});

test('config shows a header, and writes one', (t) => {
  const folder = scratchFolder(t);
  const header = path.join(folder, 'header.bin');
  assert.deepEqual(vortena(['config', '--set', 'device,1234,2,5:radio,1,12', '-o', header]).status, 0);
  const config = JSON.parse(vortena(['config', header]).stdout);
  assert.deepEqual([config.deviceId, config.bodyLocation, config.radioChannel, config.unknownFrames], [1234, 5, 12, '']);

  const refused = vortena(['config', '--set', 'device,x,2,5', '-o', header]);
  assert.equal(refused.status, 1);
  assert.match(refused.stderr, /^failed {3}.*entry 1.*\n +docs\/configuration-text\.md/);
  assert.equal(JSON.parse(vortena(['config', header]).stdout).deviceId, 1234);
  const text = vortena(['config', writeRecording(folder, 'text.bin', [Buffer.from('no header')])]);
  assert.deepEqual([text.status, text.stdout], [1, '']);
});
