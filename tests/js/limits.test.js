'use strict';

const assert = require('node:assert/strict');
const { execFileSync, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, dataBlock, headerBlock, scratchFolder, writeRecording } = require('./support.js');
const addon = require(packagePath);

const sanitized = process.env.LD_PRELOAD !== undefined; // sanitizers take all of the address space for themselves

test('memory that is refused is an Error, and the process goes on', { skip: sanitized }, () => {
  const idle = execFileSync(process.execPath, ['-p', "/VmPeak:\\s+(\\d+)/.exec(fs.readFileSync('/proc/self/status'))[1]"]);
  const script = `const addon = require(${JSON.stringify(packagePath)});
    const text = Buffer.alloc(300 << 20, 'x').toString('latin1'); // takes 600 MB, and its conversion another 300
    try { addon.readConfig(text); } catch (error) { console.log(error.message); }`;
  const limited = `ulimit -v ${Number(idle) + 800 * 1024}; exec "$0" -e "$1"`;
  const { stdout, status } = spawnSync('sh', ['-c', limited, process.execPath, script], { encoding: 'utf8' });
  assert.deepEqual([stdout, status], ['Not enough memory for this call\n', 0]);
});

test('a sparse file reads as what it holds', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'r.bin', [headerBlock(), ...Array(600).fill(dataBlock(7))]);
  fs.truncateSync(recording, 600 * 1024 * 1024);
  assert.equal(JSON.parse(addon.read(recording, path.join(folder, 'r.csv'))).frequency, 100);
  assert.match(fs.readFileSync(path.join(folder, 'r.csv'), 'utf8'), /^Total data points: 63$/m);
});

test('a pipe is neither read nor written, and nothing waits for it', (t) => {
  const pipe = path.join(scratchFolder(t), 'pipe');
  execFileSync('mkfifo', [pipe]);
  assert.equal(addon.readConfig(pipe), '');
  assert.equal(addon.read('missing', pipe), '{"error":"Error during data loading."}');
  assert.equal(addon.writeConfig(pipe, 'radio,1,12'), 'ERROR');
});
