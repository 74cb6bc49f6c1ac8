// Whatever the package runs on, it behaves like the binary that was built here. VORTENA_BACKENDS names those that must
// be there, with commas between them; others are tested where they are.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, scratchFolder, writeRecording } = require('./support.js');
const { longUnit, recordings, unit } = require('./units.js');

const demanded = process.env.VORTENA_BACKENDS?.split(',') ?? [];
const isThere = (...names) => names.some((name) => fs.existsSync(path.join(packagePath, name)));

/** A run of Node.js that is no part of this file's run of tests. */
function node(backend, args, cwd) {
  const { NODE_TEST_CONTEXT, ...env } = process.env;
  const options = { cwd, encoding: 'utf8', env: { ...env, VORTENA_BACKEND: backend }, maxBuffer: 1 << 28 };
  return spawnSync(process.execPath, args, options);
}

/** One line a call; the messages on standard error go with them. */
function outcomesOn(backend, folder) {
  const cwd = path.join(folder, backend);
  fs.mkdirSync(cwd);
  const script = path.join(__dirname, 'backend-outcomes.js');
  const { status, stdout, stderr } = node(backend, [script, path.resolve(packagePath)], cwd);
  assert.equal(status, 0, stderr);
  return [...stdout.split('\n'), ...stderr.split('\n')];
}

function makeRecordings(folder) {
  fs.mkdirSync(folder);
  recordings(folder);
  unit(folder, 'hip.bin', { time: { role: 0, ahead: 0 } });
  unit(folder, 'foot.bin', { start: 3, time: { role: 1, ahead: -300 } });
  longUnit(folder, 'long.bin', 500);
  writeRecording(folder, 'empty.bin', []);
  writeRecording(folder, 'noise.bin', [Buffer.from(Array.from({ length: 9000 }, (_, i) => (i * i * 31 + (i >> 3)) & 255))]);
}

for (const [backend, there, suites] of [
  ['node-api', isThere('build/Release/vortena.node', 'prebuilds'), ['methods', 'sets', 'limits']],
  ['wasm', isThere('wasm/vortena.wasm'), ['methods', 'sets', 'limits', 'promises']],
]) {
  const skip = !there && !demanded.includes(backend) && `there is no ${backend} backend`;

  test(`all outcomes on ${backend} are those of the built binary`, { skip }, (t) => {
    const folder = scratchFolder(t);
    makeRecordings(path.join(folder, 'in'));
    const built = outcomesOn('built', folder);
    assert.ok(built.length > 500, `${built.length}`);
    assert.deepEqual(outcomesOn(backend, folder), built);
  });

  test(`the tests of ${suites.join(', ')} pass on ${backend}`, { skip }, () => {
    const files = suites.map((name) => path.join(__dirname, `${name}.test.js`));
    const { status, stdout } = node(backend, ['--test', ...files]);
    assert.equal(status, 0, stdout);
  });
}
