'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { pathToFileURL } = require('node:url');
const { Worker } = require('node:worker_threads');
const { packagePath, scratchFolder, writeRecording } = require('./support.js');

const node = (args) => spawnSync(process.execPath, args, { encoding: 'utf8' });

test('named imports work from ES modules', () => {
  const url = pathToFileURL(path.join(packagePath, 'index.js')).href;
  const script = `import { read, readAndSync2, readConfig, writeConfig, readConfigDeviceId } from ${JSON.stringify(url)};
    console.log([read, readAndSync2, readConfig, writeConfig, readConfigDeviceId].map((f) => typeof f).join());`;
  assert.equal(node(['--input-type=module', '-e', script]).stdout, `${Array(5).fill('function').join()}\n`);
});

test('loads again after the module cache was cleared', () => {
  for (let load = 0; load < 3; load += 1) {
    for (const key of Object.keys(require.cache).filter((file) => file.endsWith('.node'))) {
      delete require.cache[key];
    }
    delete require.cache[require.resolve(packagePath)];
    assert.equal(require(packagePath).readConfig('missing'), '');
  }
});

/** Runs a call in `count` workers at once; `before` loads the module in the main thread first. */
function workersScript(recording, before, count) {
  return `
    const { Worker, isMainThread, parentPort } = require('node:worker_threads');
    const load = () => require(${JSON.stringify(packagePath)});
    const call = () => load().readConfigDeviceId(${JSON.stringify(recording)});
    if (!isMainThread) {
      parentPort.postMessage(call());
    } else {
      if (${before}) call();
      const answers = Array.from({ length: ${count} }, () => new Promise((resolve, reject) => {
        new Worker(__filename).once('message', resolve).once('error', reject);
      }));
      Promise.all(answers).then((all) => console.log([...all, call()].join('\\n')));
    }`;
}

test('loads in several workers at once, before or after the main thread', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'r.bin');
  for (const before of [true, false]) {
    const script = path.join(folder, `workers-${before}.js`);
    fs.writeFileSync(script, workersScript(recording, before, 6));
    const result = node([script]);
    assert.equal(result.status, 0, result.stderr);
    assert.equal(result.stdout, '{"deviceId":1234}\n'.repeat(7));
  }
});

test('a package that is not built says so, and how to mend it', (t) => {
  const folder = scratchFolder(t);
  for (const content of [null, 'not a module']) {
    fs.copyFileSync(path.join(packagePath, 'index.js'), path.join(folder, 'index.js'));
    if (content) {
      fs.mkdirSync(path.join(folder, 'build', 'Release'), { recursive: true });
      fs.writeFileSync(path.join(folder, 'build', 'Release', 'addon.node'), content);
    }
    assert.throws(() => require(folder), (error) => {
      assert.equal(error.code, 'ERR_ADDON_NOT_BUILT');
      assert.match(error.message, new RegExp(`${process.version}.*${process.platform}-${process.arch}.*npm rebuild`));
      return true;
    });
  }
});

test('the build ends with one sentence when a tool or the headers are missing', (t) => {
  const folder = scratchFolder(t);
  const script = path.join(__dirname, '..', '..', 'script', 'build-addon.js');
  const build = (env) => spawnSync(process.execPath, [script], { encoding: 'utf8', env: { PATH: folder, ...env } });
  const withoutCmake = build({});
  assert.equal(withoutCmake.status, 1);
  assert.match(withoutCmake.stderr, /^vortena-reader: building needs CMake .*\n$/);
  fs.symlinkSync('/bin/true', path.join(folder, 'cmake'));
  const withoutCompiler = build({});
  assert.equal(withoutCompiler.status, 1);
  assert.match(withoutCompiler.stderr, /^vortena-reader: building needs a C\+\+20 compiler.*\n$/);
});
