'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, scratchFolder } = require('./support.js');
const { unit } = require('./units.js');

test('the examples of the README run as they stand', (t) => {
  const folder = scratchFolder(t);
  fs.mkdirSync(path.join(folder, 'node_modules'));
  fs.symlinkSync(path.resolve(packagePath), path.join(folder, 'node_modules', 'vortena-reader'));
  fs.mkdirSync(path.join(folder, 'synchronised'));
  unit(folder, 'recording.bin', {});
  unit(folder, 'hip.bin', { time: { role: 0 } });
  unit(folder, 'foot.bin', { time: { role: 1, ahead: 0 } });
  const readme = fs.readFileSync(path.join(__dirname, '..', '..', 'README.md'), 'utf8');
  const examples = [...readme.matchAll(/^```js\n(.*?)^```$/gms)].map((match) => match[1]);
  assert.equal(examples.length, 4);
  for (const example of examples) {
    const { status, stderr } = spawnSync(process.execPath, ['-e', example], { cwd: folder, encoding: 'utf8' });
    assert.equal(status, 0, `${example}\n${stderr}`);
  }
  assert.deepEqual(fs.readdirSync(path.join(folder, 'synchronised')), ['foot.csv', 'hip.csv']);
  assert.ok(fs.existsSync(path.join(folder, 'recording.csv')) && fs.existsSync(path.join(folder, 'config.bin')));
});
