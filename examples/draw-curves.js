// Curves over time as a picture, one panel below the other. Needs gnuplot.
'use strict';

const { spawnSync } = require('node:child_process');

const COLOURS = ['#0072b2', '#d55e00', '#007a5a']; // told apart by all eyes
const PANEL_HEIGHT = 200;

const quoted = (text) => `"${text.replace(/[\\"]/g, '\\$&').replace(/[\p{Cc}]/gu, '?')}"`;

const dataBlock = (name, { x, y }) => [`${name} << EOD`, ...x.map((value, i) => `${value} ${y[i]}`), 'EOD'];

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

/**
 * @param {string} picture path of the PNG to write.
 * @param {string} title
 * @param {{ label: string, range?: [number, number], step?: number,
 *   curves: { name?: string, colour?: string, x: number[], y: number[] }[] }[]} panels from the top
 *   down, on one time axis. NaN ends a line.
 */
function drawCurves(picture, title, panels) {
  const commands = [
    `set terminal pngcairo size 1000, ${80 + PANEL_HEIGHT * panels.length} font "sans,13"`,
    `set output ${quoted(picture)}`,
    `set multiplot layout ${panels.length}, 1 title ${quoted(title)} noenhanced margins 0.09, 0.98, 0.09, 0.94 spacing 0.02`,
    'set grid linewidth 1 linetype 1 linecolor "#c8c8c8"',
    'set key opaque noenhanced top left horizontal samplen 2',
    'set xrange [0:*] noextend',
    ...panels.flatMap((panel, i) => panelCommands(panel, i, i === panels.length - 1)),
    'unset multiplot',
  ];
  const { status, error, stderr } = spawnSync('gnuplot', [], {
    input: commands.join('\n'), encoding: 'utf8', env: { ...process.env, LC_ALL: 'C.UTF-8' },
  });
  if (status !== 0 || stderr.includes('^')) throw new Error(`gnuplot cannot draw ${picture}: ${error?.message ?? stderr}`);
}

module.exports = { drawCurves };
