'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, requireComplete, scratchFolder, writeRecording } = require('./support.js');

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

test('the worker threads of docs/installing.md read every recording', (t) => {
  const folder = scratchFolder(t);
  fs.mkdirSync(path.join(folder, 'node_modules'));
  fs.symlinkSync(path.resolve(packagePath), path.join(folder, 'node_modules', 'vortena-reader'));
  const page = fs.readFileSync(path.join(__dirname, '..', '..', 'docs', 'installing.md'), 'utf8');
  fs.writeFileSync(path.join(folder, 'read-all.js'), /^```js\n(.*?)^```$/ms.exec(page)[1]);
  const recordings = Array.from({ length: 5 }, (_, index) => writeRecording(folder, `${index}.bin`));
  const { stdout, stderr } = node([path.join(folder, 'read-all.js'), ...recordings]);
  assert.equal(stdout.match(/^.*\.bin: 0000-00-00 00:00:00$/gm)?.length, 5, stdout + stderr);
  assert.deepEqual(recordings.map((recording) => requireComplete(`${recording}.csv`)), Array(5).fill(64));
});

/** The compiled module with some of its text replaced by text of the same length. */
function alteredModule(from, to) {
  const module = fs.readFileSync(path.join(packagePath, 'build', 'Release', 'addon.node'), 'latin1');
  assert.match(module, from);
  return Buffer.from(module.replace(from, to), 'latin1');
}

/** A package in a folder of its own, around a module of the given bytes or none. */
function layOut(test, addon, script = 'build-addon.js') {
  const folder = scratchFolder(test);
  fs.copyFileSync(path.join(packagePath, 'index.js'), path.join(folder, 'index.js'));
  fs.mkdirSync(path.join(folder, 'build', 'Release'), { recursive: true });
  fs.mkdirSync(path.join(folder, 'script'));
  fs.writeFileSync(path.join(folder, 'script', script), '');
  if (addon) {
    fs.writeFileSync(path.join(folder, 'build', 'Release', 'addon.node'), addon);
  }
  return folder;
}

for (const [what, addon, sentence] of [
  ['missing', () => undefined, /is not built/],
  ['damaged', () => 'not a module', /does not load: .*addon\.node/],
  ['of a newer system', () => alteredModule(/GLIBCXX_3\.4\.2\d/, 'GLIBCXX_3.4.99'), /newer system.*GLIBCXX_3\.4\.99/],
  ['of another processor', () => alteredModule(/(?<=^[^]{18})../, '\xff\xff'), /another processor/],
  ['of another Node.js', () => alteredModule(/_ZN2v89Exception/, '_ZN2v89Exceptiox'), /another release of Node\.js/],
]) {
  test(`a module that is ${what} is an error that names the cause, and a command to paste`, (t) => {
    const folder = layOut(t, addon());
    assert.throws(() => require(folder), (error) => {
      assert.equal(error.code, 'ERR_ADDON_NOT_BUILT');
      assert.match(error.message, sentence);
      assert.ok(error.message.endsWith(`: node "${path.join(folder, 'script', 'build-addon.js')}"`), error.message);
      return error.message.includes(process.version) && error.cause instanceof Error;
    });
  });
}

test('a bundle is told to leave the package in node_modules', (t) => {
  assert.throws(() => require(layOut(t, undefined, 'other.js')), { code: 'ERR_ADDON_NOT_BUILT', message: /external/ });
});

test('the build names all missing tools in one sentence, and only those', (t) => {
  const folder = scratchFolder(t);
  const build = () => node([path.join(__dirname, '..', '..', 'script', 'build-addon.js')], { PATH: folder });
  assert.match(build().stderr, /^vortena-reader: .*CMake .*make.*C\+\+20.* apt-get install cmake make g\+\+\n$/);
  fs.symlinkSync('/bin/true', path.join(folder, 'cmake'));
  fs.symlinkSync('/bin/true', path.join(folder, 'make'));
  assert.match(build().stderr, /^vortena-reader: .*find: a C\+\+20 compiler.* apt-get install g\+\+\n$/);
  assert.equal(build().status, 1);
});
