// The package's install script: builds, unless the prebuilt binary loads. Where nothing can be built, it is content with
// what runs without.
'use strict';

const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const root = path.dirname(__dirname);
const buildScript = path.join(__dirname, 'build-addon.js');

const NAMES = {
  built: 'an earlier build',
  'node-api': 'the Node-API binary of an earlier build',
  wasm: 'WebAssembly',
};

/** Who changes the sources wants those, and not what was made from earlier ones. */
const isCheckout = () => ['.git', 'script/test'].some((name) => fs.existsSync(path.join(root, name)));

const build = (stderr) => spawnSync(process.execPath, [buildScript], { stdio: ['ignore', 'inherit', stderr], encoding: 'utf8' });

/** `{ kind, file }` of the five methods, if both entries load. Asked for in a process of its own, which may crash. */
function loadedBinary(only = '') {
  const question = `JSON.stringify(require(${JSON.stringify(path.join(root, 'promises.js'))}).backend().methods)`;
  const env = { ...process.env, VORTENA_BACKEND: only };
  const { status, stdout } = spawnSync(process.execPath, ['-p', question], { env, encoding: 'utf8' });
  return status === 0 ? JSON.parse(stdout) : {};
}

const isPrebuilt = ({ file = root }) => path.relative(root, file).startsWith('prebuilds');

function buildOrDoWithout() {
  const { status, stderr } = build('pipe');
  const { kind } = status === 0 ? {} : loadedBinary();
  if (kind === undefined) {
    process.stderr.write(stderr);
    return status ?? 1;
  }
  const why = stderr
    .trim()
    .split('\n')
    .at(-1)
    .replace(/^vortena-reader: /, '');
  console.log(`vortena-reader: runs on ${NAMES[kind]}, as it was not compiled here: ${why}`);
  return 0;
}

if (isCheckout()) {
  process.exitCode = build('inherit').status ?? 1;
} else if (!isPrebuilt(loadedBinary('node-api'))) {
  process.exitCode = buildOrDoWithout();
}
