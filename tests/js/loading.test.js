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
  fs.writeFileSync(
    script,
    `
    const { Worker, isMainThread } = require('node:worker_threads');
    const call = () => console.log(require(${JSON.stringify(packagePath)}).readConfigDeviceId(process.argv[2]));
    if (!isMainThread || process.argv[3] === 'main first') call();
    if (isMainThread) Array.from({ length: 6 }, () => new Worker(__filename, { argv: process.argv.slice(2) }));
    if (isMainThread) process.on('exit', call);`,
  );
  for (const [order, calls] of [
    ['main first', 8],
    ['workers first', 7],
  ]) {
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
  assert.deepEqual(
    recordings.map((recording) => requireComplete(`${recording}.csv`)),
    Array(5).fill(64),
  );
});

/** The compiled module with some of its text replaced by text of the same length. */
function alteredModule(from, to) {
  const module = fs.readFileSync(path.join(packagePath, 'build', 'Release', 'addon.node'), 'latin1');
  assert.match(module, from);
  return Buffer.from(module.replace(from, to), 'latin1');
}

/** A package in a folder of its own, with files of the given contents beside its JavaScript. */
function layOut(test, contents, scripts = ['build-addon.js', 'install.js']) {
  const folder = scratchFolder(test);
  for (const name of ['index.js', 'promises.js', 'src/loading.js', 'src/promises', 'src/requests']) {
    fs.cpSync(path.join(packagePath, name), path.join(folder, name), { recursive: true });
  }
  for (const name of scripts) {
    fs.cpSync(path.join(__dirname, '..', '..', 'script', name), path.join(folder, 'script', name));
  }
  for (const [name, content] of Object.entries(contents)) {
    fs.mkdirSync(path.join(folder, path.dirname(name)), { recursive: true });
    fs.writeFileSync(path.join(folder, name), content);
  }
  return folder;
}

for (const [what, addon, sentence] of [
  ['damaged', () => 'not a module', /addon\.node: .*(too short|invalid)/],
  [
    'zeros',
    () => fs.readFileSync(path.join(packagePath, 'build', 'Release', 'addon.node')).fill(0, 1e5),
    /addon\.node: the file is cut off/,
  ],
  [
    'cut off',
    () => fs.readFileSync(path.join(packagePath, 'build', 'Release', 'addon.node')).subarray(0, 1e5),
    /addon\.node: the file is cut off/,
  ],
  ['of a newer system', () => alteredModule(/GLIBCXX_3\.4\.2\d/, 'GLIBCXX_3.4.99'), /newer system.*GLIBCXX_3\.4\.99/],
  ['of another processor', () => alteredModule(/(?<=^[^]{18})../, '\xff\xff'), /another processor/],
  ['of another Node.js', () => alteredModule(/_ZN2v89Exception/, '_ZN2v89Exceptiox'), /another release of Node\.js/],
]) {
  test(`a module that is ${what} is an error that names the cause, and a command to paste`, (t) => {
    const folder = layOut(t, { 'build/Release/addon.node': addon() });
    assert.throws(
      () => require(folder),
      (error) => {
        assert.equal(error.code, 'ERR_ADDON_NOT_BUILT');
        assert.match(error.message, sentence);
        assert.ok(error.message.endsWith(`: node "${path.join(folder, 'script', 'build-addon.js')}"`), error.message);
        return error.message.includes(process.version) && error.cause instanceof Error;
      },
    );
  });
}

test('a bundle is told to leave the package in node_modules', (t) => {
  assert.throws(() => require(layOut(t, {}, [])), { code: 'ERR_ADDON_NOT_BUILT', message: /external/ });
});

const compiled = (name) => fs.readFileSync(path.join(packagePath, 'build', 'Release', `${name}.node`));
const prebuilt = `prebuilds/linux-${process.arch}-glibc/vortena.node`;
const wasm = {
  // only to be found: it is never called
  'wasm/vortena.wasm': '',
  'src/wasm/methods.js':
    "require('node:fs').readFileSync(`${__dirname}/../../wasm/vortena.wasm`).length && null.x; exports.callMethod = () => '';",
  'src/wasm/native.js': 'exports.endJobs = () => {}; exports.collect = () => {};',
};

test('of all binaries the first that loads is taken, and the error names all that do not', (t) => {
  const [addon, entry] = ['build/Release/addon.node', 'build/Release/vortena.node'];
  const folder = layOut(t, {
    [addon]: compiled('addon'),
    [entry]: compiled('vortena'),
    [prebuilt]: compiled('vortena'),
    ...wasm,
  });
  const backend = (only = '') => {
    const question = `JSON.stringify(require(${JSON.stringify(path.join(folder, 'promises.js'))}).backend())`;
    const { stdout, stderr } = node(['-p', question], { ...process.env, VORTENA_BACKEND: only });
    return stdout ? Object.values(JSON.parse(stdout)).map(({ kind, file }) => [kind, path.relative(folder, file)]) : stderr;
  };
  const inWasm = ['wasm', 'wasm/vortena.wasm'];
  const shipped = ['node-api', prebuilt];
  for (const [only, methods, promises] of [
    ['built', ['built', addon], ['built', entry]],
    ['node-api', ['node-api', entry], ['node-api', entry]],
    ['wasm', inWasm, inWasm],
  ]) {
    assert.deepEqual(backend(only), [methods, promises]);
  }
  for (const [damaged, methods, promises] of [
    ['none yet', ['built', addon], ['built', entry]],
    [addon, ['node-api', entry], ['built', entry]],
    [entry, shipped, shipped],
    [prebuilt, inWasm, inWasm],
  ]) {
    fs.writeFileSync(path.join(folder, damaged), 'damaged');
    assert.deepEqual(backend(), [methods, promises]);
  }
  fs.writeFileSync(path.join(folder, 'wasm/vortena.wasm'), 'damaged');
  const named = (words) => words.match(/^ {2}\S+\/\S+(?=: )/gm);
  assert.deepEqual(
    named(node([folder]).stderr),
    [addon, entry, prebuilt, 'wasm/vortena.wasm'].map((file) => `  ${file}`),
  );
  assert.deepEqual(named(backend('node-api')), [`  ${entry}`, `  ${prebuilt}`]);
  assert.match(backend('none'), /^Error: VORTENA_BACKEND is none of built, node-api, wasm: none$/m);
});

test('installing builds, unless prebuilt binaries load, and does without where it cannot', (t) => {
  const install = (folder) => {
    const { status, stdout, stderr } = node([path.join(folder, 'script', 'install.js')], { ...process.env, PATH: '' });
    return [status, stdout, stderr];
  };
  const binaries = { [prebuilt]: compiled('vortena') };
  assert.deepEqual(install(layOut(t, binaries)), [0, '', '']);
  const cannot = /^vortena-reader: building needs, and does not find: CMake.*\n$/;
  for (const [contents, expected, words, errors] of [
    [{ ...binaries, '.git': '' }, 1, /^$/, cannot],
    [
      { 'build/Release/vortena.node': compiled('vortena') },
      0,
      /^vortena-reader: runs on .*Node-API.*: building needs.*\n$/,
      /^$/,
    ],
    [wasm, 0, /^vortena-reader: runs on WebAssembly.*: building needs.*\n$/, /^$/],
    [{}, 1, /^$/, cannot],
  ]) {
    const [status, stdout, stderr] = install(layOut(t, contents));
    assert.equal(status, expected, stderr);
    assert.match(stdout, words);
    assert.match(stderr, errors);
  }
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
