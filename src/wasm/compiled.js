// The module in Node.js: compiled once a thread, from the file of the package.
'use strict';

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { Instance } = require('./instance.js');

const file = path.join(__dirname, '..', '..', 'wasm', 'vortena.wasm');
let compiled;

function compiledModule() {
  compiled ??= new WebAssembly.Module(fs.readFileSync(file));
  return compiled;
}

/** Names of files under way say whose they are. */
function processName() {
  return { VORTENA_PROCESS: `${os.hostname()}-${process.pid}` };
}

/** A fresh instance: what one call leaves in memory, or half done, is no other's. */
function instantiate(files, look, module = compiledModule()) {
  const instance = new Instance(files, look, processName());
  return instance.attach(new WebAssembly.Instance(module, instance.importsFor(module)));
}

module.exports = { compiledModule, instantiate };
