'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, frame, headerBlock, scratchFolder, writeRecording } = require('./support.js');
const { unit } = require('./units.js');
const addon = require(packagePath);

/** Synchronises in a process of its own, where the messages on standard error can be seen. */
function sync(paths, out) {
  const call = `console.log(require(${JSON.stringify(packagePath)}).readAndSync2(...${JSON.stringify([paths, out])}))`;
  const { stdout, stderr } = spawnSync(process.execPath, ['-e', call], { encoding: 'utf8' });
  return [stdout.trim(), stderr];
}

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
    [
      [master, missing],
      ['-10', ''],
    ],
    [
      [writeRecording(out, 'short.bin', [headerBlock().subarray(0, 511)]), master],
      ['-10', ''],
    ],
    [
      [master, unit(out, 'nogyro.bin', { gyro: false, time: { role: 1, ahead: 0 } })],
      ['-13', ''],
    ],
    [
      [master, unit(out, 'notime.bin', {})],
      ['-11', masters(1)],
    ],
    [
      [master, unit(out, 'silent.bin', { time: { role: 1 } })],
      ['-11', 'No radio data.\n'],
    ],
    [
      [follower, follower],
      ['-11', masters(0)],
    ],
    [
      [master, master],
      ['-11', masters(2)],
    ],
    [
      [master, unit(out, 'other.bin', { time: { role: 1, channel: 6, ahead: 0 } })],
      ['-11', masters(1)],
    ],
  ];
  for (const [paths, expected] of cases) {
    assert.deepEqual(sync(paths, out), expected);
  }
  assert.deepEqual(sync([master, follower], path.join(out, 'nowhere')), ['-12', '']);
  assert.deepEqual(
    fs.readdirSync(out).filter((name) => !name.endsWith('.bin')),
    [],
  );
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
  assert.throws(() => addon.writeConfig(file, 'baro,25:radio,1'), /^Error: Configuration entry 2 \(radio\), field 3: missing$/);
  assert.equal(fs.statSync(file).size, 0);
  assert.throws(() => addon.writeConfig(file, ':'.repeat(300_000_000)), /^Error: Configuration entry 1: no key$/);
  assert.equal(addon.writeConfig(path.join(file, 'below-a-file'), 'radio,1,12'), 'ERROR');
});
