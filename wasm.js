// The reader on recordings in memory, over WebAssembly. A page gets wasm/browser.mjs instead, which is made of the same.
'use strict';

const { compiledModule } = require('./src/wasm/compiled.js');
const { makeReader } = require('./src/wasm/reader.js');

const reader = makeReader(() => compiledModule());

// One by one, so that ES modules can import each by name.
exports.VortenaError = reader.VortenaError;
exports.initialise = reader.initialise;
exports.convert = reader.convert;
exports.csvPieces = reader.csvPieces;
exports.readSamples = reader.readSamples;
exports.inspect = reader.inspect;
exports.readConfig = reader.readConfig;
exports.levels = reader.levels;
exports.synchronise = reader.synchronise;
