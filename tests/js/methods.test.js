'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, dataBlock, headerBlock, scratchFolder, writeRecording } = require('./support.js');
const addon = require(packagePath);

const SUMMARY = {
  createdAt: '0000-00-00 00:00:00', endDate: '0000-00-00 00:00:00', frequency: 100,
  version: '0', minorVersion: '0', majorVersion: '0', measureId: -1,
};
const FAILURE = '{"error":"Error during data loading."}';
const rows = (csv) => Number(/^Total data points: (\d+)$/m.exec(fs.readFileSync(csv, 'utf8'))[1]);

test('the five methods, in order, with their names', () => {
  const names = ['read', 'readAndSync2', 'readConfig', 'writeConfig', 'readConfigDeviceId'];
  assert.deepEqual(Object.keys(addon), names);
  for (const name of names) {
    assert.equal(addon[name].name, name);
    assert.equal(addon[name].length, 0);
  }
});

test('arguments: count first, then kinds in order, before any file is touched', (t) => {
  const folder = scratchFolder(t);
  const target = path.join(folder, 'never');
  const tooFew = { name: 'TypeError', message: 'Wrong number of arguments' };
  const wrong = { name: 'TypeError', message: 'Wrong arguments' };
  const text = new String('x');
  for (const call of [
    () => addon.read(), () => addon.read(1), () => addon.readAndSync2([1]), () => addon.readConfig(),
    () => addon.writeConfig(target), () => addon.readConfigDeviceId(),
  ]) {
    assert.throws(call, tooFew);
  }
  const hostile = new Proxy([], { get: () => { throw new Error('not to be asked'); } });
  for (const call of [
    () => addon.read(1, target), () => addon.read(text, target), () => addon.read('x', text),
    () => addon.read('x', null), () => addon.readConfig(text), () => addon.readConfig(Symbol('x')),
    () => addon.readConfigDeviceId({ toString: () => 'x' }), () => addon.writeConfig(1, 'radio,1,1'),
    () => addon.writeConfig(target, ['radio']), () => addon.readAndSync2('x', folder),
    () => addon.readAndSync2(['x'], 1), () => addon.readAndSync2(['x', 'y', 1], folder),
    () => addon.readAndSync2([text], folder), () => addon.readAndSync2(new Array(2 ** 32 - 1), folder),
    () => addon.readAndSync2(hostile, folder), () => addon.readAndSync2({ length: 1, 0: 'x' }, folder),
  ]) {
    assert.throws(call, wrong);
  }
  assert.deepEqual(fs.readdirSync(folder), []);
});

test('arrays whose elements misbehave', (t) => {
  const folder = scratchFolder(t);
  const withGetter = (get) => Object.defineProperty([], 0, { get });
  assert.throws(() => addon.readAndSync2(withGetter(() => { throw new RangeError('mine'); }), folder), /mine/);
  let fetches = 0;
  const fickle = withGetter(() => (fetches++ === 0 ? 'x' : 1));
  assert.throws(() => addon.readAndSync2(fickle, folder), /^TypeError: Wrong arguments$/);
  const shrinking = withGetter(() => { shrinking.length = 1; return 'x'; });
  shrinking[1] = 'y';
  assert.throws(() => addon.readAndSync2(shrinking, folder), /^TypeError: Wrong arguments$/);
  const endless = Object.setPrototypeOf([], new Proxy({}, { get: () => 'x'.repeat(1 << 16) }));
  endless.length = 2 ** 32 - 1;
  assert.throws(() => addon.readAndSync2(endless, folder), /too long/);
});

test('read writes the CSV and answers with the summary', (t) => {
  const folder = scratchFolder(t);
  const name = 'Größe \u{1f9ed}';
  const recording = writeRecording(folder, `${name}.bin`);
  const csv = path.join(folder, `${name}.csv`);
  assert.deepEqual(JSON.parse(addon.read(recording, csv, 'ignored')), SUMMARY);
  const lines = fs.readFileSync(csv, 'utf8').split('\n');
  assert.equal(lines.length, 7 + 63 + 1);
  assert.equal(lines[4], 'Time [100 hz],Gyro [100 hz],,,');
  assert.equal(lines[7], '0.01000,1000.00000,0.00000,0.00000,');
  assert.equal(lines[69], '0.63000,1000.00000,0.00000,0.00000,');
});

test('readConfig and readConfigDeviceId', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'r.bin', [headerBlock({ extra: [0x4b, 0x56, 9, 9, 0, 1, 2] })]);
  const config = JSON.parse(addon.readConfig(recording));
  assert.equal(config.unknownFrames, Buffer.from([0x4b, 0x56, 9, 9, 0, 1, 2]).toString('base64'));
  assert.equal(config.gyro.range, 2000);
  assert.equal(config.deviceId, 1234);
  assert.equal(addon.readConfigDeviceId(recording, 1), '{"deviceId":1234}');
});

test('files that are no recordings', (t) => {
  const folder = scratchFolder(t);
  const csv = path.join(folder, 'out.csv');
  const whole = headerBlock();
  const cases = [
    [path.join(folder, 'missing'), 0, false],
    [folder, 0, false],
    ['', 0, false],
    ['/dev/null', 0, false],
    [writeRecording(folder, 'empty', []), 0, false],
    [writeRecording(folder, 'short', [whole.subarray(0, 511)]), 0, true],
    [writeRecording(folder, 'zeros', [Buffer.alloc(1024)]), 0, false],
    [writeRecording(folder, 'h507', [headerBlock({ start: 507 })]), 0, true],
    [writeRecording(folder, 'h508', [headerBlock({ start: 508 })]), 0, false],
    [writeRecording(folder, 'cut', [whole, dataBlock(0), dataBlock(63).subarray(0, 511)]), 63, true],
    ['\ud800'.repeat(10), 0, false],
  ];
  for (const [recording, expectedRows, hasHeader] of cases) {
    assert.equal(JSON.parse(addon.read(recording, csv)).measureId, -1, recording);
    assert.equal(rows(csv), expectedRows, recording);
    assert.equal(addon.readConfig(recording) !== '', hasHeader, recording);
    assert.equal(addon.readConfigDeviceId(recording) !== '', hasHeader, recording);
  }
  assert.equal(addon.readConfig(`${path.join(folder, 'short')}\0ignored`) !== '', true);
});

test('a CSV that cannot be created', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'r.bin');
  for (const csv of [path.join(folder, 'missing', 'x.csv'), folder, '', '\0', 'x'.repeat(1 << 20)]) {
    assert.equal(addon.read(recording, csv), FAILURE);
  }
  assert.deepEqual(fs.readdirSync(folder), ['r.bin']);
});

test('strings of hundreds of megabytes', () => {
  const huge = 'x'.repeat(300_000_000);
  assert.equal(addon.readConfig(huge), '');
});
