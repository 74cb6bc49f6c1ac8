// Names of channels that are written down outside the core's table.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { test } = require('node:test');
const { packagePath } = require('./support.js');
const { readSamples } = require(path.join(packagePath, 'promises.js'));

const text = (file) => fs.readFileSync(path.join(__dirname, '..', '..', file), 'utf8');
const namesIn = (source, pattern) => [...source.matchAll(pattern)].map(([, name]) => name);

test('arguments and types know the channels of the core', async () => {
  const names = namesIn(text('src/reader/decoding/channels.h'), /\{k\w+Key, "(\w+)"/g);
  assert.ok(names.includes('accel') && names.includes('event'));
  const refused = await readSamples('none.bin', { channels: ['none'] }).catch(({ message }) => message);
  assert.equal(refused, `options.channels holds none, which is none of ${names.join(', ')}`);
  const [, union] = /type ChannelName = ([^;]*);/.exec(text('promises.d.ts'));
  assert.deepEqual(namesIn(union, /'(\w+)'/g).sort(), [...names].sort());
});
