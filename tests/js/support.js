// Files for the tests of the module. The package under test is this folder's, or the one that VORTENA_PACKAGE names.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const packagePath = process.env.VORTENA_PACKAGE ?? path.join(__dirname, '..', '..');

const frame = (family, id, payload) => [0x4b, 0x56, family, id, payload.length, ...payload, 0xff, 0xfe];

/**
 * A header block with a device, a time base of 100 ticks a second and a 100 Hz gyroscope of identifier 201. Its last
 * record is a sample of 0 deg/s, at a time later than any data package of these tests.
 */
function headerBlock({ start = 0, extra = [] } = {}) {
  const gyro = [201, 0, 100, 3, ...Array(12).fill(0), ...Array(3).fill([0, 0, 0x27, 0x10]).flat(), 0, 0];
  const frames = [...frame(1, 1, [0, 0, 4, 210, 2, 5]), ...frame(3, 8, [0, 100]), ...frame(3, 3, gyro), ...extra];
  return Buffer.concat([Buffer.alloc(start), Buffer.from(frames), Buffer.alloc(512)])
    .subarray(0, 512)
    .fill(201, 504, 505);
}

/** A data package whose 63 records are gyroscope samples of 1000 deg/s about x. */
function dataBlock(baseTick) {
  const records = Array.from({ length: 63 }, (_, delta) => [201, delta, 0x40, 0, 0, 0, 0, 0]);
  const block = Buffer.from([...Array(8).fill(0), ...records.flat()]);
  block.writeUInt32BE(baseTick, 4);
  return block;
}

/** A folder of its own for a test. */
function scratchFolder(test, parent = os.tmpdir()) {
  const folder = fs.mkdtempSync(path.join(parent, 'vortena-'));
  test.after(() => fs.rmSync(folder, { recursive: true, force: true }));
  return folder;
}

/** A recording of a gyroscope alone: 63 samples in each of so many blocks behind the header, in order. */
function gyroRecording(blocks) {
  const bytes = Buffer.concat([headerBlock(), Buffer.alloc(512 * blocks, dataBlock(0))]);
  for (let i = 0; i < blocks; i += 1) {
    bytes.writeUInt32BE(63 * i, 512 * (i + 1) + 4);
  }
  return bytes;
}

function writeRecording(folder, name, blocks = [headerBlock(), dataBlock(1000)]) {
  fs.writeFileSync(path.join(folder, name), Buffer.concat(blocks));
  return path.join(folder, name);
}

/** The number of rows that a CSV promises in its third line; fails unless it has them. */
function requireComplete(csv) {
  const text = fs.readFileSync(csv, 'utf8');
  const promised = Number(/^Total data points: (\d+)$/m.exec(text)[1]);
  assert.equal(text.split('\n').length - 1, 7 + promised);
  return promised;
}

module.exports = { packagePath, frame, gyroRecording, headerBlock, dataBlock, requireComplete, scratchFolder, writeRecording };
