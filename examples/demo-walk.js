// node examples/demo-walk.js FOLDER: reads and synchronises the walk that simulate_walk left in FOLDER, compares with the
// truth that went in, and draws it.
'use strict';

const fs = require('node:fs');
const path = require('node:path');
const { read, readAndSync2 } = require('..');
const { angleBetween, anglesOf, unrolled } = require('./attitude.js');
const { axes, quaternion, readTable } = require('./csv-table.js');
const { drawCurves } = require('./draw-curves.js');
const { firstMovingRow, lengths } = require('./motion.js');
const { textTable } = require('./text-table.js');

const UNITS = ['hip', 'foot'];
const SHOWN_EVERY = 20;
const SHOWN_ROWS = 7;

const [folder] = process.argv.slice(2);
const inFolder = (...names) => path.join(folder, ...names);

function timed(work) {
  const started = process.hrtime.bigint();
  const result = work();
  return { result, ms: `${(Number(process.hrtime.bigint() - started) / 1e6).toFixed(0)} ms` };
}

function readEach() {
  const rows = UNITS.map((unit) => {
    const { result, ms } = timed(() => read(inFolder(`${unit}.bin`), inFolder(`${unit}.csv`)));
    const { createdAt, endDate, frequency } = JSON.parse(result);
    return [unit, createdAt, endDate, `${frequency} Hz`, readTable(inFolder(`${unit}.csv`)).rowCount, ms];
  });
  console.log(`\n1  read() decodes each recording and adds its orientation: ${inFolder('{hip,foot}.csv')}`);
  console.log(textTable([['unit', 'from', 'to', 'rate', 'rows', 'took'], ...rows]));
}

function synchronise() {
  const output = inFolder('synchronised');
  fs.mkdirSync(output, { recursive: true });
  const { result, ms } = timed(() =>
    readAndSync2(
      UNITS.map((unit) => inFolder(`${unit}.bin`)),
      output,
    ),
  );
  if (result !== 'OK') throw new Error(`readAndSync2 answered ${result}`);
  const tables = UNITS.map((unit) => readTable(path.join(output, `${unit}.csv`)));
  console.log(`\n2  readAndSync2() brings both onto one clock: ${path.join(output, '{hip,foot}.csv')}`);
  console.log(
    `   ${tables.map((table) => table.rowCount).join(' and ')} rows, what both recorded; row i of both is the ` +
      `same instant. Took ${ms}`,
  );
  return tables;
}

/** One unit: what was measured, and by how many degrees it is off. */
function judged(unit, table, truth) {
  const measured = quaternion(table);
  const truly = quaternion(truth, unit === 'hip' ? 'Hip' : 'Foot');
  return {
    unit,
    table,
    gyro: axes(table, 'Gyro'),
    accel: axes(table, 'Accel'),
    errors: angleBetween(measured, truly),
    angles: anglesOf(measured),
    trueAngles: anglesOf(truly),
  };
}

const known = (values) => values.filter((value) => !Number.isNaN(value));
const largest = (values) => known(values).reduce((most, value) => Math.max(most, value), 0);
const rms = (values) => Math.sqrt(known(values).reduce((sum, value) => sum + value * value, 0) / known(values).length);

function compare(units) {
  console.log('\n3  The orientation in those files, against the true one (nothing measures heading, so it drifts)');
  console.log(
    textTable([
      ['unit', 'fastest turn', 'hardest shock', 'error, rms', 'error, largest'],
      ...units.map(({ unit, errors, gyro, accel }) => [
        unit,
        `${largest(lengths(gyro)).toFixed(0)} deg/s`,
        `${largest(lengths(accel)).toFixed(1)} g`,
        `${rms(errors).toFixed(2)} degrees`,
        `${largest(errors).toFixed(2)} degrees`,
      ]),
    ]),
  );
}

function showFirstStep({ table, gyro, accel, angles, trueAngles }) {
  const time = table.column('Time');
  const first = firstMovingRow(gyro, accel);
  const rows = Array.from({ length: SHOWN_ROWS }, (_, i) => first + i * SHOWN_EVERY).map((row) => [
    time[row].toFixed(3),
    ...['x', 'y', 'z'].map((axis) => gyro[axis][row].toFixed(1)),
    ...['x', 'y', 'z'].map((axis) => accel[axis][row].toFixed(3)),
    angles.pitch[row].toFixed(1),
    trueAngles.pitch[row].toFixed(1),
  ]);
  console.log(`\n4  The foot's first step, every ${SHOWN_EVERY}th row of its synchronised file (s, deg/s, g)`);
  console.log('   X points forward, Y left, Z up. Pitch is the slope of the foot in degrees, made of the quaternion');
  console.log(
    textTable([['time', 'gyro X', 'gyro Y', 'gyro Z', 'accel X', 'accel Y', 'accel Z', 'pitch', 'true pitch'], ...rows]),
  );
}

function draw(units) {
  const picture = inFolder('walk.png');
  const time = units[0].table.column('Time');
  const each = (values) => units.map((unit) => ({ name: unit.unit, x: time, y: values(unit) }));
  drawCurves(picture, 'A simulated walk: stand, walk, turn round, walk back, stand. Error: against the true orientation', [
    { label: 'acceleration (g)', curves: each(({ accel }) => lengths(accel)) },
    { label: 'pitch (degrees)', curves: each(({ angles }) => angles.pitch) },
    { label: 'yaw (degrees)', range: [-30, 240], step: 90, curves: each(({ angles }) => unrolled(angles.yaw)) },
    { label: 'error (degrees)', range: [0, 2], curves: each(({ errors }) => errors) },
  ]);
  console.log(`\nPicture of both, and of the error: ${picture}`);
}

const truth = readTable(inFolder('truth.csv'));
readEach();
const tables = synchronise();
const units = UNITS.map((unit, i) => judged(unit, tables[i], truth));
compare(units);
showFirstStep(units[1]);
draw(units);
