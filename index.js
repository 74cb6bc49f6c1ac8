'use strict';

const path = require('node:path');

const addonPath = path.join(__dirname, 'build', 'Release', 'addon.node');

function loadBinding() {
  try {
    return require(addonPath);
  } catch (cause) {
    const error = new Error(
      `vortena-reader is not built for Node.js ${process.version} (ABI ${process.versions.modules}) on ` +
        `${process.platform}-${process.arch}. Run "npm rebuild vortena-reader", or "npm install" in a checkout.`,
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
