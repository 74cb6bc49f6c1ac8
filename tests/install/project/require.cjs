'use strict';

const { assertMethods, assertPromises } = require('./same.cjs');

assertMethods(require('vortena-reader'));
assertPromises(require('vortena-reader/promises'));
