// Curves over time as a picture, one panel below the other. Needs gnuplot.
'use strict';

const { spawnSync } = require('node:child_process');

const COLOURS = ['#0072b2', '#d55e00', '#007a5a']; // told apart by all eyes
const PANEL_HEIGHT = 200;
const FOOT = 68;
const HEAD = 32;
const MOST_POINTS = 4000; // of a curve; a picture has a thousand columns

const quoted = (text) => `"${text.replace(/[\\"]/g, '\\$&').replace(/[\p{Cc}]/gu, '?')}"`;

/** The rows of the least and the greatest value, and the first without a value, from `first` on. */
function tellingRows(y, first, end) {
  let least, greatest, none;
  for (let row = first; row < end; row += 1) {
    if (Number.isNaN(y[row])) none ??= row;
    else if (least === undefined) least = greatest = row;
    else if (y[row] < y[least]) least = row;
    else if (y[row] > y[greatest]) greatest = row;
  }
  return [least, greatest, none].filter((row) => row !== undefined).sort((a, b) => a - b);
}

/** Rows enough to draw a curve with all of its peaks and gaps. */
function drawnRows(y) {
  if (y.length <= MOST_POINTS) return [...y.keys()];
  const share = Math.ceil((2 * y.length) / MOST_POINTS);
  const shares = Array.from({ length: Math.ceil(y.length / share) }, (_, i) => i * share);
  return shares.flatMap((first) => tellingRows(y, first, Math.min(first + share, y.length)));
}

const dataBlock = (name, { x, y }) => [`${name} << EOD`, ...drawnRows(y).map((row) => `${x[row]} ${y[row]}`), 'EOD'];

function plotted({ name, colour }, data, index) {
  const line = `linewidth 1.4 linecolor "${colour ?? COLOURS[index]}"`;
  return `${data} using 1:2 with lines ${line} ${name ? `title ${quoted(name)}` : 'notitle'}`;
}

function panelCommands({ label, range = ['*', '*'], step, curves }, index, last) {
  const names = curves.map((_, i) => `$curve_${index}_${i}`);
  return [
    ...curves.flatMap((curve, i) => dataBlock(names[i], curve)),
    `set ylabel ${quoted(label)}`,
    `set yrange [${range.join(':')}]`,
    `set ytics ${step ?? 'autofreq'}`,
    last ? 'set format x "%g"; set xlabel "time (s)"' : 'set format x ""',
    `plot ${curves.map((curve, i) => plotted(curve, names[i], i)).join(', ')}`,
  ];
}

/** A curve of the rows in which a column of the CSV has cells; between them a slower sensor has none. */
function curveOf(name, x, y, column) {
  const filled = (_, row) => !Number.isNaN(column[row]);
  return { name, x: x.filter(filled), y: y.filter(filled) };
}

/**
 * @param {string} picture path of the PNG to write.
 * @param {string} title
 * @param {{ label: string, range?: [number, number], step?: number,
 *   curves: { name?: string, colour?: string, x: Float64Array, y: Float64Array }[] }[]} panels from
 *   the top down, on one time axis. NaN ends a line.
 * @param {number} [panelHeight] in pixels.
 */
function drawCurves(picture, title, panels, panelHeight = PANEL_HEIGHT) {
  const height = FOOT + HEAD + panelHeight * panels.length;
  const [bottom, top] = [FOOT / height, 1 - HEAD / height].map((share) => share.toFixed(4));
  const commands = [
    `set terminal pngcairo size 1000, ${height} font "sans,13"`,
    `set output ${quoted(picture)}`,
    `set multiplot layout ${panels.length}, 1 title ${quoted(title)} noenhanced margins 0.09, 0.98, ${bottom}, ${top} spacing 0.02`,
    'set grid linewidth 1 linetype 1 linecolor "#c8c8c8"',
    'set key opaque noenhanced top left horizontal samplen 2',
    'set xrange [0:*] noextend',
    ...panels.flatMap((panel, i) => panelCommands(panel, i, i === panels.length - 1)),
    'unset multiplot',
  ];
  const { status, error, stderr } = spawnSync('gnuplot', [], {
    input: commands.join('\n'),
    encoding: 'utf8',
    env: { ...process.env, LC_ALL: 'C.UTF-8' },
  });
  if (status !== 0 || stderr.includes('^')) throw new Error(`gnuplot cannot draw ${picture}: ${error?.message ?? stderr}`);
}

module.exports = { curveOf, drawCurves };
