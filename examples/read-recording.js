// node examples/read-recording.js RECORDING CSV: reads a recording and shows what came of it.
'use strict';

const fs = require('node:fs');
const { read, readConfig } = require('..');

const HEADER_LINES = 7;
const SHOWN_ROWS = 10;

const [recording, csv] = process.argv.slice(2);
if (!csv) {
  console.error('usage: node examples/read-recording.js RECORDING CSV');
  process.exit(2);
}

const config = readConfig(recording);
if (config === '') {
  console.error(`${recording} cannot be read, or is no recording`);
  process.exit(1);
}
console.log('Configuration:', JSON.parse(config));

const started = process.hrtime.bigint();
const answer = JSON.parse(read(recording, csv));
const milliseconds = Number(process.hrtime.bigint() - started) / 1e6;
if (answer.error) {
  console.error(answer.error);
  process.exit(1);
}
console.log('Summary:', answer);

const lines = fs.readFileSync(csv, 'utf8').split('\n').slice(0, -1);
console.log(`${csv}, ${lines.length - HEADER_LINES} rows, in ${milliseconds.toFixed(0)} ms:`);
console.log(lines.slice(0, HEADER_LINES + SHOWN_ROWS).join('\n'));
