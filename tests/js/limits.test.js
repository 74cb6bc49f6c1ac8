'use strict';

const assert = require('node:assert/strict');
const { execFileSync, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { Worker } = require('node:worker_threads');
const { packagePath, dataBlock, headerBlock, requireComplete, scratchFolder, writeRecording } = require('./support.js');
const { unit } = require('./units.js');
const addon = require(packagePath);

const sanitized = process.env.LD_PRELOAD !== undefined; // sanitizers take all of the address space for themselves
const readError = '{"error":"Error during data loading."}';

/** Of 63 samples a block, in order. */
function longRecording(folder, blocks) {
  const data = Array.from({ length: blocks }, (_, i) => dataBlock(i * 63));
  return writeRecording(folder, 'long.bin', [headerBlock(), ...data]);
}

test('memory that is refused is an Error, and the process goes on', { skip: sanitized }, (t) => {
  const folder = scratchFolder(t);
  const recording = longRecording(folder, 40000);
  const set = `readAndSync2(Array(8).fill('${recording}'), '${folder}')`; // takes a gigabyte
  // The engine ends the process when it has no memory itself, so enough of it is left.
  for (const [spareMiB, textMiB, call] of [
    [200, 300, 'readConfig(text)'],
    [100, 0, "readConfig('\\u0100'.repeat(1e8))"], // which the engine joins when it is first looked at
    [200, 0, set],
    [270, 0, set],
    [340, 0, set],
  ]) {
    const script = `const addon = require(${JSON.stringify(packagePath)});
      const text = Buffer.alloc(${textMiB} << 20, 'x').toString('latin1');
      const used = 1024 * Number(/VmSize:\\s+(\\d+)/.exec(require('fs').readFileSync('/proc/self/status'))[1]);
      const { execFileSync } = require('child_process');
      const limit = (bytes) => execFileSync('prlimit', ['--pid', process.pid, '--as=' + bytes + ':']);
      limit(used + (${spareMiB} << 20));
      let message;
      try { addon.${call}; } catch (error) { message = error.message; }
      limit('unlimited');
      console.log(message);`;
    const { stdout, status, stderr } = spawnSync(process.execPath, ['-e', script], { encoding: 'utf8' });
    assert.deepEqual([stdout, status], ['Not enough memory for this call\n', 0], call + stderr);
  }
});

test('a sparse file beyond 2 GiB reads as what it holds, to its end', (t) => {
  const folder = scratchFolder(t);
  const recording = writeRecording(folder, 'r.bin', [headerBlock(), ...Array(600).fill(dataBlock(7))]);
  const file = fs.openSync(recording, 'r+');
  fs.writeSync(file, dataBlock(5000), 0, 512, 2 ** 31 + 512);
  fs.closeSync(file);
  assert.equal(JSON.parse(addon.read(recording, path.join(folder, 'r.csv'))).frequency, 100);
  assert.equal(requireComplete(path.join(folder, 'r.csv')), 63 + 63 + 1); // the header holds one
});

test('what is no regular file is neither read nor waited for', (t) => {
  const folder = scratchFolder(t);
  const pipe = path.join(folder, 'pipe');
  execFileSync('mkfifo', [pipe]);
  for (const input of [folder, pipe, '/dev/zero', '/dev/full', `${writeRecording(folder, 'r.bin')}/r.bin`]) {
    assert.equal(addon.readConfig(input) + addon.readConfigDeviceId(input), '', input);
    assert.equal(JSON.parse(addon.read(input, path.join(folder, 'r.csv'))).frequency, 0, input);
    assert.equal(addon.readAndSync2([input, input], folder), '-10', input);
  }
  for (const output of [pipe, folder, path.join(folder, 'missing', 'r.csv'), '/proc/r.csv']) {
    // not even root may
    assert.equal(addon.read('missing', output), readError);
    assert.equal(addon.writeConfig(output, 'radio,1,12'), 'ERROR');
  }
});

test('a full disk goes unnoticed; the number of rows shows it', (t) => {
  const folder = scratchFolder(t);
  const units = ['a', 'b'].map((name) => unit(folder, `${name}.bin`, { schedule: { second: 0, tick: 0 } }));
  for (const name of ['a', 'b']) fs.symlinkSync('/dev/full', path.join(folder, `${name}.csv`));
  assert.equal(JSON.parse(addon.read(units[0], '/dev/full')).frequency, 100);
  assert.equal(addon.writeConfig('/dev/full', 'radio,1,12'), 'OK');
  assert.equal(addon.readAndSync2(units, folder), 'OK');
  const csv = path.join(folder, 'cut.csv');
  const call = `require(${JSON.stringify(packagePath)}).read(...${JSON.stringify([units[0], csv])})`;
  const limited = spawnSync('prlimit', ['--fsize=20000', process.execPath, '-p', call], { encoding: 'utf8' });
  assert.equal(JSON.parse(limited.stdout).frequency, 100);
  assert.throws(() => requireComplete(csv));
});

test('a recording that shrinks, grows and vanishes while it is read', async (t) => {
  const folder = scratchFolder(t);
  const recording = longRecording(folder, 4000);
  const script = `const fs = require('fs'); const [whole, path] = require('worker_threads').workerData;
    for (let i = 0; ; i += 1) {
      if (i % 7 === 0) fs.rmSync(path, { force: true });
      else if (i % 7 === 1) fs.copyFileSync(whole, path);
      else fs.truncateSync(path, (i * 7919 * 512) % 2e6);
    }`;
  const victim = path.join(folder, 'victim.bin');
  fs.copyFileSync(recording, victim);
  const vandal = new Worker(script, { eval: true, workerData: [recording, victim] });
  const rows = new Set();
  try {
    for (let i = 0; i < 100; i += 1) {
      assert.ok([0, 100].includes(JSON.parse(addon.read(victim, path.join(folder, 'r.csv'))).frequency));
      rows.add(requireComplete(path.join(folder, 'r.csv')));
    }
  } finally {
    await vandal.terminate();
  }
  assert.ok(rows.size > 1, 'the file did change');
});

const inWorker = (script, workerData) =>
  new Promise((resolve, reject) => {
    new Worker(script, { eval: true, workerData }).on('message', resolve).on('error', reject);
  });

test('eight threads get what one thread gets', async (t) => {
  const folder = scratchFolder(t);
  const inputs = ['a', 'b'].map((name, i) => unit(folder, `${name}.bin`, { ticks: 40 + i, schedule: { second: i, tick: 0 } }));
  const answers = (out) => `
    const { mkdirSync, readFileSync } = require('node:fs');
    const { read, readAndSync2 } = require(${JSON.stringify(packagePath)});
    const [inputs, out] = ${JSON.stringify([inputs, out])};
    mkdirSync(out);
    const texts = new Set();
    for (let i = 0; i < 200; i += 1) {
      texts.add(read(inputs[i % 2], out + '/r.csv') + readFileSync(out + '/r.csv'));
      texts.add(readAndSync2(inputs, out) + readFileSync(out + '/b.csv'));
    }
    require('node:worker_threads').parentPort.postMessage([...texts]);`;
  const all = await Promise.all(Array.from({ length: 8 }, (_, i) => inWorker(answers(`${folder}/${i}`))));
  assert.equal(all[0].length, 3);
  assert.deepEqual(all, Array(8).fill(all[0]));
});

test('two threads on one output path, and a thread ended in the middle of a call', async (t) => {
  const folder = scratchFolder(t);
  const recording = longRecording(folder, 10000);
  const [csv, once] = ['twice.csv', 'once.csv'].map((name) => path.join(folder, name));
  const read = (out) => `require(${JSON.stringify(packagePath)}).read(...${JSON.stringify([recording, out])})`;
  const answer = addon.read(recording, once);
  const script = `require('node:worker_threads').parentPort.postMessage(${read(csv)})`;
  assert.deepEqual(await Promise.all([inWorker(script), inWorker(script)]), [answer, answer]);
  assert.ok(fs.readFileSync(csv).equals(fs.readFileSync(once)));
  const doomed = path.join(folder, 'doomed.csv');
  const worker = new Worker(`for (;;) ${read(doomed)}`, { eval: true }); // from the first call on, always in one
  while (!fs.existsSync(doomed))
    await new Promise((resolve) => {
      setTimeout(resolve, 1);
    });
  assert.equal(await worker.terminate(), 1);
  assert.equal(addon.read(recording, once), answer);
});
