'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');
const { setTimeout: sleep } = require('node:timers/promises');
const { Worker } = require('node:worker_threads');
const { packagePath, requireComplete, scratchFolder, writeRecording } = require('./support.js');
const { everything, longUnit, recordings, unit } = require('./units.js');
const addon = require(packagePath);
const promisesPath = path.join(packagePath, 'promises.js');
const reader = require(promisesPath);
const outputs = require(path.join(packagePath, 'outputs.js'));

const still = { x: 0, y: 0, z: 0 };

/** WebAssembly sees no access lists: it cuts the group's rights to those of others. */
const isWasm = reader.backend().promises.kind === 'wasm';
const kept = (mode) => (isWasm ? (mode & 0o707) | (mode & 0o070 & ((mode & 0o007) << 3)) : mode);

/** Resolves once a file is being written for `csv`. */
async function partOf(csv) {
  const isPart = (name) => name.startsWith(`${path.basename(csv)}.part-`);
  while (!fs.readdirSync(path.dirname(csv)).some(isPart)) await sleep(1);
}

const run = (script) => spawnSync(process.execPath, ['-e', script], { encoding: 'utf8' });

test('convert writes the bytes of read, alone with a second thread and among many without', async (t) => {
  const folder = scratchFolder(t);
  const files = [...recordings(folder), longUnit(folder, 'long.bin', 3000)];
  const csv = (file, kind) => `${file}.${kind}`;
  const check = ({ rows, bytes, summary, report }, file, kind) => {
    assert.deepEqual(summary, JSON.parse(addon.read(file, csv(file, 'read'))));
    assert.ok(fs.readFileSync(csv(file, kind)).equals(fs.readFileSync(csv(file, 'read'))), file);
    assert.deepEqual([rows, bytes], [requireComplete(csv(file, kind)), fs.statSync(csv(file, kind)).size]);
    assert.equal(report.file.bytes, fs.statSync(file).size);
  };
  for (const file of files) {
    check(await reader.convert(file, csv(file, 'alone')), file, 'alone');
  }
  const results = await Promise.all(files.map((file) => reader.convert(file, csv(file, 'many'), { fsync: true })));
  results.forEach((result, k) => check(result, files[k], 'many'));
});

test('every error has its code, reason, stage and cause, and leaves all files as they were', async (t) => {
  const folder = scratchFolder(t);
  const at = (name) => path.join(folder, name);
  const good = unit(folder, 'good.bin', { time: { role: 0 } });
  const slave = unit(folder, 'slave.bin', { time: { role: 1, ahead: 0 } });
  const make = (name, plan) => unit(folder, name, plan);
  const noGyro = make('no-gyro.bin', { gyro: false });
  const moving = make('moving.bin', { ticks: 100 });
  fs.symlinkSync(good, at('link.csv'));
  fs.linkSync(good, at('hard.csv'));
  fs.mkdirSync(at('folder.csv'));
  fs.writeFileSync(at('old.csv'), 'old');
  fs.mkdirSync(at('taken'));
  fs.mkdirSync(at('taken/slave.csv'));
  fs.writeFileSync(at('taken/good.csv'), 'old');
  const out = at('old.csv');
  const before = fs.readdirSync(folder, { recursive: true });
  const { convert, inspect, readConfig, readSamples, synchronise, writeConfig } = reader;
  const set = (...paths) => synchronise(paths, folder);
  for (const [start, code, reason, stage, cause, file] of [
    [() => convert(at('missing'), out), 'ERR_UNREADABLE', undefined, 'decode', 'ENOENT', at('missing')],
    [() => inspect(folder), 'ERR_UNREADABLE', undefined, 'decode', 'EISDIR', folder],
    [() => readConfig(at('missing')), 'ERR_UNREADABLE', undefined, 'decode', 'ENOENT', at('missing')],
    [() => convert(writeRecording(folder, 'short', [Buffer.alloc(511)]), out), 'ERR_NOT_A_RECORDING', 'too-short', 'decode'],
    [() => readSamples(writeRecording(folder, 'zeros', [Buffer.alloc(512)])), 'ERR_NOT_A_RECORDING', 'no-header', 'decode'],
    [() => readConfig(at('zeros')), 'ERR_NOT_A_RECORDING', 'no-header', 'decode'],
    [() => convert(good, at('none/x.csv')), 'ERR_WRITE', undefined, 'write', 'ENOENT', at('none/x.csv')],
    [() => convert(good, at('folder.csv')), 'ERR_WRITE', undefined, 'write', 'EISDIR'],
    [() => convert(good, '/dev/null'), 'ERR_WRITE', undefined, 'write', os.platform() === 'linux' ? 'ENOTSUP' : undefined],
    [() => writeConfig(at('none/x'), 'radio,1,2'), 'ERR_WRITE', undefined, 'write', 'ENOENT'],
    [() => convert(good, good), 'ERR_OUTPUT_IS_RECORDING', undefined, 'write'],
    [() => convert(slave, at('link.csv')), 'ERR_OUTPUT_IS_RECORDING', undefined, 'write'],
    [() => convert(good, at('hard.csv')), 'ERR_OUTPUT_IS_RECORDING', undefined, 'write'],
    [() => writeConfig(good, 'radio,1,2'), 'ERR_OUTPUT_IS_RECORDING', undefined, 'write', undefined, good],
    [() => writeConfig(out, 'radio,1'), 'ERR_CONFIG_TEXT', undefined, 'write'],
    [() => writeConfig(out, { gyro: { frequency: 100, range: 2000 } }), 'ERR_CONFIG_TEXT', undefined, 'write'],
    [() => writeConfig(out, { accel: { frequency: 100, range: 16, gainX: 0.998 } }), 'ERR_CONFIG_TEXT', undefined, 'write'],
    [() => readSamples(noGyro, { orientation: true }), 'ERR_ORIENTATION', 'no-gyroscope', 'orientation'],
    [() => readSamples(noGyro, { channels: ['quaternion'] }), 'ERR_ORIENTATION', 'no-gyroscope', 'orientation'],
    [() => convert(moving, out, { gyroscopeOffset: 'rest' }), 'ERR_NO_REST', 'too-little-rest', 'orientation'],
    [() => set(), 'ERR_SYNC', 'too-few', 'synchronise'],
    [() => set(good), 'ERR_SYNC', 'too-few', 'synchronise'],
    [() => set(slave, make('slave2.bin', { time: { role: 1, ahead: 0 } })), 'ERR_SYNC', 'no-master', 'synchronise'],
    [() => set(good, make('good2.bin', { time: { role: 0 } })), 'ERR_SYNC', 'several-masters', 'synchronise'],
    [
      () => set(good, make('far.bin', { time: { role: 1, ahead: 0, channel: 6 } })),
      'ERR_SYNC',
      'different-radio-channels',
      'synchronise',
    ],
    [
      () => set(good, make('deaf.bin', { time: { role: 1 } })),
      'ERR_SYNC',
      'no-radio-data',
      'synchronise',
      undefined,
      at('deaf.bin'),
    ],
    [() => set(good, noGyro), 'ERR_ORIENTATION', 'no-gyroscope', 'orientation', undefined, noGyro],
    [() => set(good, at('missing')), 'ERR_UNREADABLE', undefined, 'decode', 'ENOENT', at('missing')],
    [() => set(good, slave, `${folder}/./good.bin`), 'ERR_OUTPUT_CLASH', undefined, 'write', undefined, at('good.csv')],
    [() => synchronise([good, slave], at('taken')), 'ERR_WRITE', undefined, 'write', 'EISDIR', at('taken/slave.csv')],
  ]) {
    const error = await start().then(
      () => assert.fail(String(start)),
      (failure) => failure,
    );
    assert.ok(error instanceof reader.VortenaError && error.message.includes(error.path), `${start} ${error}`);
    assert.deepEqual([error.code, error.reason, error.stage, error.cause?.code], [code, reason, stage, cause], `${start}`);
    assert.equal(error.path, file ?? error.path);
  }
  const made = ['short', 'zeros', 'slave2.bin', 'good2.bin', 'far.bin', 'deaf.bin'];
  assert.deepEqual(
    fs.readdirSync(folder, { recursive: true }).filter((name) => !made.includes(name)),
    before,
  );
  assert.deepEqual(
    [out, at('taken/good.csv')].map((file) => fs.readFileSync(file, 'utf8')),
    ['old', 'old'],
  );
});

test('wrong arguments are TypeErrors, before any file is touched', async (t) => {
  const folder = scratchFolder(t);
  const out = path.join(folder, 'x');
  for (const [name, ...args] of [
    ['convert', 'x', out, { overwrite: 'no' }],
    ['convert', 'x', out, { keepReadable: 1 }],
    ['convert', 1, out],
    ['convert', 'x'],
    ['convert', 'x', 'a\0b'],
    ['convert', 'x', out, null],
    ['convert', 'x', out, { signal: {} }],
    ['convert', 'x', out, { onProgress: 1 }],
    ['convert', 'x', out, { fsync: 1 }],
    ['convert', 'x', out, { gyroscopeOffset: 'still' }],
    ['convert', 'x', out, { gyroscopeOffset: { x: 1, y: NaN, z: 1 } }],
    ['convert', new URL('http://x'), out],
    ['readSamples', 'x', { channels: 'accel' }],
    ['readSamples', 'x', { channels: ['gps'] }],
    ['readSamples', 'x', { precision: 'float16' }],
    ['readSamples', 'x', { orientation: 1 }],
    ['readSamples', 'x', { timeZone: 'Mars/Olympus' }],
    ['inspect'],
    ['synchronise', 'x', folder],
    ['synchronise', ['x', 1], folder],
    ['synchronise', ['x'], folder, { gyroscopeOffset: [] }],
    ['readConfig', {}],
    ['writeConfig', out],
    ['writeConfig', out, 1],
  ]) {
    await assert.rejects(reader[name](...args), TypeError, `${name} ${args.length}`);
  }
  assert.deepEqual(fs.readdirSync(folder), []);
});

test('an option that a function does not take, or of a wrong kind, is named, with the one that was meant', async (t) => {
  const folder = scratchFolder(t);
  const out = path.join(folder, 'x');
  const convert = (options) => reader.convert('x', out, options);
  for (const [call, message] of [
    [() => convert({ gyroscopeOfset: 'rest' }), 'options.gyroscopeOfset is no option of convert; did you mean gyroscopeOffset?'],
    [() => convert({ gyroOffset: undefined }), /gyroOffset .* mean gyroscopeOffset\?/],
    [
      () => convert({ timeZone: 'UTC' }),
      /these are: signal, onProgress, fsync, overwrite, keepReadable, secondThread, orientation, gyro/,
    ],
    [() => convert({ overwrite: null }), 'options.overwrite is not a boolean'],
    [() => reader.readSamples('x', { channel: ['gyro'] }), /mean channels\?/],
    [() => reader.readSamples('x', { channels: ['gyro', 'gps'] }), /options\.channels holds gps, which is none of accel, gyro/],
    [() => reader.readSamples('x', { gyroscopeOffset: [] }), /options\.gyroscopeOffset is neither/],
    [() => reader.inspect('x', { Signal: AbortSignal.abort() }), /mean signal\?/],
    [() => reader.levels(['x'], { mostbins: 1 }), /mean mostBins\?/],
    [() => reader.levels(['x'], { mostSamples: 1.5 }), 'options.mostSamples is not a whole number from 0 on'],
    [() => reader.synchronise(['x', 'y'], folder, { overwrites: true }), /no option of synchronise; .* overwrite\?/],
    [() => reader.synchronise(['x', 'y'], folder, { gyroscopeOffset: ['rest'] }), /not as many elements/],
    [() => reader.synchronise(['x'], folder, { gyroscopeOffset: [{ x: 1 }] }), /nor a list of these/],
    [() => reader.readConfig('x', { timezone: 'UTC' }), /mean timeZone\?/],
    [() => reader.readConfig('x', { timeZone: 'Mars/Olympus' }), /is Mars\/Olympus, which is no zone/],
    [() => reader.writeConfig(out, '', { sync: true }), /mean fsync\?/],
    [() => outputs.requirePlace(out, { fsync: true }), /no option of requirePlace/],
    [() => outputs.publish(out, out, { mayBeginLikeARecording: true }), /mean mayBeginLikeRecording\?/],
  ]) {
    await assert.rejects(call(), { name: 'TypeError', message }, `${call}`);
  }
  assert.deepEqual(fs.readdirSync(folder), []);
  await assert.rejects(convert({ signal: undefined, fsync: undefined }), { code: 'ERR_UNREADABLE' });
});

test('links stay links, modes stay, and others see the old file or the new one', async (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 2000);
  const [target, link] = ['target.csv', 'link.csv'].map((name) => path.join(folder, name));
  fs.writeFileSync(target, 'old', { mode: 0o640 });
  fs.symlinkSync('target.csv', link);
  const seen = new Set();
  const job = reader.convert(recording, link);
  for (
    let running = true;
    running;
    job.then(() => {
      running = false;
    })
  ) {
    seen.add(fs.statSync(target).size);
    await sleep(1);
  }
  const { bytes } = await job;
  assert.deepEqual(
    [...seen, bytes].filter((size) => size !== 3 && size !== bytes),
    [],
  );
  assert.ok(fs.lstatSync(link).isSymbolicLink());
  assert.equal(fs.statSync(target).mode & 0o777, kept(0o640));
  assert.deepEqual(fs.readdirSync(folder).sort(), ['link.csv', 'r.bin', 'target.csv']);
});

test('parts are for their owner alone; an output gets the rights of what it replaces, or of something new', {
  skip: os.platform() === 'win32',
}, async (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 5000);
  const mode = (name) => fs.statSync(path.join(folder, name)).mode & 0o777;
  const parts = new Set();
  for (const before of [0o600, 0o640, 0o604, undefined]) {
    const csv = path.join(folder, `${before}.csv`);
    if (before !== undefined) {
      fs.writeFileSync(csv, 'old');
      fs.chmodSync(csv, before);
    }
    const job = reader.convert(recording, csv);
    for (
      let running = true;
      running;
      job.then(() => {
        running = false;
      })
    ) {
      fs.readdirSync(folder)
        .filter((name) => name.includes('.part-') && fs.existsSync(path.join(folder, name)))
        .forEach((name) => fs.statSync(path.join(folder, name)).size > 0 && parts.add(mode(name)));
      await sleep(1);
    }
    await job;
    assert.equal(mode(`${before}.csv`), before === undefined ? 0o666 & ~process.umask() : kept(before));
  }
  assert.ok(parts.has(0o600));
});

test('what appears while a job runs is not replaced, nor what is there without `overwrite`', async (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 5000);
  const csv = path.join(folder, 'r.csv');
  const refused = { code: 'ERR_OUTPUT_EXISTS', path: csv };
  const appeared = reader.convert(recording, csv);
  await partOf(csv);
  fs.writeFileSync(csv, 'appeared');
  await assert.rejects(appeared, refused);
  await assert.rejects(reader.convert(recording, csv, { overwrite: false }), refused);
  assert.equal(fs.readFileSync(csv, 'utf8'), 'appeared');
  const becomesRecording = reader.convert(recording, csv);
  await partOf(csv);
  fs.copyFileSync(recording, csv);
  await assert.rejects(becomesRecording, { code: 'ERR_OUTPUT_IS_RECORDING' });
  assert.deepEqual(fs.readdirSync(folder), ['r.bin', 'r.csv']);

  const set = ['a', 'b'].map((name) => unit(folder, `${name}.bin`, { schedule: { second: 0, tick: 0 } }));
  fs.writeFileSync(path.join(folder, 'b.csv'), 'old');
  await assert.rejects(reader.synchronise(set, folder, { overwrite: false }), {
    code: 'ERR_OUTPUT_EXISTS',
    path: path.join(folder, 'b.csv'),
  });
  assert.ok(!fs.existsSync(path.join(folder, 'a.csv')));
});

test('a recording that changes while it is read gives nothing', async (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 40_000);
  for (const start of [
    () => reader.convert(recording, path.join(folder, 'r.csv')),
    () => reader.readSamples(recording),
    () => reader.inspect(recording),
    () => reader.levels([recording]),
  ]) {
    const ended = start().then(
      () => 'done',
      (error) => error,
    );
    let end;
    for (
      ended.then((value) => {
        end = value;
      });
      !end;
      await sleep(1)
    ) {
      fs.appendFileSync(recording, Buffer.alloc(512));
    }
    assert.deepEqual([end.code, end.path], ['ERR_RECORDING_CHANGED', recording], `${start}`);
  }
  assert.deepEqual(fs.readdirSync(folder), ['r.bin']);
});

test('arrays can be handed on to another thread', async (t) => {
  const { channels } = await reader.readSamples(longUnit(scratchFolder(t), 'r.bin', 2000));
  const { x } = channels.accel;
  const [first, length] = [x[0], x.length];
  const moved = structuredClone(x, { transfer: [x.buffer] });
  assert.deepEqual([moved[0], moved.length, x.length, channels.accel.z.length], [first, length, 0, 0]);
});

test('one signal serves thousands of jobs', async (t) => {
  const recording = unit(scratchFolder(t), 'r.bin', { ticks: 10 });
  const warnings = [];
  const warn = (warning) => warnings.push(warning.message);
  process.on('warning', warn);
  const controller = new AbortController();
  const begin = performance.now();
  const jobs = Array.from({ length: 20_000 }, () => reader.inspect(recording, { signal: controller.signal }));
  controller.abort();
  const ends = await Promise.allSettled(jobs);
  assert.ok(performance.now() - begin < 5000, `${performance.now() - begin} ms`);
  assert.ok(ends.slice(os.availableParallelism()).every(({ reason }) => reason === controller.signal.reason));
  await sleep(1);
  process.off('warning', warn);
  assert.deepEqual(warnings, []);
});

test('an abort at any time rejects with its reason and leaves nothing', async (t) => {
  const folder = scratchFolder(t);
  const schedule = { second: 0, tick: 0 };
  const recording = longUnit(folder, 'r.bin', 30_000, { schedule });
  const other = longUnit(folder, 's.bin', 30_000, { schedule });
  const outputs = () => fs.readdirSync(folder).filter((name) => !name.endsWith('.bin'));
  const operations = [
    [(options) => reader.convert(recording, path.join(folder, 'r.csv'), options), ['r.csv']],
    [(options) => reader.readSamples(recording, options), []],
    [(options) => reader.synchronise([recording, other], folder, options), ['r.csv', 's.csv']],
  ];
  for (const [start, written] of operations) {
    const begin = performance.now();
    await start().catch(() => {});
    const whole = performance.now() - begin;
    let aborted = 0;
    for (let part = 0; part < 8; part += 1) {
      outputs().forEach((name) => fs.rmSync(path.join(folder, name)));
      const controller = new AbortController();
      const reason = new Error(`at ${part}`);
      const ended = start({ signal: controller.signal }).then(
        () => 'done',
        (error) => error,
      );
      await sleep((whole * part) / 8);
      controller.abort(reason);
      const end = await ended;
      aborted += end === reason ? 1 : 0;
      assert.ok(end === reason || end === 'done', `${end}`); // the machine may be quicker than it was
      // A machine that is busy may let a job end only after its promise.
      for (let wait = 0; wait < 100 && outputs().some((name) => name.includes('.part-')); wait += 1) await sleep(20);
      assert.deepEqual(outputs(), end === 'done' ? written : []);
    }
    assert.ok(aborted > 0);
  }
  const thrown = new Error('from the listener');
  await assert.rejects(
    operations[1][0]({
      onProgress: () => {
        throw thrown;
      },
    }),
    thrown,
  );
});

test('jobs wait their turn in order; one that is aborted while it waits never starts', async (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 3000);
  const order = [];
  const controller = new AbortController();
  const jobs = Array.from({ length: os.availableParallelism() + 3 }, (_, k) =>
    reader.inspect(recording, k === os.availableParallelism() + 1 ? { signal: controller.signal } : {}).then(
      () => order.push(k),
      (error) => order.push(error.name),
    ),
  );
  controller.abort();
  await Promise.all(jobs);
  assert.equal(order[0], 'AbortError');
  const last = order.indexOf(os.availableParallelism() + 2);
  assert.ok(last >= 3, `the last one ended at place ${last}`); // two had to end before it could begin
  await assert.rejects(reader.inspect(recording, { signal: AbortSignal.abort() }), { name: 'AbortError' });
});

test('progress goes forward through the stages and ends at 1', async (t) => {
  const folder = scratchFolder(t);
  const seen = [];
  const recording = longUnit(folder, 'r.bin', 150_000);
  await reader.convert(recording, path.join(folder, 'r.csv'), { onProgress: (progress) => seen.push(progress) });
  const place = ({ stage, fraction }) => ['decode', 'orientation', 'write'].indexOf(stage) + fraction / 2;
  assert.ok(seen.length >= 3, `${seen.length}`);
  assert.deepEqual(
    seen.map(place),
    seen.map(place).toSorted((a, b) => a - b),
  );
  assert.deepEqual(seen.at(-1), { stage: 'write', fraction: 1 });
});

test('workers that end, and a process that exits, with jobs running', async (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 30_000);
  const script = `const { convert } = require(${JSON.stringify(promisesPath)});
    for (let k = 0; k < 4; k += 1) convert(${JSON.stringify(recording)}, ${JSON.stringify(folder)} + '/' + k + '.csv');`;
  for (let round = 0; round < 10; round += 1) {
    const worker = new Worker(script, { eval: true });
    await new Promise((resolve) => worker.on('online', resolve));
    await sleep(10 + 15 * round);
    await worker.terminate();
  }
  for (const delay of [20, 80, 150, 250]) {
    assert.equal(run(`${script}; setTimeout(() => process.exit(7), ${delay})`).status, 7);
    assert.match(run(`${script}; setTimeout(() => { throw new Error('mine'); }, ${delay})`).stderr, /mine/);
  }
  // Under sanitizers jobs may take longer to end than an exit waits for them.
  const parts = fs.readdirSync(folder).filter((name) => name.includes('part'));
  assert.deepEqual(process.env.ASAN_OPTIONS ? [] : parts, []);
  for (const name of fs.readdirSync(folder).filter((file) => file.endsWith('csv'))) {
    requireComplete(path.join(folder, name));
  }
});

test('a disk that takes no more: the reason, no remains, the old file as it was', { skip: os.platform() === 'win32' }, (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 5000);
  fs.writeFileSync(path.join(folder, 'r.csv'), 'old');
  const script = `require(${JSON.stringify(promisesPath)}).convert('${recording}', '${folder}/r.csv')
    .catch(({ code, cause }) => console.log(code, cause.code))`;
  const limited = `trap '' XFSZ; ulimit -f 2000; exec "$0" -e "$1"`;
  const { stdout, stderr } = spawnSync('sh', ['-c', limited, process.execPath, script], { encoding: 'utf8' });
  assert.equal(stdout, 'ERR_WRITE EFBIG\n', stderr);
  assert.equal(fs.readFileSync(path.join(folder, 'r.csv'), 'utf8'), 'old');
  assert.deepEqual(fs.readdirSync(folder), ['r.bin', 'r.csv']);
});

test('readSamples gives the values of the CSV, at true times, without copies', async (t) => {
  const folder = scratchFolder(t);
  const recording = unit(folder, 'r.bin', everything);
  addon.read(recording, path.join(folder, 'r.csv'));
  const { config, channels, report } = await reader.readSamples(recording);
  const rows = fs
    .readFileSync(path.join(folder, 'r.csv'), 'utf8')
    .split('\n')
    .slice(7, -1)
    .map((row) => row.split(','));
  const column = (k, digits, from) => {
    const furthest = Math.max(...rows.map((row, i) => Math.abs(Number(row[k]) - from[i])));
    assert.ok(from.length === rows.length && furthest <= 0.5001 * 10 ** -digits, `column ${k}: ${furthest}`);
  };
  const { accel, gyro, baro, quaternion, radioByte, radioTime } = channels;
  [gyro.x, gyro.y, gyro.z, accel.x, accel.y, accel.z].forEach((values, k) => column(1 + k, 5, values));
  column(7, 3, baro.pressure);
  ['w', 'x', 'y', 'z'].forEach((axis, k) => column(10 + k, 5, quaternion[axis]));
  assert.deepEqual(
    [...accel.time],
    Array.from({ length: 1000 }, (_, k) => k / 100),
  );
  assert.deepEqual([...radioByte.value], [0, 1, 2, 3, 4, 5, 6, 7, 8, 9]);
  assert.deepEqual([[...radioTime.value], radioTime.unit], [[...radioTime.time], 's']);
  assert.equal(accel.x.buffer, accel.z.buffer);
  assert.deepEqual([accel.rate, gyro.unit, config.accel.range, report.channels.accel.samples], [100, 'deg/s', 16, 1000]);
  assert.deepEqual([quaternion.rate, baro.unit], [100, { pressure: 'mBar', temperature: 'degree C' }]);

  const [{ titles, channels: levels }] = (await reader.levels([recording])).units;
  const levelled = levels.find(({ name }) => name === 'baro');
  assert.deepEqual([levelled.axes, levelled.unit], [['pressure', 'temperature'], baro.unit]);
  assert.equal(titles.radioTime, 'radio time channel');

  const narrow = await reader.readSamples(recording, { precision: 'float32', channels: ['gyro', 'quaternion', 'mag'] });
  assert.deepEqual(Object.keys(narrow.channels), ['gyro', 'quaternion']);
  assert.deepEqual(narrow.channels.quaternion.w, new Float32Array(quaternion.w));
  assert.deepEqual(narrow.channels.gyro.time, gyro.time);
  assert.deepEqual(narrow.report, report);
  const plain = await reader.readSamples(recording, { orientation: false });
  assert.equal(plain.channels.quaternion, undefined);
});

test('samples of the header block alone are left out and counted', async (t) => {
  const recording = writeRecording(scratchFolder(t), 'r.bin');
  const { channels, report } = await reader.readSamples(recording);
  assert.deepEqual([channels.gyro.x.length, channels.gyro.time[0], report.channels.gyro.fromHeaderBlock], [63, 10, 1]);
});

test('synchronise writes the CSVs of readAndSync2 and tells the clock', async (t) => {
  const folder = scratchFolder(t);
  const [five, ours] = ['five', 'ours'].map((name) => path.join(folder, name));
  [five, ours].forEach((out) => fs.mkdirSync(out));
  const paths = [
    unit(folder, 'a.b.bin', { ...everything }),
    unit(folder, 'c.bin', { start: 3, byte: true, time: { role: 1, ahead: -250 } }),
  ];
  assert.equal(addon.readAndSync2(paths, five), 'OK');
  const { outputs, clock, units } = await reader.synchronise(paths, ours);
  assert.deepEqual(
    outputs,
    ['a.b', 'c'].map((name) => path.join(ours, `${name}.csv`)),
  );
  for (const [k, csv] of outputs.entries()) {
    assert.ok(fs.readFileSync(csv).equals(fs.readFileSync(path.join(five, path.basename(csv)))), csv);
    assert.deepEqual([units[k].rows, units[k].path], [requireComplete(csv), paths[k]]);
  }
  assert.deepEqual([clock.source, clock.start, units[0].shift, units[1].shift], ['radio-times', 0.5, 0, -2.5]);
  assert.deepEqual(units[1].shifts, { accel: -2.5, gyro: -2.5, quaternion: -2.5 });
  assert.ok(Math.abs(clock.duration - 9.5) < 1e-5);
});

test('the offset of the gyroscope is taken off before the orientation, and told', async (t) => {
  const folder = scratchFolder(t);
  const recording = unit(folder, 'r.bin', {});
  const csv = path.join(folder, 'r.csv');
  const offset = { x: 0.5, y: -1, z: 0 };
  const { report } = await reader.convert(recording, csv, { gyroscopeOffset: offset });
  assert.deepEqual(report.gyroscopeOffset, offset);
  assert.match(fs.readFileSync(csv, 'utf8'), /^0\.01000,-0\.50000,1\.00000,0\.00000,/m);
  const { channels } = await reader.readSamples(recording, { gyroscopeOffset: offset });
  assert.deepEqual([channels.gyro.x[9], channels.quaternion.y[998] !== 0], [-0.5, true]);
  const lying = longUnit(folder, 'still.bin', 100);
  assert.deepEqual((await reader.convert(lying, csv, { gyroscopeOffset: 'rest' })).report.gyroscopeOffset, still);
});

test('a smoothed orientation needs no stillness, no offset and no equal rates, and says what it estimated', async (t) => {
  const folder = scratchFolder(t);
  const recording = longUnit(folder, 'r.bin', 300);
  const { channels, report, smoothing } = await reader.readSamples(recording, { orientation: 'smoothed' });
  const { w, x, y, z } = channels.quaternion;
  assert.equal(w.length, channels.gyro.x.length);
  assert.ok(
    w.every((_, i) => Math.abs(Math.hypot(w[i], x[i], y[i], z[i]) - 1) < 1e-6),
    'from the first sample to the last',
  );
  assert.deepEqual([report.orientation.method, report.orientation.available], ['smoothed', true]);
  assert.ok(
    smoothing.rest.length > 0 && smoothing.offset.x.length === smoothing.time.length && smoothing.inclinationError[0] > 0,
  );
  const narrow = await reader.readSamples(recording, { orientation: 'smoothed', precision: 'float32', channels: ['quaternion'] });
  assert.deepEqual(narrow.channels.quaternion.w, new Float32Array(w));
  assert.equal((await reader.readSamples(recording)).smoothing, null);

  const csv = path.join(folder, 'r.csv');
  const converted = await reader.convert(recording, csv, { orientation: 'smoothed' });
  const rows = fs.readFileSync(csv, 'utf8').split('\n').slice(7, -1);
  assert.equal(rows[5].split(',')[7], w[5].toFixed(5));
  assert.deepEqual(converted.report.orientation, report.orientation);
  for (const start of [
    () => reader.convert(recording, csv, { orientation: 'smoothed', gyroscopeOffset: 'rest' }),
    () => reader.convert(recording, csv, { orientation: 'smooth' }),
    () => reader.readSamples(recording, { orientation: 'smoothed', gyroscopeOffset: still }),
    () => reader.levels([recording], { orientation: true }),
  ]) {
    await assert.rejects(start(), TypeError);
  }
  await assert.rejects(reader.readSamples(unit(folder, 'no-gyro.bin', { gyro: false }), { orientation: 'smoothed' }), {
    code: 'ERR_ORIENTATION',
    reason: 'no-gyroscope',
  });
});

test('headers: whole, with instants where a zone is given, and written from text or object', async (t) => {
  const folder = scratchFolder(t);
  const at = async (timeZone, year, ...date) => {
    const file = unit(folder, 'd.bin', { ticks: 1, date: [...date, year >> 8, year & 255] }); // second to month
    const { start, startNote, createdAt } = await reader.readConfig(file, { timeZone });
    assert.equal(createdAt.year, year);
    return [start?.toISOString() ?? null, startNote];
  };
  assert.deepEqual(await at('Europe/Berlin', 2024, 5, 4, 3, 17, 5), ['2024-05-17T01:04:05.000Z', null]);
  assert.deepEqual(await at('Europe/Berlin', 2024, 0, 30, 2, 31, 3), ['2024-03-31T01:30:00.000Z', 'skipped']);
  assert.deepEqual(await at('Europe/Berlin', 2024, 0, 30, 2, 27, 10), ['2024-10-27T00:30:00.000Z', 'repeated']);
  assert.deepEqual(await at('Pacific/Kiritimati', 2024, 0, 0, 0, 1, 1), ['2023-12-31T10:00:00.000Z', null]);
  assert.deepEqual(await at(undefined, 2024, 5, 4, 3, 17, 5), [null, null]);
  assert.deepEqual(await at('UTC', 2023, 0, 0, 0, 29, 2), [null, null]);

  const file = path.join(folder, 'header.bin');
  const unknownFrames = Buffer.from([0x4b, 0x56, 9, 9, 0, 1, 2]);
  await reader.writeConfig(file, 'device,-5,2,5:radio,1,12');
  assert.deepEqual([(await reader.readConfig(file)).deviceId, (await reader.readConfig(file)).radioChannel], [4294967291, 12]);
  await reader.writeConfig(file, {
    deviceId: 4e9,
    deviceType: 1,
    bodyLocation: 2,
    version: 3,
    accel: { frequency: 200, range: 16, offsetX: -5 },
    unknownFrames,
  });
  const config = await reader.readConfig(file);
  assert.deepEqual([config.deviceId, config.version, config.accel.offsetX, config.unknownFrames], [4e9, 3, -5, unknownFrames]);
  await reader.writeConfig(file, config);
  assert.deepEqual(await reader.readConfig(file), config);
});

test('ES modules import each function by name', () => {
  const script = `import * as all from ${JSON.stringify(promisesPath)}; console.log(Object.keys(all).sort().join())`;
  const { stdout } = spawnSync(process.execPath, ['--input-type=module', '-e', script], { encoding: 'utf8' });
  const names = 'VortenaError,convert,default,inspect,readConfig,readSamples,synchronise,writeConfig';
  assert.ok(
    names.split(',').every((name) => stdout.trim().split(',').includes(name)),
    stdout,
  );
});
