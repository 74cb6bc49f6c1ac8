// Files for the tests of the module. The package under test is this folder's, or the one that VORTENA_PACKAGE names.
'use strict';

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
  return Buffer.concat([Buffer.alloc(start), Buffer.from(frames), Buffer.alloc(512)]).subarray(0, 512).fill(201, 504, 505);
}

/** A data package whose 63 records are gyroscope samples of 1000 deg/s about x. */
function dataBlock(baseTick) {
  const records = Array.from({ length: 63 }, (_, delta) => [201, delta, 0x40, 0, 0, 0, 0, 0]);
  return Buffer.from([0, 0, 0, 0, 0, 0, baseTick >> 8, baseTick & 255, ...records.flat()]);
}

/** A folder of its own for a test. */
function scratchFolder(test) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vortena-'));
  test.after(() => fs.rmSync(folder, { recursive: true, force: true }));
  return folder;
}

function writeRecording(folder, name, blocks = [headerBlock(), dataBlock(1000)]) {
  fs.writeFileSync(path.join(folder, name), Buffer.concat(blocks));
  return path.join(folder, name);
}

module.exports = { packagePath, frame, headerBlock, dataBlock, scratchFolder, writeRecording };
