'use strict';

const fs = require('node:fs');
const path = require('node:path');

const addonPath = path.join(__dirname, 'build', 'Release', 'addon.node');
const buildScript = path.join(__dirname, 'script', 'build-addon.js');
const buildHere = `Build it here: node "${buildScript}"`;

const knownCauses = [
  [/NODE_MODULE_VERSION (\d+)\./, 'it was built for another release of Node.js (ABI $1)'],
  [/undefined symbol: _ZNK?2v8/, 'it was built for another release of Node.js'],
  [/version `(\w+_[\d.]+)' not found/, 'it was built on a newer system, and $1 is missing here'],
  [/addon\.node: cannot open shared object file/, 'it was built for another processor or system'],
];

function wordsOf(cause) {
  const words = cause.message.replace(/\s+/g, ' ');
  const [pattern, plain] = knownCauses.find(([pattern]) => pattern.test(words)) ?? [];
  return pattern ? plain.replace('$1', pattern.exec(words)[1]) : words;
}

/** What keeps the module from loading, and what the reader can do about it. */
function explain(cause) {
  if (!fs.existsSync(addonPath)) {
    return fs.existsSync(buildScript)
      ? `the module is not built; some package managers run no install scripts. ${buildHere}`
      : `the package's files are not in ${__dirname}. A bundle must leave the package external, in node_modules.`;
  }
  if (process.versions.bun || process.versions.deno) {
    return `only Node.js can load the module. ${cause.message}`;
  }
  return `the module does not load: ${wordsOf(cause)}. ${buildHere}`;
}

function loadBinding() {
  try {
    return require(addonPath);
  } catch (cause) {
    const { bun, deno, modules } = process.versions;
    const runtime = (bun && `Bun ${bun}`) || (deno && `Deno ${deno}`) || `Node.js ${process.version} (ABI ${modules})`;
    const error = new Error(
      `vortena-reader on ${runtime}, ${process.platform}-${process.arch}: ${explain(cause)}`,
      { cause },
    );
    error.code = 'ERR_ADDON_NOT_BUILT';
    throw error;
  }
}

const binding = loadBinding();

// One by one, so that ES modules can import each method by name.
exports.read = binding.read;
exports.readAndSync2 = binding.readAndSync2;
exports.readConfig = binding.readConfig;
exports.writeConfig = binding.writeConfig;
exports.readConfigDeviceId = binding.readConfigDeviceId;
