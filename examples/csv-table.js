// A CSV of this module as columns of numbers. What is empty is NaN.
'use strict';

const fs = require('node:fs');

const COUNT_LINE = 2;
const NAMES_LINE = 5;
const HEADER_LINES = 7;
const CHUNK = 1 << 20;

/** The lines of a file of any size, one after the other. */
function* linesOf(path) {
  const file = fs.openSync(path);
  const chunk = Buffer.alloc(CHUNK);
  let rest = '';
  try {
    for (let size; (size = fs.readSync(file, chunk)) > 0; ) {
      const lines = (rest + chunk.latin1Slice(0, size)).split('\n');
      rest = lines.pop();
      yield* lines;
    }
  } finally {
    fs.closeSync(file);
  }
}

/**
 * @param {string} path a CSV that `read` or `readAndSync2` wrote.
 * @returns {{ rowCount: number, names: string[], column: (name: string) => Float64Array }} `column` gives `rowCount`
 *   numbers, or throws for a name that is not there.
 */
function readTable(path) {
  const lines = linesOf(path);
  const header = Array.from({ length: HEADER_LINES }, () => lines.next().value);
  const names = header[NAMES_LINE].split(',').slice(0, -1);
  const rowCount = Number(header[COUNT_LINE].replace('Total data points: ', ''));
  const columns = names.map(() => new Float64Array(rowCount).fill(NaN));
  let row = 0;
  for (const line of lines) {
    const cells = line.split(',');
    columns.forEach((column, at) => (column[row] = cells[at] ? Number(cells[at]) : NaN));
    row += 1;
  }
  if (row !== rowCount) throw new Error(`${path} has ${row} rows instead of ${rowCount}`);
  const column = (name) => {
    if (!names.includes(name)) throw new Error(`${path} has no column "${name}"`);
    return columns[names.indexOf(name)];
  };
  return { rowCount, names, column };
}

/** The columns of a sensor, by axis: `axes(table, 'Gyro').x`. */
function axes(table, sensor) {
  const [x, y, z] = ['X', 'Y', 'Z'].map((axis) => table.column(`${sensor} ${axis}`));
  return { x, y, z };
}

/** The columns of the quaternion. Rows of four zeros, which are no orientation, become NaN. */
function quaternion(table, prefix = 'Quat') {
  const w = table.column(`${prefix} W`);
  const { x, y, z } = axes(table, prefix);
  const known = (row) => w[row] !== 0 || x[row] !== 0 || y[row] !== 0 || z[row] !== 0;
  return { w: w.map((value, row) => (known(row) ? value : NaN)), x, y, z };
}

module.exports = { readTable, axes, quaternion };
