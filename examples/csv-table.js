// A CSV of this module as columns of numbers. What is empty is NaN.
'use strict';

const fs = require('node:fs');


const NAMES_LINE = 5;
const HEADER_LINES = 7;

/**
 * @param {string} path a CSV that `read` or `readAndSync2` wrote.
 * @returns {{ createdAt: string, rowCount: number, names: string[], column: (name: string) => number[] }} `column` gives
 *   `rowCount` numbers, or throws for a name that is not there.
 */
function readTable(path) {
  const lines = fs.readFileSync(path, 'utf8').trimEnd().split('\n');
  const names = lines[NAMES_LINE].split(',').slice(0, -1);
  const rows = lines.slice(HEADER_LINES).map((line) => line.split(','));
  const column = (name) => {
    const at = names.indexOf(name);
    if (at < 0) throw new Error(`${path} has no column "${name}"`);
    return rows.map((cells) => (cells[at] ? Number(cells[at]) : NaN));
  };
  return { createdAt: lines[1].replace('Created on: ', ''), rowCount: rows.length, names, column };
}

/** Three axes as one list of vectors: `vectors(table, 'Gyro')`. */
function vectors(table, sensor) {
  const [x, y, z] = ['X', 'Y', 'Z'].map((axis) => table.column(`${sensor} ${axis}`));
  return x.map((_, row) => [x[row], y[row], z[row]]);
}

/** Quaternions w, x, y, z; null where a row has none. `prefix` is that of the column names. */
function quaternions(table, prefix = 'Quat') {
  const [w, x, y, z] = ['W', 'X', 'Y', 'Z'].map((axis) => table.column(`${prefix} ${axis}`));
  return w.map((_, row) => {
    const q = [w[row], x[row], y[row], z[row]];
    return q.some(Number.isNaN) || q.every((element) => element === 0) ? null : q;
  });
}

module.exports = { readTable, vectors, quaternions };
