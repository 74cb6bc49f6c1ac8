// Recordings in memory: the same answers as of files.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const vm = require('node:vm');
const { dataBlock, headerBlock, packagePath, scratchFolder, writeRecording } = require('./support.js');
const { longUnit, recordings, unit } = require('./units.js');

const isBuilt = fs.existsSync(path.join(packagePath, 'wasm', 'vortena.wasm'));
const isDemanded = process.env.VORTENA_BACKENDS?.split(',').includes('wasm') ?? false;
const skip = !isBuilt && !isDemanded && 'there is no wasm/vortena.wasm';

const promises = require(path.join(packagePath, 'promises.js'));
const wasm = skip ? undefined : require(path.join(packagePath, 'wasm.js'));

const settled = (promise) =>
  promise.then(
    (value) => ({ value }),
    ({ code, reason, stage }) => ({ code, reason, stage }),
  );

test('answers for bytes are those for files', { skip }, async (t) => {
  const folder = scratchFolder(t);
  recordings(folder);
  longUnit(folder, 'long.bin', 300);
  writeRecording(folder, 'empty.bin', []);
  for (const name of fs.readdirSync(folder)) {
    const file = path.join(folder, name);
    const bytes = fs.readFileSync(file);
    for (const [method, options, inMemory] of [
      ['inspect'],
      ['readConfig', { timeZone: 'Europe/Berlin' }],
      ['readSamples'],
      ['readSamples', {}, { transferable: true }],
      ['readSamples', { precision: 'float32', channels: ['gyro', 'accel'], gyroscopeOffset: { x: 1, y: 2, z: 3 } }],
    ]) {
      assert.deepEqual(
        await settled(wasm[method](bytes, { ...options, ...inMemory })),
        await settled(promises[method](file, options)),
        `${method} of ${name}`,
      );
    }
    const levels = { mostBins: 2 ** 40, mostSamples: 1e5 };
    assert.deepEqual(await settled(wasm.levels([bytes], levels)), await settled(promises.levels([file], levels)), name);
    const csv = `${file}.csv`;
    const copy = bytes.buffer.slice(bytes.byteOffset, bytes.byteOffset + bytes.length);
    for (const options of [
      {},
      { orientation: 'smoothed' },
      { gyroscopeOffset: { x: 0.5, y: -1, z: 3 } },
      { gyroscopeOffset: 'rest' },
    ]) {
      const { value, ...failure } = await settled(wasm.convert(copy, options));
      const { value: written, ...reason } = await settled(promises.convert(file, csv, options));
      assert.deepEqual(failure, reason, name);
      assert.ok(!written || Buffer.from(value).equals(fs.readFileSync(csv)), `CSV of ${name}`);
    }
  }
});

test('a set on one clock', { skip }, async (t) => {
  const folder = scratchFolder(t);
  unit(folder, 'hip.bin', { time: { role: 0, ahead: 0 } });
  unit(folder, 'foot.bin', { start: 3, time: { role: 1, ahead: -300 } });
  const files = ['hip.bin', 'foot.bin'].map((name) => path.join(folder, name));
  const bytes = files.map((file) => fs.readFileSync(file));
  const expected = await promises.synchronise(files, folder);
  const { outputs, clock, units } = await wasm.synchronise(bytes);
  assert.deepEqual(clock, expected.clock);
  assert.deepEqual(
    units,
    expected.units.map(({ output, ...rest }, k) => ({ ...rest, path: `recordings[${k}]` })),
  );
  outputs.forEach((csv, k) => assert.ok(Buffer.from(csv).equals(fs.readFileSync(expected.outputs[k]))));
  const noRecording = wasm.synchronise([bytes[0], new Uint8Array(600)]);
  await assert.rejects(noRecording, { name: 'VortenaError', code: 'ERR_NOT_A_RECORDING', path: 'recordings[1]' });
  await assert.rejects(wasm.synchronise([bytes[0], bytes[0]]), { code: 'ERR_SYNC', reason: 'several-masters' });
});

test('pieces, and ends before the end', { skip }, async () => {
  const bytes = Buffer.concat([headerBlock(), ...Array.from({ length: 2000 }, (_, k) => dataBlock(1000 + 100 * k))]);
  const sizes = [];
  let turns = 0;
  const timer = setInterval(() => (turns += 1), 1);
  for await (const piece of wasm.csvPieces(bytes)) {
    sizes.push(piece.length);
  }
  clearInterval(timer);
  assert.equal(
    sizes.reduce((sum, size) => sum + size),
    (await wasm.convert(bytes)).length,
  );
  assert.ok(sizes.length > 5 && Math.max(...sizes) < 1 << 20, `${sizes}`);

  const abort = new AbortController();
  const taken = (async () => {
    for await (const piece of wasm.csvPieces(bytes, { signal: abort.signal })) {
      abort.abort(new Error(`enough of ${piece.length}`));
    }
  })();
  await assert.rejects(taken, /enough of/);
  const thrower = {
    onProgress: ({ stage }) => {
      throw new Error(`in ${stage}`);
    },
  };
  await assert.rejects(wasm.convert(bytes, thrower), /in decode/);
  await assert.rejects(wasm.inspect(bytes, { signal: AbortSignal.abort(new Error('before')) }), /before/);
});

test('wrong arguments, and modules that are none', { skip }, async () => {
  await assert.rejects(wasm.convert('a.bin'), TypeError);
  await assert.rejects(wasm.csvPieces(new Uint8Array(600), { orientation: 'smoothed' }).next(), TypeError);
  for (const [call, message] of [
    [() => wasm.convert(headerBlock(), { gyroscopeOffset: 'still' }), /options\.gyroscopeOffset is neither 'rest' nor/],
    [
      () => wasm.csvPieces(headerBlock(), { gyroscopeOfset: 'rest' }).next(),
      /no option of csvPieces; did you mean gyroscopeOffset/,
    ],
    [() => wasm.readSamples(headerBlock(), { transferrable: true }), /mean transferable/],
    [() => wasm.inspect(headerBlock(), { onprogress() {} }), /mean onProgress/],
    [() => wasm.levels([headerBlock()], { synchronized: true }), /mean synchronised/],
    [() => wasm.synchronise([headerBlock()], { overwrite: true }), /no option of synchronise; these are/],
    [() => wasm.readConfig(headerBlock(), { timezone: 'UTC' }), /mean timeZone/],
  ]) {
    await assert.rejects(call(), { name: 'TypeError', message }, `${call}`);
  }
  await assert.rejects(wasm.convert(new Blob(['x'])), /worker of a page/);
  await assert.rejects(wasm.levels(headerBlock()), TypeError);
  for (const method of ['inspect', 'readConfig', 'convert']) {
    const bytes = new Uint8Array(headerBlock());
    const handedOn = assert.rejects(wasm[method](bytes), ({ code, cause }) => code === 'ERR_UNREADABLE' && cause.code === 'EIO');
    structuredClone(bytes, { transfer: [bytes.buffer] });
    await handedOn;
  }
  await assert.rejects(wasm.readSamples(headerBlock(), { precision: 'float16' }), TypeError);
  await assert.rejects(wasm.initialise(new Uint8Array(100)), WebAssembly.CompileError);
  assert.equal((await wasm.readConfig(headerBlock())).deviceId, 1234);
  await wasm.initialise(fs.readFileSync(path.join(packagePath, 'wasm', 'vortena.wasm')));
  const { Uint8Array: ForeignArray } = vm.runInNewContext('globalThis'); // of another frame
  assert.equal((await wasm.readConfig(new ForeignArray(headerBlock()))).frequency, 100);
});

test('the fallback takes paths as Windows writes them', { skip }, (t) => {
  const folder = scratchFolder(t);
  fs.mkdirSync(path.join(folder, 'in'));
  fs.mkdirSync(path.join(folder, 'out'));
  writeRecording(folder, 'in/r.bin');
  const script = String.raw`require('node:path').sep = '\\';
    require(${JSON.stringify(path.resolve(packagePath))}).read('in\\r.bin', 'out\\a.csv');
    require(${JSON.stringify(path.resolve(packagePath, 'promises.js'))}).convert('in\\r.bin', 'out\\b.csv');`;
  const env = { ...process.env, VORTENA_BACKEND: 'wasm' };
  const { stderr } = spawnSync(process.execPath, ['-e', script], { cwd: folder, encoding: 'utf8', env });
  assert.deepEqual(fs.readdirSync(path.join(folder, 'out')).sort(), ['a.csv', 'b.csv'], stderr);
});
