// node examples/plot-orientation.js RECORDING CSV PICTURE: draws roll, pitch and yaw of a recording over time.
'use strict';

const path = require('node:path');
const { read, readConfig } = require('..');
const { anglesOf, brokenWhereRound } = require('./attitude.js');
const { quaternion, readTable } = require('./csv-table.js');
const { curveOf, drawCurves } = require('./draw-curves.js');

const COLOURS = { roll: '#0072b2', pitch: '#d55e00', yaw: '#007a5a' };

const [recording, csv, picture] = process.argv.slice(2);
if (readConfig(recording) !== '') read(recording, csv);
const table = readConfig(recording) === '' ? null : readTable(csv);
if (!table?.names.includes('Quat W')) {
  console.error(`${recording} cannot be read, or has no orientation`);
  process.exit(1);
}
const time = table.column('Time');
const angles = anglesOf(quaternion(table));
const panel = (name, limit) => ({
  label: `${name} (degrees)`,
  range: [-limit, limit],
  step: limit / 2,
  curves: [{ ...brokenWhereRound(curveOf('', time, angles[name], table.column('Quat W'))), colour: COLOURS[name] }],
});
drawCurves(picture, `Orientation: ${path.basename(recording)}`, [panel('roll', 180), panel('pitch', 90), panel('yaw', 180)]);
