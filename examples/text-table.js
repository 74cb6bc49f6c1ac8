// Columns of text for a terminal: the first aligned left, the others right.
'use strict';

/** @param {(string | number)[][]} rows of equal length; the first holds the names. */
function textTable(rows, indent = '   ') {
  const widths = rows[0].map((_, at) => Math.max(...rows.map((row) => String(row[at]).length)));
  const line = (row) => row.map((cell, at) => (at === 0 ? String(cell).padEnd(widths[0]) : String(cell).padStart(widths[at])));
  return rows.map((row) => indent + line(row).join('  ').trimEnd()).join('\n');
}

module.exports = { textTable };
