// What the native entry has for the five methods, over WebAssembly: calls on the caller's thread.
'use strict';

const { compiledModule, instantiate } = require('./compiled.js');
const { diskFiles, modulePath } = require('./disk-files.js');

compiledModule(); // what keeps it from running comes out when this is loaded

/** In units of UTF-16, each of which may become three bytes of UTF-8. */
const LONG_TEXT = 1 << 20;
const BYTES_OF_A_UNIT = 3;

const decoder = new TextDecoder('utf-8', { ignoreBOM: true });

/** What the engine cannot give as a buffer it refuses with an error. The buffer is garbage then. */
function requireMemory(units) {
  if (units >= LONG_TEXT) {
    new ArrayBuffer(units * BYTES_OF_A_UNIT);
  }
}

function callMethod(name, ...values) {
  const instance = instantiate(diskFiles);
  try {
    return decoder.decode(instance.run('method', name, ...values).json);
  } finally {
    instance.closeFiles();
  }
}

module.exports = { callMethod, requireMemory, modulePath };
