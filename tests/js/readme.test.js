'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const test = require('node:test');
const { packagePath, scratchFolder } = require('./support.js');
const { unit } = require('./units.js');

const root = path.join(__dirname, '..', '..');
const textOf = (page) => fs.readFileSync(path.join(root, page), 'utf8');
const examplesOf = (page) => [...textOf(page).matchAll(/^```js\n(.*?)^```$/gms)].map((match) => match[1]);

/** A folder of recordings in which the package can be required. */
function folderOfUser(t) {
  const folder = scratchFolder(t);
  fs.mkdirSync(path.join(folder, 'node_modules'));
  fs.symlinkSync(path.resolve(packagePath), path.join(folder, 'node_modules', 'vortena-reader'));
  unit(folder, 'recording.bin', {});
  unit(folder, 'hip.bin', { time: { role: 0 } });
  unit(folder, 'foot.bin', { time: { role: 1, ahead: 0 } });
  return folder;
}

/** What each example of a page prints; all must end well. */
function outputsOf(page, folder) {
  return examplesOf(page).map((example) => {
    const { status, stdout, stderr } = spawnSync(process.execPath, ['-e', example], { cwd: folder, encoding: 'utf8' });
    assert.equal(status, 0, `${example}\n${stderr}`);
    return stdout;
  });
}

const filesIn = (folder, names) => names.filter((name) => fs.existsSync(path.join(folder, name)));

test('the examples of the README run as they stand', (t) => {
  const folder = folderOfUser(t);
  const outputs = outputsOf('README.md', folder);
  assert.equal(outputs.length, 2);
  assert.match(outputs[0], /^1000 rows, verdict: ok$/m);
  assert.match(outputs[1], /^Float64Array\(1000\) /);
  assert.deepEqual(filesIn(folder, ['recording.csv']), ['recording.csv']);
});

test('the examples of the page on the five methods run as they stand', (t) => {
  const folder = folderOfUser(t);
  assert.equal(outputsOf('docs/methods.md', folder).length, 4);
  const made = ['recording.csv', 'config.bin', 'synchronised/foot.csv', 'synchronised/hip.csv'];
  assert.deepEqual(filesIn(folder, made), made);
});

test('the examples of the page on promises run as they stand', (t) => {
  const folder = folderOfUser(t);
  fs.copyFileSync(path.join(folder, 'recording.bin'), path.join(folder, 'walk.bin'));
  fs.mkdirSync(path.join(folder, 'synchronised'), { recursive: true });
  const outputs = outputsOf('docs/promises.md', folder);
  assert.equal(outputs.length, 10);
  assert.match(outputs[2], /^1000 samples at 100 Hz, up to [\d.]+ g, device/m);
  assert.match(outputs[6], /^1000 attitudes[^]*offset about x -?[\d.]+ deg\/s/);
  assert.match(outputs[8], /^no such file: missing\.bin$/m);
  assert.match(outputs[9], /^[\w-]+ \/.* [\w-]+ \/.*$/m);
  const made = ['walk.csv', 'corrected.csv', 'header.bin'];
  assert.deepEqual(filesIn(folder, made), made);
});

test('the function to copy notices every recording that is not read whole', (t) => {
  const folder = folderOfUser(t);
  const whole = fs.readFileSync(path.join(folder, 'recording.bin'));
  fs.writeFileSync(path.join(folder, 'cut.bin'), whole.subarray(0, 500));
  fs.writeFileSync(path.join(folder, 'empty.bin'), whole.subarray(0, 512));
  const run = (recording, csv, limits = []) => {
    const example = examplesOf('docs/methods.md')[0].replace(
      "'recording.bin', 'recording.csv'",
      JSON.stringify([recording, csv]).slice(1, -1),
    );
    const command = [...limits, process.execPath, '-e', example];
    return /^Error: (.*)$/m.exec(spawnSync(command[0], command.slice(1), { cwd: folder, encoding: 'utf8' }).stderr)?.[1];
  };
  assert.equal(run('recordinq.bin', 'out.csv'), 'recordinq.bin cannot be read, or is no recording');
  assert.equal(run('recording.bin', 'no-folder/out.csv'), 'no-folder/out.csv cannot be created');
  assert.equal(run('cut.bin', 'out.csv'), 'cut.bin holds no samples');
  assert.equal(run('empty.bin', 'out.csv'), 'empty.bin holds no samples');
  assert.equal(run('recording.bin', 'out.csv', ['prlimit', '--fsize=20000']), 'out.csv is incomplete; is the disk full?');
  assert.equal(run('recording.bin', 'out.csv'), undefined);
});

test('the README leads nowhere that is not in the package', () => {
  const { files } = require('../../package.json');
  const links = [...textOf('README.md').matchAll(/\]\(([^)#]+)/g)].map((match) => match[1]);
  assert.ok(links.length > 10);
  assert.deepEqual(
    links.filter((link) => !files.some((packed) => link.startsWith(packed))),
    [],
  );
});
