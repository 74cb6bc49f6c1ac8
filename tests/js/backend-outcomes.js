// Calls the package in every way that shows a difference between its backends, and prints what came of each call.
// Usage: node backend-outcomes.js PACKAGE, in an empty folder beside one of recordings, `in`.
'use strict';

const { createHash } = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');
const util = require('node:util');

const [packagePath] = process.argv.slice(2);
const reader = require(packagePath);
const promises = require(path.join(packagePath, 'promises.js'));

/** In a list of its own, in bytes, before the list is too long. */
const LONGEST_PATH = 256 * 1024 * 1024 - 592;

const outcomes = [];

const digest = (bytes) => createHash('sha256').update(bytes).digest('hex');
const withGetter = (get) => Object.defineProperty([], 0, { get });

/** The system's names of errors are the same everywhere, and their descriptions are its own. */
const named = (message) => message.replace(/\b(E[A-Z0-9]+): .*/, '$1');

/** For JSON: bulk as digests, and of errors what a caller can see. */
function plain(key, value) {
  if (ArrayBuffer.isView(value)) {
    return [value.constructor.name, value.length, digest(value)];
  }
  if (value instanceof Error) {
    const { name, message, constructor: kind, stack, ...members } = value;
    return {
      name,
      message: named(message),
      constructor: kind.name,
      keys: Object.getOwnPropertyNames(value),
      cause: value.cause,
      members,
    };
  }
  return typeof value === 'number' && !Number.isFinite(value) ? String(value) : value;
}

const note = (what, outcome) => outcomes.push(JSON.stringify([what, outcome], plain));

function call(method, ...args) {
  const shown = util.inspect(args, { maxStringLength: 40, maxArrayLength: 3, showProxy: false }).slice(0, 200);
  try {
    note(`${method} ${shown}`, reader[method](...args));
  } catch (error) {
    note(`${method} ${shown}`, { thrown: error });
  }
}

async function settle(name, ...args) {
  const outcome = await promises[name](...args).catch((error) => ({ rejected: error }));
  if (outcome?.rejected && !(outcome.rejected instanceof promises.VortenaError)) {
    throw outcome.rejected;
  }
  note(`promise of ${name} ${args}`, outcome);
}

function compareFunctions() {
  note('names', Reflect.ownKeys(reader));
  for (const method of Object.values(reader)) {
    // scripts and strict functions show more differences, which mean nothing
    const described = ['length', 'name', 'prototype'].map((key) => Object.getOwnPropertyDescriptor(method, key));
    note(
      'function',
      described.map(({ value, ...flags }) => [typeof value === 'object' ? Reflect.ownKeys(value) : value, flags]),
    );
    note('its kind', [Object.getPrototypeOf(method) === Function.prototype, Object.keys(method)]);
  }
  note('constructed', util.inspect(new reader.readConfig('none')));
  note('detached', Reflect.apply(reader.readConfig, null, ['none']));
}

function compareArguments() {
  const wrong = [undefined, null, 1, 1n, true, Symbol('s'), new String('x'), ['x'], { toString: () => 'x' }, () => 'x'];
  for (const method of Object.keys(reader)) {
    call(method);
    for (const value of wrong) {
      call(method, value);
      call(method, value, 'x');
      call(method, 'x', value);
      call(method, [value, 'x'], 'x');
    }
  }
  const thrown = { own: 'object' };
  const asked = [];
  const counting = new Proxy([], {
    get: (target, key) => {
      asked.push(String(key));
      return 'x';
    },
  });
  const revoked = Proxy.revocable([], {});
  revoked.revoke();
  const heir = Object.setPrototypeOf(['x'], counting);
  heir.length = 3;
  const fickle = withGetter(() => (asked.push('fickle') % 2 ? 'x' : 1));
  for (const list of [
    heir,
    counting,
    revoked.proxy,
    fickle,
    withGetter(() => {
      throw new RangeError('mine');
    }),
    withGetter(() => {
      throw thrown;
    }),
    withGetter(() => {
      throw 'a text';
    }),
    new Array(2 ** 32 - 1),
    [, 'x'],
    [...Array(70_000).fill('x'), 1],
    Array(40_000).fill('x'.repeat(9000)),
    [`${'ä'.repeat(LONGEST_PATH / 2)}\0more`],
    [`x${'ä'.repeat(LONGEST_PATH / 2)}`],
    [...Array(40_000).fill('x'.repeat(9000)), 1],
    Object.freeze(['x', 'y']),
  ]) {
    call('readAndSync2', list, 'out');
  }
  note('asked', asked);
}

function compareRecordings(recordings) {
  for (const recording of recordings) {
    for (const method of ['readConfig', 'readConfigDeviceId']) {
      call(method, recording);
    }
    call('read', recording, `out/${path.basename(recording)}.csv`);
    call('readAndSync2', [recording, recording], 'out');
  }
  call('readAndSync2', ['../in/hip.bin', '../in/foot.bin'], 'set');
  call('readAndSync2', ['../in/hip.bin', '../in/whole.bin'], 'set');
  call('readAndSync2', ['../in/hip.bin\0', '../in/foot.bin\0x'], 'set\0x');
  call('readAndSync2', ['../in/hip.bin', '../in/foot.bin'], 'nowhere');
  call('readAndSync2', [], 'set');
}

function comparePaths() {
  const [whole] = ['../in/whole.bin'];
  for (const name of [
    'Größe \u{1f9ed}',
    'lone ä\u{1f9ed}\ufffd \ud800 \udc00\ud800',
    'cut\0off',
    '\ufeffmark',
    'x'.repeat(300),
    '',
  ]) {
    call('read', whole, `out/${name}`);
    call('writeConfig', `out/${name}.cfg`, 'radio,1,12');
    call('readConfig', `out/${name}.cfg`);
  }
  call('readConfig', 'x'.repeat(3 << 20));
  call('readConfig', 'ä\u{1f9ed}\ud800'.repeat(1 << 19));
  for (const [index, text] of [
    '',
    'device,1234,2,5:firmware,3,1,0:radio,1,12:accel,200,16,-5,0,0,1,1,1',
    'baro,25:radio,1',
    ':',
    'baro,25\0,1',
    '\ud800,1',
    'radio,1,ü',
    'none,1',
    'baro,1e3',
    `unknownFrames,${Buffer.from([75, 86, 3, 5, 0, 255, 254]).toString('base64')}`,
    'x'.repeat(2 << 20),
    ','.repeat(1 << 20),
  ].entries()) {
    call('writeConfig', `out/${index}.cfg`, text);
  }
}

async function comparePromises(recordings) {
  await settle('convert', '../in/whole.bin', 'nowhere/out.csv');
  await settle('convert', '../in/whole.bin', '../in/whole.bin');
  fs.symlinkSync('loop', 'promised/loop');
  await settle('convert', '../in/whole.bin', 'promised/loop');
  fs.unlinkSync('promised/loop');
  for (const recording of [...recordings, '../in/none.bin', '../in', '/proc/self/mem']) {
    await settle('convert', recording, `promised/${path.basename(recording)}.csv`);
    await settle('convert', recording, `promised/${path.basename(recording)}.rest.csv`, { gyroscopeOffset: 'rest' });
    await settle('readSamples', recording);
    await settle('readSamples', recording, { precision: 'float32', channels: ['gyro', 'quaternion'] });
    await settle('inspect', recording);
    await settle('readConfig', recording);
    await settle('levels', [recording], { mostBins: 500, mostSamples: 1e6 });
    await settle('synchronise', ['../in/hip.bin', recording], 'promised');
  }
  await settle('synchronise', ['../in/hip.bin', '../in/foot.bin'], 'promised', { gyroscopeOffset: 'rest' });
  await settle('levels', ['../in/hip.bin', '../in/foot.bin'], { synchronised: true });
  await settle('writeConfig', 'promised/config.bin', { deviceId: 7, radioMode: 1, radioChannel: 12 });
  await settle('writeConfig', 'promised/wrong.bin', 'baro,25:radio,1');
}

async function main() {
  ['out', 'set', 'promised'].forEach((folder) => fs.mkdirSync(folder));
  const recordings = fs
    .readdirSync('../in')
    .sort()
    .map((name) => `../in/${name}`);
  compareFunctions();
  compareArguments();
  compareRecordings(recordings);
  comparePaths();
  await comparePromises(recordings);
  for (const folder of ['out', 'set', 'promised']) {
    // names that are no UTF-8 among them
    for (const name of fs.readdirSync(folder, 'latin1').sort()) {
      note(`file ${folder}/${name}`, digest(fs.readFileSync(Buffer.from(`${folder}/${name}`, 'latin1'))));
    }
  }
  console.log(outcomes.join('\n'));
}

main();
