'use strict';

const { assertMethods, assertPromises } = require('./same.cjs');

test('the methods', () => assertMethods(require('vortena-reader')));
test('the promises', () => assertPromises(require('vortena-reader/promises')));
