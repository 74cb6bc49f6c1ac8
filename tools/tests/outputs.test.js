// Parquet and compressed CSV against what the reader itself gives.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const zlib = require('node:zlib');
const { readSamples } = require('vortena-reader/promises');
const { listOf, longRecording, scratchFolder, unit, vortena, writeRecording } = require('./support.js');

/** A unit with every channel but the raw one, and samples to read back. */
function recordingIn(folder) {
  return unit(folder, 'walk.bin', { baro: true, byte: true, radio: { role: 1 }, time: { role: 0, ahead: 300 }, ticks: 4000 });
}

/** `{ columns, metadata, codec }` of a table. */
async function readTable(file, only) {
  const { asyncBufferFromFile, parquetMetadataAsync, parquetReadObjects } = await import('hyparquet');
  const buffer = await asyncBufferFromFile(file);
  const metadata = await parquetMetadataAsync(buffer);
  const compressors = zlib.zstdDecompressSync && { ZSTD: (bytes) => zlib.zstdDecompressSync(bytes) };
  const rows = await parquetReadObjects({ file: buffer, compressors, columns: only });
  const columns = metadata.schema.slice(1).map(({ name }) => [name, rows.map((row) => row[name])]);
  return {
    columns: Object.fromEntries(columns),
    types: metadata.schema.slice(1).map(({ type }) => type),
    metadata: Object.fromEntries(metadata.key_value_metadata.map(({ key, value }) => [key, value])),
  };
}

function numbers(channel) {
  const columns = Object.entries(channel).filter(([, values]) => ArrayBuffer.isView(values));
  return Object.fromEntries(columns.map(([name, values]) => [name, [...values]]));
}

test('each channel is a Parquet table of the samples at their true times', async (t) => {
  const folder = scratchFolder(t);
  const recording = recordingIn(folder);
  const out = path.join(folder, 'out');
  const run = vortena(['convert', recording, '-o', out, '--to', 'parquet', '--fsync', '--json']);
  assert.equal(run.status, 0, run.stderr + run.stdout);
  const { channels } = await readSamples(recording);
  const described = JSON.parse(fs.readFileSync(path.join(out, 'walk/recording.json'), 'utf8'));
  const files = { accel: 'accel', gyro: 'gyro', baro: 'baro', radioByte: 'radio_byte', radioTime: 'radio_time' };
  const tables = [...Object.values(files), 'quaternion'].map((name) => `${name}.parquet`);
  assert.deepEqual(listOf(path.join(out, 'walk')), [...tables, 'recording.json'].sort());
  for (const [name, file] of Object.entries(files)) {
    const table = await readTable(path.join(out, 'walk', `${file}.parquet`));
    assert.deepEqual(table.columns, numbers(channels[name]), name);
    assert.ok(table.types.every((type) => type === 'DOUBLE'));
    assert.equal(described.tables[name].rows, channels[name].time.length);
  }
  const { metadata } = await readTable(path.join(out, 'walk/baro.parquet'));
  const units = '{"time":"s","pressure":"mBar","temperature":"degree C"}';
  assert.deepEqual(metadata, { recording: 'walk.bin', channel: 'baro', rate_hz: '100', units });

  const { columns, types } = await readTable(path.join(out, 'walk/quaternion.parquet'));
  assert.deepEqual(types, ['DOUBLE', 'FLOAT', 'FLOAT', 'FLOAT', 'FLOAT']);
  const { time, w, x, y, z } = channels.quaternion;
  const kept = [...time.keys()].filter((i) => w[i] || x[i] || y[i] || z[i]);
  assert.ok(kept.length > 3900 && kept.length < time.length, 'rows without an orientation are left out');
  assert.deepEqual(
    columns.time,
    kept.map((i) => time[i]),
  );
  assert.deepEqual(
    columns.w,
    kept.map((i) => Math.fround(w[i])),
  );

  longRecording(folder, 'long.bin', 4000); // of 252,000 samples, more than a group of rows holds
  assert.equal(vortena(['convert', path.join(folder, 'long.bin'), '-o', out, '--to', 'parquet']).status, 0);
  const long = await readTable(path.join(out, 'long/gyro.parquet'), ['time']);
  assert.deepEqual(long.columns.time, [...(await readSamples(path.join(folder, 'long.bin'))).channels.gyro.time]);
  assert.equal(described.report.verdict, run.events.find(({ event }) => event === 'converted').verdict);
});

test('a Parquet folder is replaced whole; a folder of other things never', (t) => {
  const folder = scratchFolder(t);
  recordingIn(folder);
  const out = path.join(folder, 'out');
  const convert = (...options) =>
    vortena(['convert', path.join(folder, 'walk.bin'), '-o', out, '--to', 'parquet', '--json', ...options]);
  assert.equal(convert().status, 0);
  fs.copyFileSync(path.join(out, 'walk/accel.parquet'), path.join(out, 'walk/stale.parquet'));
  assert.equal(convert('--skip-existing').events[0].event, 'skipped');
  assert.equal(convert('--overwrite').status, 0);
  assert.ok(!listOf(out).includes('walk/stale.parquet'));

  const requireRefusal = (option) => {
    const before = listOf(out);
    const refused = convert(option).events.find(({ event }) => event === 'failed');
    assert.equal(refused?.code, 'ERR_OUTPUT_FOREIGN');
    assert.deepEqual(listOf(out), before);
    assert.deepEqual(
      fs.readdirSync(out).filter((name) => !name.startsWith('.vortena')),
      ['walk'],
    );
  };
  fs.copyFileSync(path.join(folder, 'walk.bin'), path.join(out, 'walk/recording.parquet'));
  requireRefusal('--overwrite');
  fs.rmSync(path.join(out, 'walk/recording.parquet'));
  fs.writeFileSync(path.join(out, 'walk/analysis.py'), '');
  fs.utimesSync(path.join(out, 'walk/recording.json'), 1000, 1000);
  ['--overwrite', '--skip-existing'].forEach(requireRefusal);
  fs.rmSync(path.join(out, 'walk/analysis.py'));
  fs.rmSync(path.join(out, 'walk/recording.json'));
  requireRefusal('--overwrite');
});

test('compressed CSV holds the CSV; a full disk is told and leaves the old file', (t) => {
  const folder = scratchFolder(t);
  recordingIn(folder);
  const convert = (...options) => vortena(['convert', path.join(folder, 'walk.bin'), '-o', folder, ...options]);
  assert.equal(convert().status + convert('--to', 'csv.gz', '--fsync').status, 0);
  const csv = fs.readFileSync(path.join(folder, 'walk.csv'));
  assert.deepEqual(zlib.gunzipSync(fs.readFileSync(path.join(folder, 'walk.csv.gz'))), csv);
  assert.deepEqual(listOf(folder), ['walk.bin', 'walk.csv', 'walk.csv.gz']);

  assert.equal(convert('--to', 'parquet').status, 0);
  const before = listOf(folder);
  for (const to of ['csv', 'csv.gz', 'parquet']) {
    const args = ['convert', path.join(folder, 'walk.bin'), '-o', folder, '--to', to, '--overwrite'];
    const { status, stdout, stderr } = vortena(args, { command: ['prlimit', '--fsize=20000'] });
    assert.deepEqual([status, stdout], [1, ''], to);
    assert.match(stderr, /^failed {3}\S+walk\S* cannot be written: EFBIG: .*\n {9}\w/, to);
  }
  assert.deepEqual(listOf(folder), before);
  assert.deepEqual(fs.readFileSync(path.join(folder, 'walk.csv')), csv);
});

test('an output folder that cannot be made or a recording in the way is told for each', (t) => {
  const folder = scratchFolder(t);
  const recording = recordingIn(folder);
  const intoItself = vortena(['convert', recording, '-o', recording]);
  assert.deepEqual([intoItself.status, intoItself.stderr.split('\n').length], [2, 2], intoItself.stderr);
  fs.writeFileSync(path.join(folder, 'file'), '');
  for (const to of ['csv', 'csv.gz', 'parquet']) {
    const { status, events } = vortena(['convert', recording, '-o', path.join(folder, 'file/below'), '--to', to, '--json']);
    assert.deepEqual([status, events.at(-2).event, events.at(-2).code], [1, 'failed', 'ERR_WRITE'], to);
    assert.ok(events.at(-2).message.includes(path.join(folder, 'file')) && events.at(-2).systemCode, events.at(-2).message);
  }
  writeRecording(folder, 'out', [fs.readFileSync(recording)]);
  for (const to of ['csv', 'csv.gz']) {
    const output = path.join(folder, `out.${to}`);
    const args = ['convert', path.join(folder, 'out'), '-o', folder, '--to', to, '--overwrite', '--json'];
    const convert = () => vortena(args).events.at(-2);
    fs.cpSync(recording, output);
    assert.equal(convert().code, 'ERR_OUTPUT_IS_RECORDING', to);
    assert.deepEqual(fs.readFileSync(output), fs.readFileSync(recording));

    fs.writeFileSync(output, Buffer.concat([Buffer.from([0x1f, 0x8b, 8]), fs.readFileSync(recording)]));
    assert.equal(convert().code, 'ERR_OUTPUT_IS_RECORDING', 'one that begins like a compressed file');
    fs.writeFileSync(output, 'older');
    fs.chmodSync(output, 0o640);
    assert.equal(convert().event, 'converted', to);
    assert.equal(fs.statSync(output).mode & 0o777, 0o640, to);

    fs.rmSync(output);
    spawnSync('mkfifo', [output]);
    assert.deepEqual([convert().code, fs.statSync(output).isFIFO()], ['ERR_WRITE', true], to);
    fs.rmSync(output);
    fs.mkdirSync(output);
    assert.equal(convert().systemCode, 'EISDIR', to);
  }
});

test('a page follows the same rule: pipes, devices and other files are refused, and its mode stays', (t) => {
  const folder = scratchFolder(t);
  const recording = recordingIn(folder);
  const page = path.join(folder, 'page.html');
  const view = (...options) => vortena(['view', recording, '-o', page, ...options]);
  const wayOf = {
    pipe: () => spawnSync('mkfifo', [page]),
    folder: () => fs.mkdirSync(page),
    recording: () => fs.copyFileSync(recording, page),
  };
  for (const [what, make] of Object.entries(wayOf)) {
    make();
    const before = fs.lstatSync(page);
    const { status, stderr } = view('--overwrite');
    assert.equal(status, 1, what);
    assert.match(stderr, /^failed {3}\S+page\.html (cannot be written|is a recording)/, what);
    assert.deepEqual([fs.lstatSync(page).ino, fs.lstatSync(page).mode], [before.ino, before.mode], what);
    fs.rmSync(page, { recursive: true });
  }
  fs.symlinkSync('target.html', page);
  assert.equal(view().status, 1, 'a link to what is not there yet is no page');
  assert.equal(view('--overwrite').status, 0);
  assert.ok(fs.lstatSync(page).isSymbolicLink());
  fs.chmodSync(path.join(folder, 'target.html'), 0o600);
  assert.equal(view().status, 0, 'a page may be made anew');
  assert.equal(fs.statSync(page).mode & 0o777, 0o600);
  const unwritable = vortena(['view', recording, '-o', '/proc/page.html']);
  assert.match(unwritable.stderr, /^failed {3}\/proc\/page\.html cannot be written: ENOENT/);
});
