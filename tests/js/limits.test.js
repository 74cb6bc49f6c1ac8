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
  const script = `const addon = require(${JSON.stringify(packagePath)});
    const text = Buffer.alloc(300 << 20, 'x').toString('latin1');
    const used = 1024 * Number(/VmSize:\\s+(\\d+)/.exec(require('fs').readFileSync('/proc/self/status'))[1]);
    require('child_process').execFileSync('prlimit', ['--pid', process.pid, '--as=' + (used + (200 << 20))]);
    try { addon.readConfig(text); } catch (error) { console.log(error.message); }`;
  const { stdout, status } = spawnSync(process.execPath, ['-e', script], { encoding: 'utf8' });
  assert.deepEqual([stdout, status], ['Not enough memory for this call\n', 0]);
});

test('a sparse file reads as what it holds', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'r.bin', [headerBlock(), ...Array(600).fill(dataBlock(7))]);
  fs.truncateSync(recording, 600 * 1024 * 1024);
  assert.equal(JSON.parse(addon.read(recording, path.join(folder, 'r.csv'))).frequency, 100);
  assert.match(fs.readFileSync(path.join(folder, 'r.csv'), 'utf8'), /^Total data points: 64$/m); // the header holds one
});

test('a pipe is neither read nor written, and nothing waits for it', (t) => {
  const pipe = path.join(scratchFolder(t), 'pipe');
  execFileSync('mkfifo', [pipe]);
  assert.equal(addon.readConfig(pipe), '');
  assert.equal(addon.read('missing', pipe), '{"error":"Error during data loading."}');
  assert.equal(addon.writeConfig(pipe, 'radio,1,12'), 'ERROR');
});
