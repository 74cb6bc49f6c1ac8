// node examples/plot-orientation.js RECORDING CSV PICTURE: draws roll, pitch and yaw of a recording over time.
'use strict';

const path = require('node:path');
const { read, readConfig } = require('..');
const { anglesOf, brokenWhereRound } = require('./attitude.js');
const { quaternions, readTable } = require('./csv-table.js');
const { drawCurves } = require('./draw-curves.js');

const NO_ANGLES = { roll: NaN, pitch: NaN, yaw: NaN };
const COLOURS = { roll: '#0072b2', pitch: '#d55e00', yaw: '#007a5a' };

const [recording, csv, picture] = process.argv.slice(2);
if (readConfig(recording) !== '') read(recording, csv);
const table = readConfig(recording) === '' ? null : readTable(csv);
if (!table?.names.includes('Quat W')) {
  console.error(`${recording} cannot be read, or has no orientation`);
  process.exit(1);
}
const time = table.column('Time');
const angles = quaternions(table).map((q) => (q ? anglesOf(q) : NO_ANGLES));
const panel = (name, limit) => ({
  label: `${name} (degrees)`,
  range: [-limit, limit],
  step: limit / 2,
  curves: [{ x: time, y: brokenWhereRound(angles.map((angle) => angle[name])), colour: COLOURS[name] }],
});
drawCurves(picture, `Orientation: ${path.basename(recording)}`, [panel('roll', 180), panel('pitch', 90), panel('yaw', 180)]);
