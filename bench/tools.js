'use strict';
// node bench/tools.js FOLDER TIMES: how much faster the command line converts FOLDER/set with two jobs than `read` does one
// after the other, and how long it takes to start.
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const [folder, times] = process.argv.slice(2);
const set = path.join(folder, 'set');
const out = path.join(folder, 'out');
const small = path.join(folder, 'small.bin');
const root = path.join(__dirname, '..');
const bin = path.join(root, 'tools', 'bin', 'vortena.js');

const READ_ALL = `
const [set, out] = process.argv.slice(1);
const { read } = require(${JSON.stringify(root)});
for (const name of require('node:fs').readdirSync(set)) read(set + '/' + name, out + '/' + name + '.csv');`;

function milliseconds(...args) {
  fs.rmSync(out, { recursive: true, force: true });
  fs.mkdirSync(out);
  const begin = process.hrtime.bigint();
  execFileSync(process.execPath, args, { stdio: 'pipe' });
  return Number(process.hrtime.bigint() - begin) / 1e6;
}

const median = (values) => [...values].sort((a, b) => a - b)[Math.floor(values.length / 2)];

fs.writeFileSync(small, fs.readFileSync(path.join(set, '1.bin')).subarray(0, 512 * 20));
const ways = {
  'eight recordings of 64 MB, one after the other with `read`': () => milliseconds('-e', READ_ALL, set, out),
  'the same with `vortena convert -j 2`': () => milliseconds(bin, 'convert', set, '-o', out, '-j', '2', '-q'),
  '`vortena info` of a small recording, from start to end': () => milliseconds(bin, 'info', small),
  'Node.js alone, from start to end': () => milliseconds('-e', ''),
};
const taken = Object.fromEntries(Object.keys(ways).map((way) => [way, []]));
for (let i = 0; i < times; i += 1) {
  for (const [way, measure] of Object.entries(ways)) taken[way].push(measure());
}
const load = os.loadavg()[0].toFixed(1);
console.log(`${os.cpus()[0].model.trim()}, ${os.availableParallelism()} processors, Node.js ${process.version}; load ${load}\n`);
for (const [way, values] of Object.entries(taken)) console.log(`${way}: ${Math.round(median(values))} ms`);
const [alone, together] = Object.values(taken);
const ratios = alone.map((value, i) => value / together[i]);
console.log(`ratio of each round: ${ratios.map((ratio) => ratio.toFixed(2)).join(', ')}; median ${median(ratios).toFixed(2)}`);
