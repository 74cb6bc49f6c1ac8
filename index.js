'use strict';

const { loadMethods } = require('./src/loading.js');

const { binding } = loadMethods();

// One by one, so that ES modules can import each method by name.
exports.read = binding.read;
exports.readAndSync2 = binding.readAndSync2;
exports.readConfig = binding.readConfig;
exports.writeConfig = binding.writeConfig;
exports.readConfigDeviceId = binding.readConfigDeviceId;
