'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, frame, scratchFolder } = require('./support.js');
const { unit } = require('./units.js');
const addon = require(packagePath);

/** Synchronises in a process of its own, where the messages on standard error can be seen. */
function sync(paths, out) {
  const call = `console.log(require(${JSON.stringify(packagePath)}).readAndSync2(...${JSON.stringify([paths, out])}))`;
  const { stdout, stderr } = spawnSync(process.execPath, ['-e', call], { encoding: 'utf8' });
  return [stdout.trim(), stderr];
}

const csvOf = (out, name) => fs.readFileSync(path.join(out, `${name}.csv`), 'utf8').split('\n').slice(4, -1);
const firstX = (out, name) => Math.round(Number(csvOf(out, name)[3].split(',')[4]) * 2048);

test('every time source brings two, three and eight units together', (t) => {
  for (const count of [2, 3, 8]) {
    const sources = {
      // Each unit starts u * 0.5 s later than the first; its clock shows 3 u s then.
      time: (u) => ({ start: 3 * u, time: { role: u === 1 ? 0 : 1, ahead: 250 * (1 - u) } }),
      schedule: (u) => ({ start: 3 * u, schedule: { second: 20, tick: 2000 + 250 * u } }),
      radio: (u) => ({ start: 3 * u, radio: { role: u === 0 ? 0 : 1, param1: 250 * u, param2: 247 * u } }),
    };
    for (const [source, plan] of Object.entries(sources)) {
      const out = scratchFolder(t);
      const names = Array.from({ length: count }, (_, u) => `u${u}.x`);
      assert.deepEqual(sync(names.map((name, u) => unit(out, `${name}.bin`, plan(u))), out), ['OK', '']);
      const latest = 50 * (count - 1);
      names.forEach((name, u) => {
        assert.equal(csvOf(out, name).length, 3 + 1000 - (source === 'radio' ? 0 : latest), `${source} ${name}`);
        if (source !== 'radio') assert.equal(firstX(out, name), latest - 50 * u, `${source} ${name}`);
      });
    }
  }
});

test('only shared channels and the common span of the one-byte channel remain', (t) => {
  const out = scratchFolder(t);
  const time = { role: 1, ahead: 0 };
  const paths = [
    unit(out, 'a.bin', { baro: true, byte: true, time: { role: 0 } }),
    unit(out, 'b.bin', { start: 2.5, byte: true, time }),
    unit(out, 'c.bin', { baro: true, time }),
  ];
  assert.deepEqual(sync(paths, out), ['OK', '']);
  const [a, b, c] = ['a', 'b', 'c'].map((name) => csvOf(out, name));
  assert.deepEqual([a.length, b.length, c.length], [3 + 750, 3 + 750, 3 + 750]);
  assert.match(a[1], /Pressure,Temperature,Event,/);
  assert.doesNotMatch(c[1], /Event/);
  // Columns: time, gyro, accel, no barometer cells; the one-byte values 3 to 9 of a's own clock stand from 3 s on.
  assert.deepEqual(a.slice(3).map((row) => row.split(',')[7]).filter(Boolean), ['3', '4', '5', '6', '7'].map((v) => `${v}.000`));
});

test('every status code and message', (t) => {
  const out = scratchFolder(t);
  const good = (name, role) => unit(out, `${name}.bin`, { time: { role, ahead: 0 } });
  const master = good('master', 0);
  const follower = good('follower', 1);
  const missing = path.join(out, 'missing.bin');
  const masters = (n) => `Possibly no master or more than one used (${n}). Different radio channels are used.\n`;
  const cases = [
    [[], ['OK', '']],
    [[master], ['-11', 'Wrong number of sensors.\n']],
    [[master, missing], ['-10', '']],
    [[master, unit(out, 'nogyro.bin', { gyro: false, time: { role: 1, ahead: 0 } })], ['-13', '']],
    [[master, unit(out, 'notime.bin', {})], ['-11', masters(1)]],
    [[master, unit(out, 'silent.bin', { time: { role: 1 } })], ['-11', 'No radio data.\n']],
    [[follower, follower], ['-11', masters(0)]],
    [[master, master], ['-11', masters(2)]],
    [[master, unit(out, 'other.bin', { time: { role: 1, channel: 6, ahead: 0 } })], ['-11', masters(1)]],
  ];
  for (const [paths, expected] of cases) {
    assert.deepEqual(sync(paths, out), expected);
  }
  assert.deepEqual(sync([master, follower], path.join(out, 'nowhere')), ['-12', '']);
  assert.deepEqual(fs.readdirSync(out).filter((name) => !name.endsWith('.bin')), []);
  assert.deepEqual(sync([master, follower], `${out}/`), ['OK', '']);
});

test('writeConfig writes what readConfig reads', (t) => {
  const file = path.join(scratchFolder(t), 'config.bin');
  assert.equal(addon.writeConfig(file, 'device,1234,2,5:firmware,3,1,0:radio,1,12:accel,200,16,-5,0,0,1,1,1'), 'OK');
  const config = JSON.parse(addon.readConfig(file));
  assert.deepEqual([config.deviceId, config.version, config.radioChannel, config.accel.offsetX], [1234, 3, 12, -5]);
  fs.writeFileSync(file, Buffer.from([...frame(3, 8, [0, 100]), ...frame(3, 5, [1, 2]), ...frame(8, 8, [])]));
  const { unknownFrames } = JSON.parse(addon.readConfig(file));
  assert.equal(addon.writeConfig(file, `unknownFrames,${unknownFrames}:baro,25`), 'OK');
  assert.deepEqual([...fs.readFileSync(file)], [...frame(3, 5, [1, 2]), ...frame(8, 8, []), ...frame(2, 2, [21, 25])]);
  assert.equal(JSON.parse(addon.readConfig(file)).unknownFrames, unknownFrames);
  assert.throws(() => addon.writeConfig(file, 'baro,25:radio,1'), /^Error: Configuration entry 2 \(radio\), field 3: missing$/);
  assert.equal(fs.statSync(file).size, 0);
  assert.throws(() => addon.writeConfig(file, ':'.repeat(300_000_000)), /^Error: Configuration entry 1: no key$/);
  assert.equal(addon.writeConfig(path.join(file, 'below-a-file'), 'radio,1,12'), 'ERROR');
});
