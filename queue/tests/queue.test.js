'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const test = require('node:test');
const { setTimeout: pause } = require('node:timers/promises');
const { getSystemErrorName, inspect } = require('node:util');
const { Queue, UnrecoverableError, Worker } = require('bullmq');
const { convert } = require('vortena-reader/promises');
const { QUEUE, enqueue, work } = require('..');
const { longUnit } = require('../../tests/js/units.js');
const { convertOnce } = require('../lib/conversion.js');
const {
  countOutputs,
  redisServer,
  scratchFolder,
  silentFrom,
  until,
  workerProcess,
  workerWithClock,
  writeRecording,
} = require('./support.js');

const LOCK_S = 2;
const HOUR_MS = 3_600_000;
const SHORT = 3;
const LONG = 16_000; // blocks, 8 MB

/** `{ url, queue, folder, out }` */
async function setting(t) {
  const server = await redisServer(t);
  const folder = scratchFolder(t);
  const out = path.join(folder, 'out');
  fs.mkdirSync(out);
  const queue = new Queue(QUEUE, { connection: { url: server.url } });
  queue.on('error', () => {}); // while the server is away
  t.after(() => queue.close());
  return { server, redis: server.url, queue, folder, out };
}

function start(t, options) {
  const worker = work(options);
  worker.on('error', () => {});
  t.after(() => worker.close(true));
  return worker;
}

const states = (submitted) => submitted.map(({ state }) => state);
const has = (queue, state, count) => async () => (await queue.getJobCounts(state))[state] === count;

test('a worker is killed within a job, the server is killed and comes back: all outputs are whole, none was made twice', async (t) => {
  const { server, redis, queue, folder, out } = await setting(t);
  const names = Array.from({ length: 8 }, (_, i) => `r${i}`);
  names.forEach((name, i) => writeRecording(path.join(folder, 'in', `${name}.bin`), LONG + i));
  assert.deepEqual(
    states(await enqueue(path.join(folder, 'in'), { redis, out })),
    names.map(() => 'queued'),
  );
  assert.deepEqual(
    states(await enqueue(path.join(folder, 'in'), { redis, out })),
    names.map(() => 'known'),
  );

  const counts = countOutputs(t, out);
  const outputs = (pattern) => fs.readdirSync(out).filter((name) => pattern.test(name));
  const [first, second] = [1, 2].map(() => workerProcess(t, redis, '--concurrency', '1', '--lock', String(LOCK_S)));
  const partOfFirst = new RegExp(`\\.part-.*-${first.pid}-\\d+$`);
  await until('a job of the first worker', () => outputs(partOfFirst).length > 0);
  await first.end('SIGKILL');
  assert.equal(outputs(partOfFirst).length, 1, 'killed too late');
  const isMade = () => outputs(new RegExp(`-${second.pid}-\\d+$`)).length > 0;
  await until('half of the outputs, and another one under way', () => outputs(/\.csv$/).length >= names.length / 2 && isMade());
  await server.kill();
  assert(isMade(), 'the server was killed too late');
  await until('the end of what is under way', () => !isMade());
  await pause(LOCK_S * 1000); // what was done cannot be reported in time
  await server.start();
  await until('all jobs', has(queue, 'completed', names.length));

  assert.deepEqual(
    fs.readdirSync(out).sort(),
    names.map((name) => `${name}.csv`),
  );
  assert.deepEqual(counts, Object.fromEntries(names.map((name) => [`${name}.csv`, 1])));
  for (const name of names) {
    await convert(path.join(folder, 'in', `${name}.bin`), path.join(folder, 'expected.csv'));
    assert(fs.readFileSync(path.join(out, `${name}.csv`)).equals(fs.readFileSync(path.join(folder, 'expected.csv'))), name);
  }
  await second.end('SIGTERM');
  assert.match(second.output(), /ends when its jobs are done/);
});

test('a worker that was frozen while another did its job cancels it', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const [{ id }] = await enqueue(writeRecording(path.join(folder, 'r.bin'), 6 * LONG), { redis, out });
  const counts = countOutputs(t, out);
  const frozen = workerProcess(t, redis, '--lock', String(LOCK_S));
  await until('the job to begin', () => /^started/m.test(frozen.output()));
  process.kill(frozen.pid, 'SIGSTOP');
  assert.deepEqual(fs.readdirSync(out), [], 'frozen too late');
  const other = workerProcess(t, redis, '--lock', String(LOCK_S));
  await until('the other worker', has(queue, 'completed', 1));
  assert.match(other.output(), /^started/m);
  process.kill(frozen.pid, 'SIGCONT');
  await until('the loss to be noticed', () => /could not renew lock|Missing lock|Lock mismatch/.test(frozen.output()));
  await frozen.end('SIGTERM');
  assert.deepEqual(counts, { 'r.csv': 1 });
  assert.deepEqual(fs.readdirSync(out), ['r.csv']);
  assert.equal(typeof (await queue.getJob(id)).progress.fraction, 'number');
});

test('failures that may pass are tried again later; others are not', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const recording = (name) => writeRecording(path.join(folder, name), SHORT);
  const [moved, changed, damaged] = ['moved.bin', 'changed.bin', 'damaged.bin'].map(recording);
  fs.writeFileSync(damaged, Buffer.alloc(4096, 7));
  const [first, second, third] = await enqueue([moved, changed, damaged], { redis, out });
  fs.renameSync(moved, `${moved}.aside`);
  fs.appendFileSync(changed, Buffer.alloc(512));
  start(t, { redis, memory: 1 }); // one at a time, as no job fits in
  await until('failures', has(queue, 'failed', 2));
  const reason = async ({ id }) => (await queue.getJob(id)).failedReason;
  assert.match(await reason(second), /^ERR_RECORDING_CHANGED: /);
  assert.match(await reason(third), /^ERR_NOT_A_RECORDING: /);
  await until('the pause', has(queue, 'delayed', 1));

  fs.renameSync(`${moved}.aside`, moved);
  await (await queue.getJob(first.id)).promote();
  const again = await enqueue([moved, changed, damaged], { redis, out });
  assert.equal(again[0].id, first.id);
  assert.notEqual(again[1].id, second.id, 'another state of the recording is another job');
  assert.deepEqual(states(again).slice(1), ['queued', 'queued']);
  await until('what can be done', has(queue, 'completed', 2));
  await until('what cannot', has(queue, 'failed', 2));
  fs.rmSync(first.output);
  assert.deepEqual(states(await enqueue([moved, changed], { redis, out })), ['queued', 'known']);
  await until('the output again', () => fs.existsSync(first.output));
});

test('an error of the system is tried again if it may pass, by its name even where Node.js has none', async (t) => {
  const failWith = async (name) => {
    const errno = -os.constants.errno[name];
    const code = getSystemErrorName(errno);
    const stat = t.mock.method(fs.promises, 'stat', async () => {
      throw Object.assign(new Error(`${code}, stat`), { errno, code, syscall: 'stat' });
    });
    const { signal } = new AbortController();
    const error = await convertOnce({ recording: 'r.bin', output: 'r.csv' }, true, { signal }).catch((each) => each);
    stat.mock.restore();
    assert(error.message.startsWith(name), error.message);
    return !(error instanceof UnrecoverableError);
  };
  for (const name of ['EDQUOT', 'ESTALE', 'ENOLCK', 'EBUSY', 'EIO', 'ECONNRESET', 'ETIMEDOUT']) {
    assert(await failWith(name), name);
  }
  for (const name of ['EACCES', 'ENAMETOOLONG', 'EFBIG']) {
    assert(!(await failWith(name)), name);
  }
});

test('outputs mirror folders, and belong to one recording each', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const place = (...names) => path.join(folder, ...names);
  ['set/a/t1.bin', 'set/b/t1.bin', 'set/t1.BIN', 'other/t1.bin'].forEach((name) => writeRecording(place(name), SHORT));
  const both = [place('set/a'), place('set/b')];
  const clash = (paths) =>
    assert.rejects(enqueue(paths, { redis, out }), (error) => {
      assert.equal(error.code, 'ERR_OUTPUT_CLASH');
      paths.forEach((each) => assert(error.message.includes(each)));
      return true;
    });
  await clash(both);
  await assert.rejects(enqueue([place('set'), place('nowhere')], { redis, out }), { code: 'ENOENT' });
  assert.equal(await queue.count(), 0);

  fs.writeFileSync(place('out', 't1.csv'), 'made before');
  const submitted = await enqueue(place('set'), { redis, out, recursive: true });
  const shown = submitted.map(({ output, state }) => [path.relative(out, output), state]);
  assert.deepEqual(shown, [
    ['a/t1.csv', 'queued'],
    ['b/t1.csv', 'queued'],
    ['t1.csv', 'exists'],
  ]);
  const owner = /set\/t1\.BIN/;
  await assert.rejects(enqueue(place('other/t1.bin'), { redis, out }), { code: 'ERR_OUTPUT_CLASH', message: owner });
  fs.rmSync(place('set/t1.BIN'));
  fs.rmSync(place('out', 't1.csv'));
  assert.deepEqual(states(await enqueue(place('other/t1.bin'), { redis, out })), ['queued']);
});

test('another orientation of a recording is another job, which takes over the output', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const recording = longUnit(folder, 'r.bin', 100, { offset: 20 });
  const [output, expected] = [path.join(out, 'r.csv'), path.join(folder, 'expected.csv')];
  const methods = [{}, { gyroscopeOffset: 'rest' }, { orientation: 'smoothed' }, { orientation: 'filter' }];
  const ids = [];
  const texts = [];
  const jobs = start(t, { redis, memory: 4096 });
  for (const [i, method] of methods.entries()) {
    const done = new Promise((resolve) => jobs.once('completed', resolve));
    const [{ id, state }] = await enqueue(recording, { redis, out, ...method });
    ids.push(id);
    assert.equal(state, 'queued', JSON.stringify(method));
    await done;
    await convert(recording, expected, method);
    texts.push(fs.readFileSync(expected, 'utf8'));
    assert.equal(fs.readFileSync(output, 'utf8'), texts[i], JSON.stringify(method));
    assert.deepEqual(states(await enqueue(recording, { redis, out, ...method })), ['known']);
    assert.equal((await queue.getJobs(['completed'])).length, 1, `${i} left those before it`);
  }
  assert.deepEqual([new Set(ids).size, new Set(texts).size, ids[3]], [3, 3, ids[0]]);
  await jobs.pause();
  await enqueue(recording, { redis, out: folder });
  const running = new Worker(QUEUE, null, { connection: { url: redis } });
  running.on('error', () => {});
  t.after(() => running.close(true));
  await running.getNextJob('token');
  const refused = enqueue(recording, { redis, out: folder, orientation: 'smoothed' });
  await assert.rejects(refused, { code: 'ERR_OUTPUT_CLASH', message: /another orientation/ });
  for (const wrong of [{ orientation: 'smooth' }, { gyroscopeOffset: 1 }, { orientation: 'smoothed', gyroscopeOffset: 'rest' }]) {
    await assert.rejects(enqueue(recording, { redis, out, ...wrong }), TypeError);
  }
});

test('a server that accepts connections and falls silent is one that cannot be reached', async (t) => {
  const { redis, folder, out } = await setting(t);
  const recording = writeRecording(path.join(folder, 'r.bin'), SHORT);
  for (const word of ['', 'hsetnx', 'hgetall']) {
    // while it connects, claims and submits
    const url = await silentFrom(t, word, redis);
    const begin = performance.now();
    await assert.rejects(enqueue(recording, { redis: url, out }), { code: 'ERR_REDIS', message: /no answer/ });
    assert(performance.now() - begin < 3000, word);
  }
  assert.deepEqual(states(await enqueue(recording, { redis, out })), ['queued']);
});

test('an option that is unknown, or of a wrong kind, is named, with the one that was meant', async () => {
  for (const [options, message] of [
    [undefined, 'options.out is not the path of a folder'],
    [null, 'options is not an object'],
    [{ out: 'csv', recursiv: true }, 'options.recursiv is no option of enqueue; did you mean recursive?'],
    [{ out: 'csv', folder: 'x' }, /these are: redis, out, to, recursive/],
    [{ out: 'csv', recursive: 'no' }, 'options.recursive is not a boolean'],
    [{ out: 'csv', to: ['csv'] }, 'options.to is not one of: csv, csv.gz, parquet'],
  ]) {
    await assert.rejects(enqueue('none', options), { name: 'TypeError', message });
  }
  for (const [options, message] of [
    [{ Concurrency: 2 }, 'options.Concurrency is no option of work; did you mean concurrency?'],
    [{ lock: '30' }, 'options.lock is not a number above 0'],
    [{ memory: 0 }, 'options.memory is not a number above 0'],
    [{ redis: null }, /^the address of Redis is not/],
  ]) {
    assert.throws(() => work(options), { name: 'TypeError', message });
  }
});

test('no message shows a part of the password', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const recording = writeRecording(path.join(folder, 'r.bin'), SHORT);
  const hidden = (error) => error.code === 'ERR_REDIS' && !inspect(error).includes('hush');
  const authorities = [
    ':hush@hush@127.0.0.1:1',
    ':hu/hush@127.0.0.1:1',
    'u:12/hush@127.0.0.1:1',
    'u:12#hush@127.0.0.1:1',
    'u:12?hush@127.0.0.1:1',
    ':hush%zz@127.0.0.1:1',
    ':hush',
    ':hush@127.0.0.1:99999',
    ':p@127.0.0.1/hush',
    '127.0.0.1:1?password=hush',
  ];
  for (const url of [
    ...authorities.map((each) => `redis://${each}`),
    ':hush@127.0.0.1:1',
    '/:hush@127.0.0.1',
    'u:hush@127.0.0.1',
  ]) {
    await assert.rejects(enqueue(recording, { redis: url, out }), hidden, url);
  }
  assert.throws(() => work({ redis: 'redis://:hu/hush@127.0.0.1:1' }), hidden);

  await (await queue.getBackend().client).config('SET', 'requirepass', 'another');
  const refused = redis.replace('//', '//:hush@hush@');
  await assert.rejects(enqueue(recording, { redis: refused, out }), hidden);
  const error = await new Promise((resolve) => start(t, { redis: refused }).on('error', resolve));
  assert.match(error.message, /^WRONGPASS/);
  assert(!inspect(error).includes('hush'));
});

test('jobs that were made by hand neither end a worker nor hold up the jobs after them', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const recording = writeRecording(path.join(folder, 'r.bin'), SHORT);
  const { size } = fs.statSync(recording);
  const good = [{}, { size: null }, { size }].map((state, i) => ({ recording, output: path.join(out, `${i}.csv`), ...state }));
  const bad = [null, {}, { ...good[0], recording: 7 }, { ...good[0], size: 1e300 }, { ...good[0], size: 'x' }];
  const worker = start(t, { redis, concurrency: 2, memory: 4096 });
  await queue.addBulk([...good, ...bad].map((data) => ({ name: 'convert', data })));
  await until('what can be done', has(queue, 'completed', good.length));
  await until('what cannot', has(queue, 'failed', bad.length));

  const begun = new Set();
  worker.on('progress', ({ id }) => begun.add(id));
  const beside = new Promise((resolve) => worker.once('completed', () => resolve(begun.size)));
  await enqueue(
    [1, 2].map((i) => writeRecording(path.join(folder, `r${i}.bin`), 6 * LONG)),
    { redis, out },
  );
  assert.equal(await beside, 2, 'one job at a time');
});

test('pauses are as long as they should be where the clocks of workers are wrong', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const recording = writeRecording(path.join(folder, 'r.bin'), SHORT);
  const [{ id }] = await enqueue(recording, { redis, out });
  fs.renameSync(recording, `${recording}.aside`);
  const ahead = () => workerWithClock(t, HOUR_MS, redis);
  const first = ahead();
  await until('the pause', has(queue, 'delayed', 1));
  await first.end('SIGKILL');
  const client = await queue.getBackend().client;
  const rest = Number(await client.zscore(queue.keys.delayed, id)) / 4096 - Date.now();
  assert(rest > 0 && rest < 10_000, `${rest} ms`);

  await (await queue.getJob(id)).changeDelay(60_000);
  const second = ahead();
  await until('the second worker', () => /takes up to/.test(second.output()));
  await client.config('RESETSTAT');
  await pause(1000);
  const calls = Number(/cmdstat_evalsha:calls=(\d+)/.exec(await client.info('commandstats'))?.[1] ?? 0);
  assert(calls < 100, `asked ${calls} times`);
  const job = await queue.getJob(id);
  assert.equal(job.attemptsStarted, 1, 'for a clock that is ahead the pause is over');
  await second.end('SIGKILL');

  fs.renameSync(`${recording}.aside`, recording);
  await job.changeDelay(500);
  workerWithClock(t, -HOUR_MS, redis);
  await until('a worker whose clock is behind', has(queue, 'completed', 1));
});

test('every format of the command line is made, once, and told apart', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const recording = path.join(folder, 'in', 'r.bin');
  writeRecording(recording, SHORT);
  start(t, { redis });
  const formats = { csv: 'r.csv', 'csv.gz': 'r.csv.gz', parquet: 'r/recording.json' };
  for (const to of Object.keys(formats)) {
    assert.deepEqual(states(await enqueue(recording, { redis, out, to })), ['queued'], to);
  }
  await until('all formats', has(queue, 'completed', 3));
  Object.values(formats).forEach((name) => assert.ok(fs.existsSync(path.join(out, name)), name));
  assert.deepEqual(states(await enqueue(recording, { redis, out, to: 'parquet' })), ['known']);
  fs.rmSync(path.join(out, 'r'), { recursive: true });
  assert.deepEqual(states(await enqueue(recording, { redis, out, to: 'parquet' })), ['queued'], 'its output was removed');
  await until('all formats', has(queue, 'completed', 3));
  await until('the folder again', () => fs.existsSync(path.join(out, formats.parquet)));
  await assert.rejects(enqueue(recording, { redis, out, to: 'xlsx' }), TypeError);
});

test('a recording that changes while it is converted fails, and leaves no output', async (t) => {
  const { redis, queue, folder, out } = await setting(t);
  const recording = path.join(folder, 'in', 'r.bin');
  writeRecording(recording, LONG);
  await enqueue(recording, { redis, out });
  const worker = start(t, { redis });
  worker.on('active', () => fs.appendFileSync(recording, Buffer.alloc(512)));
  await until('the failure', has(queue, 'failed', 1));
  const [job] = await queue.getFailed();
  assert.match(job.failedReason, /^ERR_RECORDING_CHANGED/);
  assert.deepEqual(fs.readdirSync(out), []);
});
