// node examples/show-recording.js RECORDING CSV PICTURE: reads a recording, shows what is in it, and draws it.
'use strict';

const path = require('node:path');
const { read, readConfig } = require('..');
const { anglesOf, brokenWhereRound } = require('./attitude.js');
const { axes, quaternion, readTable } = require('./csv-table.js');
const { curveOf, drawCurves } = require('./draw-curves.js');
const { firstMovingRow } = require('./motion.js');
const { textTable } = require('./text-table.js');

const SHOWN_ROWS = 8;
const SHOWN_SECONDS = 0.1; // between them
const AXES = ['X', 'Y', 'Z'];

const [recording, csv, picture] = process.argv.slice(2);
const config = readConfig(recording);
if (config === '') {
  console.error(`${recording} cannot be read, or is no recording`);
  process.exit(1);
}

function describe(settings, table) {
  const sensor = (name, { frequency, range } = {}, unit = '') =>
    frequency === undefined ? [] : [`${name} ${frequency} Hz${range ? `, up to ${range} ${unit}` : ''}`];
  const sensors = [
    ...sensor('accelerometer', settings.accel, 'g'),
    ...sensor('gyroscope', settings.gyro, 'deg/s'),
    ...sensor('barometer', settings.baro),
    ...sensor('position receiver', settings.gps),
  ];
  console.log(`   device       ${settings.deviceId ?? 'not named'}`);
  console.log(`   recorded     ${settings.createdAt} to ${settings.endDate}`);
  console.log(`   time base    ${settings.frequency} ticks per second`);
  console.log(`   sensors      ${sensors.join('; ') || 'none that this reader knows'}`);
  const seconds = table.rowCount > 0 ? `, ${(table.rowCount / settings.frequency).toFixed(1)} s by the time base` : '';
  console.log(`   rows         ${table.rowCount}${seconds}`);
  console.log(`   columns      ${table.names.join(', ')}`);
}

const sensorsOf = (table) => ['Gyro', 'Accel'].filter((name) => table.names.includes(`${name} X`));

function showMotion(table) {
  const sensors = sensorsOf(table);
  const columnsOf = (name) => (sensors.includes(name) ? axes(table, name) : undefined);
  const first = firstMovingRow(columnsOf('Gyro'), columnsOf('Accel'));
  if (first < 0) return console.log('\nNothing moves in it.');
  const names = [
    'Time',
    ...sensors.flatMap((name) => AXES.map((axis) => `${name} ${axis}`)),
    ...table.names.filter((name) => name.startsWith('Quat')),
  ];
  const columns = names.map((name) => table.column(name));
  const every = Math.max(1, Math.round(SHOWN_SECONDS / (columns[0][1] - columns[0][0])));
  const filled = (row) => columns.every((column) => !Number.isNaN(column[row]));
  const shown = [];
  for (let row = first; row < table.rowCount && shown.length < SHOWN_ROWS; row += 1) {
    if (filled(row) && !(row - shown.at(-1) < every)) shown.push(row);
  }
  const cell = (row) => (column, at) => column[row].toFixed(names[at].startsWith('Gyro') ? 1 : 3);
  console.log('\nWhere it begins to move, in s, deg/s and g; the quaternion turns body to earth:');
  return console.log(textTable([names, ...shown.map((row) => columns.map(cell(row)))]));
}

function draw(table) {
  const x = table.column('Time');
  const byAxis = (sensor) =>
    AXES.map((axis) => {
      const y = table.column(`${sensor} ${axis}`);
      return curveOf(axis, x, y, y);
    });
  const panels = sensorsOf(table).map((name) => ({
    label: name === 'Gyro' ? 'rate (deg/s)' : 'acceleration (g)',
    curves: byAxis(name),
  }));
  if (table.names.includes('Quat W')) {
    const angles = anglesOf(quaternion(table));
    const angle = (name) => brokenWhereRound(curveOf(name, x, angles[name], table.column('Quat W')));
    panels.push({ label: 'orientation (degrees)', range: [-180, 180], step: 90, curves: ['roll', 'pitch', 'yaw'].map(angle) });
  }
  if (panels.length === 0 || table.rowCount === 0) return;
  console.log('\nDrawing');
  drawCurves(picture, path.basename(recording), panels);
  console.log(`Picture: ${picture}`);
}

console.log(`Reading ${recording}`);
const started = process.hrtime.bigint();
const answer = JSON.parse(read(recording, csv));
const milliseconds = Number(process.hrtime.bigint() - started) / 1e6;
if (answer.error) {
  console.error(answer.error);
  process.exit(1);
}
const table = readTable(csv);
describe(JSON.parse(config), table);
console.log(`   CSV          ${csv}, written in ${milliseconds.toFixed(0)} ms`);
showMotion(table);
draw(table);
