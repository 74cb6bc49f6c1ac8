'use strict';
// node bench/table.js RESULTS.json FOLDER: the figures of docs/speed.md from the medians of the benchmarks, and the memory
// that reading their recording, in FOLDER, takes at most.
const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const [results, folder] = process.argv.slice(2);
const recording = path.join(folder, 'recording.bin');
const set = [0, 1, 2, 3].map((unit) => path.join(folder, `unit${unit}.bin`));
const { benchmarks } = JSON.parse(fs.readFileSync(results));

function median(name) {
  const run = benchmarks.find((b) => b.aggregate_name === 'median' && b.run_name.split('/')[0] === name);
  if (!run || run.error_occurred) throw new Error(`${name} gave no result`);
  return run;
}

const time = (name) => median(name).real_time;

/** Resident memory of a process that makes a call of the module, less what it had before, over the size of its inputs. */
function peakMemory(inputs, call) {
  const script = `const before = process.memoryUsage().rss;
    const { read, readAndSync2 } = require('.');
    const [inputs, folder] = ${JSON.stringify([inputs, folder])};
    ${call};
    console.log(process.resourceUsage().maxRSS * 1024 - before)`;
  const peak = Number(execFileSync(process.execPath, ['-e', script], { cwd: path.join(__dirname, '..') }));
  return peak / inputs.reduce((sum, input) => sum + fs.statSync(input).size, 0);
}

const times = (value) => `${value.toFixed(1)} ×`;
const rows = [
  ['`read` of 64 MB, 3.6 million rows, with orientation', `${Math.round(time('read_library'))} ms`],
  [
    'the same, against ordered trees, streams and nested loops',
    `${times(time('read_straightforward') / time('read_library'))} faster`,
  ],
  ['the same, against `cp` of the CSV, both in memory', `${times(time('read_library') / time('copy_csv'))} slower`],
  ['peak memory, against the size of the recording', times(peakMemory([recording], "read(inputs[0], folder + '/memory.csv')"))],
  ['32 times the recording, 256 MB against 8 MB', `${times(time('read_library_long') / time('read_library_short'))} the time`],
  ['blocks in random order against in order', `${times(time('read_library_shuffled') / time('read_library'))} the time`],
  [
    '`readAndSync2` of four recordings of 16 MB, against `cp` of their CSVs',
    `${times(time('set_library') / time('copy_set'))} slower`,
  ],
  ['its peak memory, against the size of the four', times(peakMemory(set, 'readAndSync2(inputs, folder)'))],
  ['decoding into series, from memory', `${Math.round(median('decode_from_memory').bytes_per_second / 1e6)} MB/s`],
  [
    'decoding, blocks in random order against in order',
    `${times(time('decode_in_random_order') / time('decode_in_order'))} slower`,
  ],
  ['a CSV cell of five decimals, against `std::to_chars`', `${times(time('cell_to_chars') / time('cell_library'))} faster`],
  ['the same, against a C++ stream', `${times(time('cell_stream') / time('cell_library'))} faster`],
  ['one sample of the filter, against nested loops', `${times(time('filter_nested_loops') / time('filter_library'))} faster`],
];

console.log(`${os.cpus()[0].model.trim()}, ${os.cpus().length} processors, ${os.type()} on ${os.arch()}\n`);
console.log('| what | median |\n| --- | --- |');
for (const row of rows) console.log(`| ${row.join(' | ')} |`);
