'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, scratchFolder, writeRecording } = require('./support.js');

const node = (args, env = process.env) => spawnSync(process.execPath, args, { encoding: 'utf8', env });

test('named imports work from ES modules', () => {
  const url = JSON.stringify(path.join(packagePath, 'index.js'));
  const script = `import { read, readAndSync2, readConfig, writeConfig, readConfigDeviceId } from ${url};
    console.log([read, readAndSync2, readConfig, writeConfig, readConfigDeviceId].map((f) => typeof f).join());`;
  assert.equal(node(['--input-type=module', '-e', script]).stdout, `${Array(5).fill('function').join()}\n`);
});

test('loads again after the module cache was cleared', () => {
  for (let load = 0; load < 3; load += 1) {
    for (const key of Object.keys(require.cache)) {
      delete require.cache[key];
    }
    assert.equal(require(packagePath).readConfig('missing'), '');
  }
});

test('loads in several workers at once, before or after the main thread', (t) => {
  const folder = scratchFolder(t);
  const script = path.join(folder, 'workers.js');
  fs.writeFileSync(script, `
    const { Worker, isMainThread } = require('node:worker_threads');
    const call = () => console.log(require(${JSON.stringify(packagePath)}).readConfigDeviceId(process.argv[2]));
    if (!isMainThread || process.argv[3] === 'main first') call();
    if (isMainThread) Array.from({ length: 6 }, () => new Worker(__filename, { argv: process.argv.slice(2) }));
    if (isMainThread) process.on('exit', call);`);
  for (const [order, calls] of [['main first', 8], ['workers first', 7]]) {
    const result = node([script, writeRecording(folder, 'r.bin'), order]);
    assert.equal(result.stdout, '{"deviceId":1234}\n'.repeat(calls), result.stderr);
  }
});

test('a package that is not built says so, and how to mend it', (t) => {
  const folder = scratchFolder(t);
  fs.copyFileSync(path.join(packagePath, 'index.js'), path.join(folder, 'index.js'));
  const message = new RegExp(`${process.version}.*${process.platform}-${process.arch}.*npm rebuild`);
  assert.throws(() => require(folder), { code: 'ERR_ADDON_NOT_BUILT', message });
  fs.mkdirSync(path.join(folder, 'build', 'Release'), { recursive: true });
  fs.writeFileSync(path.join(folder, 'build', 'Release', 'addon.node'), 'not a module');
  assert.throws(() => require(folder), { code: 'ERR_ADDON_NOT_BUILT', message });
});

test('the build ends with one sentence when a tool is missing', (t) => {
  const folder = scratchFolder(t);
  const build = () => node([path.join(__dirname, '..', '..', 'script', 'build-addon.js')], { PATH: folder });
  assert.match(build().stderr, /^vortena-reader: building needs CMake .*\n$/);
  fs.symlinkSync('/bin/true', path.join(folder, 'cmake'));
  assert.match(build().stderr, /^vortena-reader: building needs a C\+\+20 compiler.*\n$/);
  assert.equal(build().status, 1);
});
