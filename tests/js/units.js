// Recordings of units that can be synchronised.
'use strict';

const fs = require('node:fs');
const path = require('node:path');
const { dataBlock, frame, headerBlock, writeRecording } = require('./support.js');

const be = (value, size) => Array.from({ length: size }, (_, k) => (value >> (8 * (size - 1 - k))) & 255);

/** What is left out of the plan is not in the header. */
function header({ gyro = true, baro = false, byte = false, radio, time, schedule, date }) {
  const sensor = (id) => [id, 0, 100, 1, ...Array(12).fill(0), ...Array(3).fill([0, 0, 0x27, 0x10]).flat(), 0, 0];
  const block = Buffer.alloc(512);
  block.set([
    0, // so that no byte of a frame stands where a record's identifier would
    ...frame(3, 8, be(100, 2)),
    ...(date ? frame(3, 0, date) : []),
    ...frame(3, 2, sensor(200)),
    ...(gyro ? frame(3, 3, sensor(201)) : []),
    ...(baro ? frame(3, 4, [202, 0, 100, 0, 0]) : []),
    ...(byte ? frame(3, 16, [203, 0, 1]) : []),
    ...(radio ? frame(3, 9, [radio.role, ...be(radio.param1 ?? 0, 4), ...be(radio.param2 ?? 0, 4), radio.channel ?? 5]) : []),
    ...(time ? frame(3, 17, [204, 0, 1, time.role, time.channel ?? 5]) : []),
    ...(schedule
      ? frame(3, 18, [
          1,
          0,
          0,
          ...Array(2)
            .fill([0, 0, schedule.second, 0, 0, ...be(schedule.tick, 4)])
            .flat(),
        ])
      : []),
  ]);
  return block;
}

/** A 100 Hz unit of 10 s whose clock shows `start` seconds at world time 0. */
function unit(folder, name, plan) {
  const { start = 0, ticks = 1000, gyro = true, baro = false, byte = false, time } = plan;
  const records = [];
  for (let i = 0; i < ticks; i += 1) {
    const tick = Math.round(start * 100) + i;
    const put = (id, payload) => records.push([id, tick, payload]);
    put(200, [...be(i, 2), 0, 0, 8, 0]); // x counts samples, z is 1 g
    if (gyro) put(201, [0, 0, 0, 0, 0, 0]);
    if (baro) put(202, [0, 0, 0x10, 0, 0]);
    if (byte && i % 100 === 0) put(203, [i / 100]);
    if (time?.ahead !== undefined && i % 100 === 0) put(204, be(tick + time.ahead, 4));
  }
  const blocks = [header(plan)];
  for (let first = 0; first < records.length; first += 63) {
    const block = Buffer.alloc(512);
    block.writeUInt32BE(records[first][1], 4);
    records.slice(first, first + 63).forEach(([id, tick, payload], r) => {
      block.set([id, tick - records[first][1], ...payload], 8 * (r + 1));
    });
    blocks.push(block);
  }
  fs.writeFileSync(path.join(folder, name), Buffer.concat(blocks));
  return path.join(folder, name);
}

/** A unit that lies still for as many blocks as are wanted: 31 samples each, in which the gyroscope reads `offset` counts. */
function longUnit(folder, name, blocks, plan = {}) {
  const records = Array.from({ length: 31 }, (_, i) =>
    [
      [200, i, 0, 0, 0, 0, 8, 0],
      [201, i, ...be(plan.offset ?? 0, 2), 0, 0, 0, 0],
    ].flat(),
  );
  const block = Buffer.concat([Buffer.alloc(8), Buffer.from(records.flat())], 512);
  const file = Buffer.concat([header(plan), ...Array(blocks).fill(block)]);
  for (let i = 0; i < blocks; i += 1) {
    file.writeUInt32BE(31 * i, 512 * (i + 1) + 4);
  }
  fs.writeFileSync(path.join(folder, name), file);
  return path.join(folder, name);
}

/** A plan of all channels. */
const everything = { baro: true, byte: true, time: { role: 0, ahead: 0 } };

/** A recording of all channels, whole and damaged in several ways, and ones without orientation or samples. */
function recordings(folder) {
  const whole = fs.readFileSync(unit(folder, 'whole.bin', everything));
  const blocks = Array.from({ length: whole.length / 512 }, (_, k) => whole.subarray(512 * k, 512 * (k + 1)));
  const [first, ...data] = blocks;
  const damaged = {
    'cut.bin': [...blocks.slice(0, -1), blocks.at(-1).subarray(0, 300)],
    'swapped.bin': [first, ...data.toReversed()],
    'repeated.bin': [first, ...data, ...data.slice(3, 9)],
    'blank.bin': [first, ...data.map((block, k) => (k % 5 === 1 ? Buffer.alloc(512) : block))],
    'header.bin': [first],
    'stray.bin': [headerBlock(), dataBlock(1000)],
    'late.bin': [
      headerBlock({
        extra: [...frame(3, 0, [0, 0, 0, 1, 1, ...be(1970, 2)]), ...frame(3, 6, [59, 59, 23, 31, 12, ...be(9999, 2)])],
      }),
    ],
  };
  const files = Object.entries(damaged).map(([name, pieces]) => writeRecording(folder, name, pieces));
  return [path.join(folder, 'whole.bin'), unit(folder, 'no-gyro.bin', { gyro: false }), ...files];
}

module.exports = { everything, longUnit, recordings, unit };
