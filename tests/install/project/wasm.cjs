'use strict';

require('./same.cjs').assertWebAssembly(require('vortena-reader/wasm'));
