// What a technician meets: a folder of 40 recordings, some of them damaged.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { read } = require('vortena-reader');
const { blocksOf, listOf, scratchFolder, vortena, writeRecording } = require('./support.js');

const CONTROL = /[\x00-\x09\x0b-\x1f\x7f]/;

/** 40 files in three folders: 6 damaged, two called hip.bin, one no recording. */
function trial(t) {
  const folder = scratchFolder(t);
  const blocks = blocksOf(folder);
  const set = path.join(folder, 'set');
  for (const name of ['a', 'b/deep']) fs.mkdirSync(path.join(set, name), { recursive: true });
  const put = (name, ...pieces) => writeRecording(set, name, pieces.flat());
  for (let i = 0; i < 31; i += 1) put(`${i % 2 ? 'a' : 'b/deep'}/good-${String(i).padStart(2, '0')}.bin`, blocks);
  put('a/hip.bin', blocks);
  put('b/hip.bin', blocks);
  put('cut.bin', blocks.slice(0, -1), blocks.at(-1).subarray(0, 100));
  put('erased.bin', blocks.slice(0, 20), Array(5).fill(Buffer.alloc(512)), blocks.slice(25));
  put('lost.bin', blocks.slice(0, 20), blocks.slice(30));
  put('only-header.bin', blocks[0]);
  put('too-short.bin', blocks[0].subarray(0, 300));
  put('wiped-header.bin', Buffer.alloc(512), blocks.slice(1));
  fs.writeFileSync(path.join(set, 'notes\x1b[2J.bin'), 'Monday: hip and foot, Tuesday: hand\n'.repeat(40));
  assert.equal(listOf(set).length, 40);
  return { folder, set, out: path.join(folder, 'csv') };
}

test('a folder with damaged recordings: all others are converted, and each failure names file, reason and remedy', (t) => {
  const { set, out } = trial(t);
  const first = vortena(['convert', set, '-r', '-o', out]);
  assert.equal(first.status, 1, first.stderr);
  const csvs = listOf(out);
  assert.equal(csvs.length, 37);
  assert.deepEqual(
    first.lines.sort(),
    csvs.map((name) => path.join(out, name)),
  );
  assert.ok(csvs.includes('a/hip.csv') && csvs.includes('b/hip.csv') && csvs.includes('b/deep/good-00.csv'));
  for (const name of csvs) {
    read(path.join(set, name.replace(/csv$/, 'bin')), `${out}.other`);
    assert.deepEqual(fs.readFileSync(path.join(out, name)), fs.readFileSync(`${out}.other`), name);
  }

  const told = first.stderr.replaceAll(`${set}/`, '').split('\n');
  assert.ok(!CONTROL.test(first.stdout + first.stderr));
  const noHeader = 'no header in its first block';
  const reasons = { 'too-short': 'shorter than a block of 512 bytes', 'wiped-header': noHeader, 'notes\\x1b[2J': noHeader };
  for (const [name, reason] of Object.entries(reasons)) {
    const at = told.indexOf(`failed   ${name}.bin is not a recording: ${reason}`);
    assert.match(told[at + 1], /^ {9}Copy it from the unit again/, first.stderr);
  }
  const damaged = told.filter((line) => line.startsWith('damaged'));
  assert.deepEqual(damaged.map((line) => line.match(/^damaged {2}(\S+)\.bin: [A-Z].*\.$/)[1]).sort(), [
    'cut',
    'erased',
    'lost',
    'only-header',
  ]);
  assert.match(told.at(-2), /^40 recordings: 37 converted, 4 of them damaged, 3 failed, /);
  assert.equal(told.length, 3 * 2 + 4 + 2);

  const verdicts = vortena(['check', set, '-r']);
  assert.equal(verdicts.status, 1, 'some could not be checked');
  assert.deepEqual(
    verdicts.lines
      .filter((line) => /^\w/.test(line))
      .slice(0, 5)
      .map((line) => line.split(' ')[0]),
    [...Array(4).fill('damaged'), verdicts.stdout.includes('\nnotes ') ? 'notes' : 'ok'],
  );
  assert.equal(vortena(['check', path.join(set, 'lost.bin'), path.join(set, 'a')]).status, 3);
  assert.equal(vortena(['check', path.join(set, 'a'), '--json']).status, 0);
});

test('two recordings for one output are refused before anything is done', (t) => {
  const { folder, set, out } = trial(t);
  const run = vortena(['convert', path.join(set, 'a'), path.join(set, 'b'), '-o', out]);
  assert.equal(run.status, 2);
  assert.ok(run.stderr.includes(path.join(set, 'a/hip.bin')) && run.stderr.includes(path.join(set, 'b/hip.bin')), run.stderr);
  assert.deepEqual(fs.readdirSync(folder), ['set']);
  fs.mkdirSync(path.join(set, 'a/hip'));
  fs.copyFileSync(path.join(set, 'a/hip.bin'), path.join(set, 'a/hip/x.bin'));
  assert.equal(
    vortena(['convert', path.join(set, 'a'), '-r', '-o', out, '--to', 'parquet']).status,
    2,
    'a folder within an output',
  );
  fs.mkdirSync(out);
  for (const name of ['one', 'two']) {
    fs.symlinkSync('same.csv', path.join(out, `${name}.csv`));
    fs.copyFileSync(path.join(set, 'a/hip.bin'), path.join(folder, `${name}.bin`));
  }
  assert.equal(
    vortena(['convert', path.join(folder, 'one.bin'), path.join(folder, 'two.bin'), '-o', out, '--overwrite']).status,
    2,
    'links to one file',
  );
  const twice = path.join(set, 'a/hip.bin');
  assert.equal(vortena(['convert', twice, twice, '-o', out]).status, 0, 'the same recording twice is one');
});

test('links in a folder: those to files are recordings, those that lead nowhere are failures', (t) => {
  const { folder, set, out } = trial(t);
  const linked = path.join(folder, 'linked');
  fs.mkdirSync(path.join(linked, 'below'), { recursive: true });
  const links = {
    'hip.BIN': '../set/a/hip.bin',
    'below/lost.bin': 'nowhere',
    'round.bin': 'round.bin',
    'folder.bin': set,
    other: 'nowhere',
    '.hidden.bin': 'nowhere',
  };
  for (const [name, target] of Object.entries(links)) fs.symlinkSync(target, path.join(linked, name));
  const run = vortena(['convert', linked, '-r', '-o', out]);
  assert.equal(run.status, 1, run.stderr);
  assert.deepEqual(listOf(out), ['hip.csv']);
  const failures = run.stderr.split('\n').filter((line) => line.startsWith('failed'));
  assert.deepEqual(failures, [
    `failed   ${linked}/below/lost.bin cannot be read: ENOENT: a link to a file that is not there`,
    `failed   ${linked}/round.bin cannot be read: ELOOP: a link that leads round`,
  ]);
});

test('what is there already: refused, kept while it is newer, or replaced', (t) => {
  const { set, out } = trial(t);
  const convert = (...options) => vortena(['convert', path.join(set, 'a'), '-o', out, '--json', ...options]);
  const kinds = ({ events }) => events.map(({ event }) => event).filter((event) => event !== 'started');
  const count = convert().events.at(-1).converted;
  const csv = path.join(out, 'hip.csv');
  const before = fs.readFileSync(csv);
  fs.writeFileSync(csv, 'an older one');

  const refused = convert();
  assert.deepEqual([refused.status, refused.events[0].code], [1, 'ERR_OUTPUT_EXISTS']);
  assert.match(refused.events[0].advice, /--skip-existing.*--overwrite/);
  const skipping = convert('--skip-existing');
  assert.deepEqual([skipping.status, ...kinds(skipping)], [0, ...Array(count).fill('skipped'), 'finished']);
  assert.equal(fs.readFileSync(csv, 'utf8'), 'an older one');

  fs.utimesSync(csv, 1000, 1000);
  assert.deepEqual(
    kinds(convert('--skip-existing')).sort(),
    ['converted', 'finished', ...Array(count - 1).fill('skipped')].sort(),
  );
  assert.deepEqual(fs.readFileSync(csv), before);
  assert.equal(convert('--overwrite').events.at(-1).converted, count);

  // As `cp -p` of an older recording with more blocks does.
  const recording = path.join(set, 'a/hip.bin');
  fs.appendFileSync(recording, fs.readFileSync(recording).subarray(-512));
  fs.utimesSync(recording, 1000, 1000);
  assert.equal(convert('--skip-existing').events.at(-1).converted, 1, 'made from a recording of another size');
  assert.equal(convert('--skip-existing').events.at(-1).skipped, count);
  assert.equal(convert('--overwrite', '--skip-existing').status, 2);
});

test('shards do every recording once, and a shard without any is no error', (t) => {
  const { set, out } = trial(t);
  const done = [1, 2, 3]
    .flatMap((i) => vortena(['convert', set, '-r', '-o', out, '--shard', `${i}/3`, '--json']).events)
    .filter(({ event }) => event === 'converted' || event === 'failed')
    .map(({ recording }) => recording);
  assert.equal(done.length, 40);
  assert.equal(new Set(done).size, 40);
  assert.equal(vortena(['convert', path.join(set, 'cut.bin'), '-o', out, '--shard', '2/2']).status, 0);
});

test('wrong usage and nothing found end with status 2 and one sentence', (t) => {
  const { folder, set } = trial(t);
  const empty = path.join(folder, 'empty');
  fs.mkdirSync(empty);
  for (const args of [
    ['convert', set],
    ['convert', empty, '-o', empty],
    ['convert', path.join(folder, 'nothing.bin'), '-o', empty],
    ['convert', set, '-o', empty, '--shard', '3/2'],
    ['convert', set, '-o', empty, '-j', '0'],
    ['convert', set, '-o', empty, '--to', 'xls'],
    ['chekc\x1b[2J', set],
    ['convert', path.join(folder, 'no\x1b[2Jthing.bin'), '-o', empty],
    ['config'],
    ['config', '--set', 'radio,1,12'],
    ['check', empty],
  ]) {
    const { status, stdout, stderr } = vortena(args);
    assert.deepEqual([status, stdout], [2, ''], args.join(' '));
    assert.match(stderr, /^(vortena|error): .+\n/, args.join(' '));
    assert.ok(!CONTROL.test(stderr), stderr);
  }
  assert.equal(vortena(['convert', path.join(folder, 'nothing.bin'), path.join(set, 'cut.bin'), '-o', empty]).status, 1);
  assert.deepEqual(listOf(empty), ['cut.csv']);
});

test('a terminal gets bars, and its cursor back', { skip: process.platform !== 'linux' }, (t) => {
  const { set, out } = trial(t);
  const command = [
    process.execPath,
    path.join(__dirname, '..', 'bin', 'vortena.js'),
    'convert',
    path.join(set, 'a'),
    '-o',
    out,
  ].join(' ');
  const { stdout, status } = spawnSync('script', ['-qec', command, '/dev/null'], { encoding: 'utf8' });
  assert.equal(status, 0, stdout);
  assert.match(stdout, /█{3,}.*% {2}\d+\/16, \S+ .B\/s/);
  assert.match(stdout, /16 recordings: 16 converted/);
  assert.ok(stdout.lastIndexOf('\x1b[?25h') > stdout.lastIndexOf('\x1b[?25l'));
});
