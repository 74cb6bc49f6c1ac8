'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, dataBlock, headerBlock, scratchFolder, writeRecording } = require('./support.js');
const addon = require(packagePath);

test('the five methods, in order, with their names', () => {
  const names = ['read', 'readAndSync2', 'readConfig', 'writeConfig', 'readConfigDeviceId'];
  assert.deepEqual(Object.keys(require(path.join(packagePath, 'build', 'Release', 'addon.node'))), names);
  assert.deepEqual(
    Object.entries(addon).map(([key, f]) => [key, f.name, f.length]),
    names.map((n) => [n, n, 0]),
  );
});

test('arguments: count first, then kinds in order, before any file is touched', (t) => {
  const folder = scratchFolder(t);
  const target = path.join(folder, 'never');
  for (const [name, ...args] of [
    ['read'],
    ['read', 1],
    ['readAndSync2', [1]],
    ['readConfig'],
    ['writeConfig', target],
    ['readConfigDeviceId'],
  ]) {
    assert.throws(() => addon[name](...args), { name: 'TypeError', message: 'Wrong number of arguments' });
  }
  const text = new String('x');
  const hostile = new Proxy([], {
    get: () => {
      throw new Error('not to be asked');
    },
  });
  for (const [name, ...args] of [
    ['read', 1, target],
    ['read', text, target],
    ['read', 'x', text],
    ['read', 'x', null],
    ['readConfig', text],
    ['readConfig', Symbol('x')],
    ['readConfigDeviceId', { toString: () => 'x' }],
    ['writeConfig', 1, 'radio,1,1'],
    ['writeConfig', target, ['radio']],
    ['readAndSync2', 'x', folder],
    ['readAndSync2', ['x'], 1],
    ['readAndSync2', ['x', 'y', 1], folder],
    ['readAndSync2', [text], folder],
    ['readAndSync2', hostile, folder],
    ['readAndSync2', new Array(2 ** 32 - 1), folder],
    ['readAndSync2', [...Array(70000).fill('x'), 1], folder],
    ['readAndSync2', { length: 1, 0: 'x' }, folder],
  ]) {
    assert.throws(() => addon[name](...args), { name: 'TypeError', message: 'Wrong arguments' });
  }
  assert.deepEqual(fs.readdirSync(folder), []);
});

test('arrays whose elements misbehave', () => {
  const withGetter = (get) => Object.defineProperty([], 0, { get });
  let fetches = 0;
  const fickle = withGetter(() => (fetches++ === 0 ? 'x' : 1));
  const shrinking = withGetter(() => {
    shrinking.length = 1;
    return 'x';
  });
  shrinking[1] = 'y';
  const endless = Object.setPrototypeOf([], new Proxy({}, { get: () => 'x'.repeat(1 << 16) }));
  endless.length = 2 ** 32 - 1;
  for (const [list, error] of [
    [
      withGetter(() => {
        throw new RangeError('mine');
      }),
      /^RangeError: mine$/,
    ],
    [fickle, /^TypeError: Wrong arguments$/],
    [shrinking, /^TypeError: Wrong arguments$/],
    [endless, /too long/],
  ]) {
    assert.throws(() => addon.readAndSync2(list, 'x'), error);
  }
});

test('read writes the CSV and answers with the summary', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'Größe \u{1f9ed}.bin');
  const csv = path.join(folder, 'Größe \u{1f9ed}.csv');
  fs.writeFileSync(csv, 'longer\n'.repeat(999));
  assert.deepEqual(JSON.parse(addon.read(recording, csv, 'ignored')), {
    createdAt: '0000-00-00 00:00:00',
    endDate: '0000-00-00 00:00:00',
    frequency: 100,
    version: '0',
    minorVersion: '0',
    majorVersion: '0',
    measureId: -1,
  });
  const lines = fs.readFileSync(csv, 'utf8').split('\n');
  assert.equal(lines[4], 'Time [100 hz],Gyro [100 hz],,,');
  assert.equal(lines[69], '0.63000,1000.00000,0.00000,0.00000,');
  assert.equal(lines[70], '0.64000,0.00000,0.00000,0.00000,');
  assert.equal(lines.length, 7 + 64 + 1);
});

test('readConfig and readConfigDeviceId', (t) => {
  const unknown = [0x4b, 0x56, 9, 9, 0, 1, 2];
  const recording = writeRecording(scratchFolder(t), 'r.bin', [headerBlock({ extra: unknown })]);
  const config = JSON.parse(addon.readConfig(`${recording}\0ignored`));
  assert.equal(config.unknownFrames, Buffer.from(unknown).toString('base64'));
  assert.equal(config.gyro.range, 2000);
  assert.equal(addon.readConfigDeviceId(recording, 1), '{"deviceId":1234}');
});

test('files that are no recordings, or damaged ones', (t) => {
  const folder = scratchFolder(t);
  const csv = path.join(folder, 'out.csv');
  const write = (name, ...blocks) => writeRecording(folder, name, blocks);
  for (const [recording, rows, hasHeader] of [
    [path.join(folder, 'missing'), 0, false],
    [folder, 0, false],
    ['', 0, false],
    ['/dev/null', 0, false],
    ['\ud800'.repeat(10), 0, false],
    [write('empty'), 0, false],
    [write('zeros', Buffer.alloc(1024)), 0, false],
    [write('one', headerBlock().subarray(0, 1)), 0, false],
    [write('short', headerBlock().subarray(0, 511)), 0, true],
    [write('h507', headerBlock({ start: 507 })), 0, true],
    [write('h508', headerBlock({ start: 508 })), 0, false],
    [write('cut', headerBlock(), dataBlock(0), dataBlock(63).subarray(0, 511)), 64, true],
  ]) {
    assert.equal(JSON.parse(addon.read(recording, csv)).frequency, rows === 0 ? 0 : 100, recording);
    assert.match(fs.readFileSync(csv, 'utf8'), new RegExp(`^Total data points: ${rows}$`, 'm'), recording);
    assert.equal(addon.readConfig(recording) !== '', hasHeader, recording);
    assert.equal(addon.readConfigDeviceId(recording) !== '', hasHeader, recording);
  }
});

test('a CSV that cannot be created', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'r.bin');
  for (const csv of [path.join(folder, 'missing', 'x.csv'), folder, '', '\0', 'x'.repeat(1 << 20)]) {
    assert.equal(addon.read(recording, csv), '{"error":"Error during data loading."}');
  }
  assert.deepEqual(fs.readdirSync(folder), ['r.bin']);
});

test('strings of hundreds of megabytes', () => {
  assert.equal(addon.readConfig('x'.repeat(300_000_000)), '');
  assert.equal(addon.readConfig('\ud800'.repeat(20_000_000)), '');
});
