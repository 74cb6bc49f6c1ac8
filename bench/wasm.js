'use strict';
// node bench/wasm.js RECORDING FOLDER TIMES: WebAssembly against the native entries, each run a process of its own. The
// instance's memory is the highest, as it never shrinks; that of the process holds the recording, too, for bytes.
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const [recording, folder, times = 5] = process.argv.slice(2);
const root = path.join(__dirname, '..');

/** Sums are of bytes handed out, so that nothing is left undone. */
const CASES = {
  'native `read`': "require('.').read(file, csv)",
  'native `convert`': "await require('./promises.js').convert(file, csv, { secondThread: false })",
  '`csvPieces` in WebAssembly': 'let n = 0; for await (const piece of wasm().csvPieces(bytes())) n += piece.length',
  '`read` over WebAssembly': "process.env.VORTENA_BACKEND = 'wasm'; require('.').read(file, csv)",
  'native `inspect`': "await require('./promises.js').inspect(file)",
  '`inspect` in WebAssembly': 'await wasm().inspect(bytes())',
  'native `readSamples`': "await require('./promises.js').readSamples(file)",
  '`readSamples` in WebAssembly': 'await wasm().readSamples(bytes())',
  'the same, transferable': 'await wasm().readSamples(bytes(), { transferable: true })',
  'native `levels`': "await require('./promises.js').levels([file])",
  '`levels` in WebAssembly': 'await wasm().levels([bytes()])',
};

function run(body) {
  const script = `
    const [file, csv] = ${JSON.stringify([recording, path.join(folder, 'wasm.csv')])};
    let instance = 0;
    const { Instance } = require('./src/wasm/instance.js');
    const grow = Instance.prototype.grow;
    Instance.prototype.grow = function (bytes) {
      const answer = grow.call(this, bytes);
      instance = this.buffer.byteLength;
      return answer;
    };
    const wasm = () => require('./wasm.js');
    const bytes = () => require('node:fs').readFileSync(file);
    (async () => {
      require('./promises.js');
      const before = process.memoryUsage().rss;
      const start = process.hrtime.bigint();
      ${body};
      const ms = Number(process.hrtime.bigint() - start) / 1e6;
      console.log(JSON.stringify({ ms, peak: process.resourceUsage().maxRSS * 1024 - before, instance }));
    })()`;
  return JSON.parse(execFileSync(process.execPath, ['-e', script], { cwd: root }));
}

const median = (values) => values.sort((a, b) => a - b)[values.length >> 1];
const { size } = fs.statSync(recording);
const results = new Map(Object.keys(CASES).map((name) => [name, []]));
for (let k = 0; k < times; k += 1) {
  for (const [name, body] of Object.entries(CASES)) results.get(name).push(run(body));
}
console.log(
  '| what, of a recording of %d MB | ms | memory of the instance | of the process |\n| --- | --- | --- | --- |',
  Math.round(size / 1e6),
);
for (const [name, runs] of results) {
  const times = (key) => (median(runs.map((each) => each[key])) / size).toFixed(1);
  const instance = runs[0].instance ? `${times('instance')} ×` : '';
  console.log(`| ${name} | ${Math.round(median(runs.map(({ ms }) => ms)))} | ${instance} | ${times('peak')} × |`);
}
