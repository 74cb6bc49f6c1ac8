// node examples/plot-inclination-error.js RECORDING REFERENCE.csv PICTURE: draws by how much the inclination of a recording is
// off in each second, for each way to compute it. Row i of the reference is the attitude w,x,y,z of sample i, body to earth with z up.
'use strict';

const fs = require('node:fs');
const path = require('node:path');
const { readSamples } = require('../promises.js');
const { drawCurves } = require('./draw-curves.js');

const DEGREES = 180 / Math.PI;
const PANEL_HEIGHT = 320;
const MOST = 5; // degrees
const WAYS = [
  { name: 'filter', colour: '#d55e00', options: { orientation: 'filter' } },
  { name: 'filter, offset at rest off', colour: '#0072b2', options: { orientation: 'filter', gyroscopeOffset: 'rest' } },
  { name: 'smoothed', colour: '#007a5a', options: { orientation: 'smoothed' } },
];

function readReference(file) {
  const [, ...lines] = fs.readFileSync(file, 'utf8').trimEnd().split('\n');
  return lines.map((line) => line.split(',').map((cell) => (cell === '' ? NaN : Number(cell))));
}

/** Between the verticals of two attitudes, degrees; NaN where there is none. */
function inclinationBetween(a, b) {
  const [aw, ax, ay, az] = a;
  const [bw, bx, by, bz] = b;
  const turned = Math.hypot(-aw * bx + ax * bw - ay * bz + az * by, -aw * by + ay * bw - az * bx + ax * bz);
  const kept = Math.hypot(aw * bw + ax * bx + ay * by + az * bz, -aw * bz + az * bw - ax * by + ay * bx);
  return a.some(Boolean) ? 2 * Math.atan2(turned, kept) * DEGREES : NaN;
}

/** Of those that are known. */
function rootMeanSquare(errors) {
  const known = errors.filter((error) => !Number.isNaN(error));
  return Math.sqrt(known.reduce((sum, error) => sum + error * error, 0) / known.length);
}

function bySecond(time, errors) {
  const seconds = Array.from({ length: Math.floor(time.at(-1) - time[0]) }, (_, second) => second);
  const firsts = [...seconds, seconds.length].map((second) => time.findIndex((at) => at >= time[0] + second));
  return {
    x: seconds.map((second) => second + 0.5),
    y: seconds.map((second) => rootMeanSquare(errors.subarray(firsts[second], firsts[second + 1]))),
  };
}

async function errorsOf(recording, reference, { name, colour, options }) {
  const { time, w, x, y, z } = (await readSamples(recording, options)).channels.quaternion;
  const errors = Float64Array.from(time, (_, i) => inclinationBetween([w[i], x[i], y[i], z[i]], reference[i] ?? [NaN]));
  return { name: `${name}: ${rootMeanSquare(errors).toFixed(2)} over all`, colour, ...bySecond(time, errors) };
}

async function main([recording, referenceFile, picture]) {
  const reference = readReference(referenceFile);
  const curves = await Promise.all(WAYS.map((way) => errorsOf(recording, reference, way)));
  const label = 'error in each second (degrees rms)';
  drawCurves(picture, `Inclination: ${path.basename(recording)}`, [{ label, range: [0, MOST], curves }], PANEL_HEIGHT);
}

main(process.argv.slice(2)).catch((error) => {
  console.error(error.message);
  process.exitCode = 1;
});
