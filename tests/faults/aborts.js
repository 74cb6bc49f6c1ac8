// Jobs on large recordings, in and out of order, aborted at random moments, and processes that exit with one: how long
// that takes. Usage: node tests/faults/aborts.js [MEGABYTES] [ROUNDS]
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { setTimeout: sleep } = require('node:timers/promises');
const { dataBlock, headerBlock } = require('../js/support.js');

const LONGEST_ABORT_MS = 150;
const LONGEST_EXIT_MS = 300;
const BLOCK = 512;
const SAMPLES = 63;

const [megabytes = '384', rounds = '30'] = process.argv.slice(2);
const promises = path.join(__dirname, '..', '..', 'promises.js');

/** Blocks in order, or in an order that looks random and whose blocks overlap. */
function write(file, bytes, inOrder) {
  const count = Math.floor(bytes / BLOCK);
  const stream = fs.openSync(file, 'w');
  const piece = Buffer.alloc(4096 * BLOCK, dataBlock(0));
  fs.writeSync(stream, headerBlock());
  for (let first = 0; first < count; first += 4096) {
    for (let k = 0; k < 4096; k += 1) {
      const place = inOrder ? first + k : (((first + k) * 7919) % count) - 0.5;
      piece.writeUInt32BE(Math.max(0, Math.floor(place * SAMPLES)), BLOCK * k + 4);
    }
    fs.writeSync(stream, piece);
  }
  fs.closeSync(stream);
  return file;
}

async function longestAbort(start) {
  const begin = performance.now();
  await start({}).catch(() => {});
  const whole = performance.now() - begin;
  let longest = 0;
  for (let k = 0; k < Number(rounds); k += 1) {
    const controller = new AbortController();
    const ended = start({ signal: controller.signal }).then(
      () => performance.now(),
      () => performance.now(),
    );
    await sleep(Math.random() * whole);
    const aborted = performance.now();
    controller.abort();
    longest = Math.max(longest, (await ended) - aborted);
  }
  return { whole, longest };
}

function longestExit(file, out, whole) {
  const script = `require(${JSON.stringify(promises)}).convert(${JSON.stringify(file)}, ${JSON.stringify(out)});
    setTimeout(() => { process.stdout.write(String(Date.now())); process.exit(); }, Number(process.argv[1]));`;
  let longest = 0;
  for (let k = 0; k < Number(rounds) / 3; k += 1) {
    const { stdout } = spawnSync(process.execPath, ['-e', script, String(Math.random() * whole)], { encoding: 'utf8' });
    longest = Math.max(longest, Date.now() - Number(stdout));
  }
  return longest;
}

async function main() {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vortena-aborts-'));
  try {
    const files = [
      ['in order', write(path.join(folder, 'ordered.bin'), Number(megabytes) * 1e6, true)],
      ['out of order', write(path.join(folder, 'random.bin'), (Number(megabytes) * 1e6) / 3.84, false)],
    ];
    const { backend, convert, inspect, readSamples } = require(promises);
    const out = path.join(folder, 'out.csv');
    for (const [what, file] of files) {
      for (const [name, start] of [
        ['convert', (options) => convert(file, out, options)],
        ['readSamples', (options) => readSamples(file, options)],
        ['inspect', (options) => inspect(file, options)],
      ]) {
        const { whole, longest } = await longestAbort(start);
        console.log(
          `${backend().promises.kind}, ${fs.statSync(file).size} bytes ${what}, ${name} of ${whole.toFixed(0)} ms: longest abort ${longest.toFixed(0)} ms`,
        );
        assert.ok(longest <= LONGEST_ABORT_MS);
        if (name === 'convert') {
          const exit = longestExit(file, out, whole);
          console.log(`  longest exit ${exit} ms`);
          assert.ok(exit <= LONGEST_EXIT_MS);
        }
      }
    }
    await sleep(2000); // the last jobs end
    assert.deepEqual(
      fs.readdirSync(folder).filter((name) => name.includes('.part-')),
      [],
    );
  } finally {
    fs.rmSync(folder, { recursive: true, force: true });
  }
}

main();
