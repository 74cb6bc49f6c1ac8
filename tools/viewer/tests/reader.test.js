// The page that reads recordings itself, against the pages and CSVs of the native reader.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const http = require('node:http');
const { once } = require('node:events');
const { after, before, test } = require('node:test');
const { convert, synchronise } = require('vortena-reader/promises');
const { longUnit } = require('../../../tests/js/units.js');
const support = require('./support.js');

const { drop, openReader, readouts } = support;
let browser;
let recording;
let csv;
let notes;

before(async () => {
  browser = await support.startBrowser();
  recording = support.simulate('swing.bin', 60);
  await convert(recording, `${recording}.csv`);
  csv = fs.readFileSync(`${recording}.csv`);
  notes = `${support.folder}/notes.txt`;
  fs.writeFileSync(notes, 'no recording, though longer than a block. '.repeat(20));
});
after(() => browser?.close());

const shown = (tab, names) =>
  tab.waitForFunction(
    (list) => document.documentElement.dataset.whole && document.getElementById('name').textContent === list,
    names,
  );
const textOf = (tab, id) => tab.evaluate((name) => document.getElementById(name).textContent, id);
const trouble = async (tab) => {
  await tab.waitForFunction(() => document.querySelector('#trouble p') && !document.querySelector('dialog[open]'));
  return tab.locator('#trouble p').allTextContents();
};

async function saved(tab, name) {
  const [download] = await Promise.all([
    tab.waitForEvent('download'),
    tab.getByRole('button', { name: `Save ${name}`, exact: true }).click(),
  ]);
  assert.equal(download.suggestedFilename(), name);
  return fs.readFileSync(await download.path());
}

/** All that a page says at some zooms and cursors; pressure and quaternions are rounded in pages that hold their data. */
async function saidBy(tab) {
  const said = [await textOf(tab, 'facts'), await textOf(tab, 'quality')];
  for (const [from, to] of [
    [0, 59],
    [42, 42.4],
    [20, 31],
  ]) {
    await tab.evaluate((span) => globalThis.vortenaPage.setView(...span), [from, to]);
    const { 'Acceleration [g]': accel, 'Angular rate [°/s]': gyro } = await readouts(tab);
    said.push(await textOf(tab, 'view'), await textOf(tab, 'time'), accel, gyro);
  }
  return said;
}

const drawn = (tab) =>
  tab.evaluate(() =>
    globalThis.vortenaPage.charts.flatMap((chart) =>
      chart.drawn.flatMap(({ shapes }) =>
        (shapes.bars ?? shapes.points).flatMap(({ low, high, value }) => (low === undefined ? [value] : [low, high])),
      ),
    ),
  );

test('shows a dropped recording as its own page does, and saves the CSV of the native reader', async () => {
  const tab = await openReader(browser);
  await drop(tab, [recording]);
  await shown(tab, 'swing.bin');
  const page = await support.open(browser, support.makePage([recording]));
  assert.deepEqual(await saidBy(tab), await saidBy(page));
  const [curves, expected] = await Promise.all([drawn(tab), drawn(page)]);
  assert.ok(curves.length > 1000 && curves.length === expected.length);
  const worst = curves.reduce((most, value, i) => Math.max(most, Math.abs(value - expected[i])), 0);
  assert.ok(worst < 0.1, `${worst}`);

  assert.ok((await saved(tab, 'swing.csv')).equals(csv));
  assert.match(await textOf(tab, 'news'), /swing\.csv is saved/);
  assert.deepEqual([tab.faults, tab.requests.filter((url) => !/^(file|data|blob):/.test(url))], [[], []]);
  await Promise.all([tab, page].map((each) => each.context().close()));
});

test('writes straight into a file where the browser can, piece by piece, and drops it when it fails', async () => {
  const tab = await openReader(browser);
  await tab.evaluate(() => {
    globalThis.written = [];
    globalThis.calls = [];
    globalThis.showSaveFilePicker = async ({ suggestedName }) => ({
      createWritable: async () => ({
        write: async (piece) => {
          globalThis.calls.push('write');
          globalThis.written.push(new Uint8Array(piece));
          if (globalThis.full) throw new Error('The disk is full');
        },
        close: async () => globalThis.calls.push(`close ${suggestedName}`),
        abort: async () => globalThis.calls.push('abort'),
      }),
    });
  });
  await tab.setInputFiles('#files', recording);
  await shown(tab, 'swing.bin');
  await tab.getByRole('button', { name: 'Save swing.csv' }).click();
  await tab.waitForFunction(() => /is saved/.test(document.getElementById('news').textContent));
  const text = await tab.evaluate(async () => new Blob(globalThis.written).text());
  assert.equal(text, String(csv));
  assert.equal(await tab.evaluate(() => globalThis.calls.splice(0).at(-1)), 'close swing.csv');
  await tab.evaluate(() => {
    globalThis.full = true;
  });
  await tab.getByRole('button', { name: 'Save swing.csv' }).click();
  assert.match((await trouble(tab)).join(), /disk is full/);
  assert.deepEqual(await tab.evaluate(() => globalThis.calls), ['write', 'abort']);
  assert.deepEqual(tab.faults, []);
  await tab.context().close();
});

test('offers the CSV of what is too large to be shown', async () => {
  const tab = await openReader(browser);
  await tab.evaluate(() => {
    const { jobs } = globalThis.vortenaReader;
    const run = jobs.run.bind(jobs);
    const refused = Object.assign(new Error('swing.bin needs more memory'), { code: 'ERR_NO_MEMORY' });
    jobs.run = (job, ...rest) => (job === 'levels' ? Promise.reject(refused) : run(job, ...rest));
  });
  await drop(tab, [recording]);
  assert.match((await trouble(tab)).join(), /swing\.bin needs more memory.+terminal.+can be saved here/);
  assert.ok((await saved(tab, 'swing.csv')).equals(csv));
  assert.deepEqual(tab.faults, []);
  await tab.context().close();
});

test('brings a set onto one clock where it can, and says why where it cannot', async () => {
  const [hip, foot] = support.simulateWalk();
  const { outputs } = await synchronise([hip, foot], support.folder);
  const tab = await openReader(browser);
  await drop(tab, [hip, notes, foot]);
  await shown(tab, 'hip.bin, foot.bin');
  assert.match((await trouble(tab)).join('|'), /^notes\.txt is not a recording[^|]*$/);
  assert.match(await textOf(tab, 'facts'), /each from its own first sample/);
  await tab.getByLabel('on one clock').check();
  await tab.waitForFunction(() => /2 units on one clock/.test(document.getElementById('facts').textContent));
  const page = await support.open(browser, support.makePage([hip, foot], '--sync'));
  for (const id of ['facts', 'quality']) {
    assert.equal(await textOf(tab, id), await textOf(page, id));
  }
  for (const [k, name] of ['hip.csv', 'foot.csv'].entries()) {
    assert.ok((await saved(tab, name)).equals(fs.readFileSync(outputs[k])), name);
  }
  await drop(tab, [recording, hip]);
  await shown(tab, 'swing.bin, hip.bin');
  await tab.getByLabel('on one clock').click();
  assert.match((await trouble(tab)).join(), /cannot be synchronised/);
  assert.equal(await tab.getByLabel('on one clock').isChecked(), false);
  assert.match(await textOf(tab, 'facts'), /each from its own first sample/);
  assert.deepEqual(tab.faults, []);
  await Promise.all([tab, page].map((each) => each.context().close()));
});

test('computes other orientations and saves their CSV, and stays where there is no rest', async () => {
  const tab = await openReader(browser);
  const choice = tab.getByRole('combobox', { name: 'orientation' });
  const chosen = (title) => tab.waitForFunction((text) => document.body.textContent.includes(text), title);
  const uneven = longUnit(support.folder, 'uneven.bin', 100);
  const bytes = fs.readFileSync(uneven);
  bytes[bytes.indexOf(Buffer.from([201, 0, 100])) + 2] = 50; // Hz, for the filter too unlike the accelerometer's
  fs.writeFileSync(uneven, bytes);
  await drop(tab, [uneven]);
  await shown(tab, 'uneven.bin');
  assert.equal(await tab.locator('.chart').count(), 2);
  await choice.selectOption('smoothed');
  await chosen('Orientation, smoothed [°]');
  assert.deepEqual([await tab.locator('.chart').count(), await tab.locator('figure').count()], [3, 1]);
  await choice.selectOption('filter');
  assert.match((await trouble(tab)).join(), /No orientation can be computed by this method: filter/);

  const lying = longUnit(support.folder, 'lying.bin', 100, { offset: 20 });
  await convert(lying, `${lying}.csv`);
  const plain = fs.readFileSync(`${lying}.csv`);
  await drop(tab, [lying]);
  await shown(tab, 'lying.bin');
  for (const [method, title, options] of [
    ['rest', 'Orientation, offset at rest off [°]', { gyroscopeOffset: 'rest' }],
    ['smoothed', 'Orientation, smoothed [°]', { orientation: 'smoothed' }],
  ]) {
    await choice.selectOption(method);
    await chosen(title);
    await convert(lying, `${lying}.csv`, options);
    const expected = fs.readFileSync(`${lying}.csv`);
    assert.ok(!expected.equals(plain) && (await saved(tab, 'lying.csv')).equals(expected), method);
  }
  await tab.waitForFunction(() => /&o=smoothed$/.test(location.hash));
  const restless = support.simulate('restless.bin', 3);
  await drop(tab, [restless]);
  await shown(tab, 'restless.bin');
  await chosen('Orientation, smoothed [°]'); // what was chosen before
  await choice.selectOption('rest');
  assert.match((await trouble(tab)).join(), /restless\.bin gives no estimate of the gyroscope's offset/);
  assert.equal(await choice.inputValue(), 'smoothed');
  await choice.selectOption('filter');
  await chosen('Orientation [°]');
  assert.deepEqual(tab.faults, []);
  await tab.context().close();
});

test('stays usable after what is no recording, after cancelling, and after another recording', async () => {
  const tab = await openReader(browser);
  const empty = `${support.folder}/empty.bin`;
  fs.writeFileSync(empty, '');
  await drop(tab, [notes, empty]);
  const sentences = await trouble(tab);
  assert.match(sentences.join('|'), /^notes\.txt is not a recording: .+\|empty\.bin is not a recording: .+$/);
  await tab.setInputFiles('#files', support.simulate('long.bin', 7200));
  await tab.getByRole('button', { name: 'Cancel' }).click();
  assert.ok(await tab.getByRole('button', { name: 'Choose recordings' }).isVisible());
  assert.equal(await tab.locator('dialog[open]').count(), 0);
  await drop(tab, [recording]);
  await shown(tab, 'swing.bin');
  await drop(tab, [support.simulate('other.bin', 10)]);
  await shown(tab, 'other.bin');
  assert.deepEqual([await tab.locator('.chart').count(), await tab.evaluate(() => globalThis.vortenaPage.charts.length)], [6, 6]);
  await tab.keyboard.press('+'); // once, though two recordings were shown
  assert.equal(await tab.evaluate(() => globalThis.vortenaPage.history.length), 1);
  assert.deepEqual(tab.faults, []);
  await tab.context().close();
});

test('saves under a name only what has it', async () => {
  const tab = await openReader(browser);
  const file = support.simulate('gone.bin', 10);
  await tab.setInputFiles('#files', file);
  await shown(tab, 'gone.bin');
  fs.unlinkSync(file);
  await tab.getByRole('button', { name: 'Save gone.csv' }).click();
  assert.match((await trouble(tab)).join(), /gone\.bin cannot be read: EIO/);
  await tab.evaluate(() => {
    const output = { write: async () => {}, close: async () => {}, abort: async () => {} };
    globalThis.showSaveFilePicker = () =>
      new Promise((resolve) => {
        globalThis.pick = () => resolve({ createWritable: async () => output });
      });
  });
  await tab.getByRole('button', { name: 'Save gone.csv' }).click();
  await drop(tab, [recording]);
  await shown(tab, 'swing.bin');
  await tab.evaluate(() => globalThis.pick());
  assert.match((await trouble(tab)).join(), /gone\.csv is not saved/);
  assert.deepEqual(tab.faults, []);
  await tab.context().close();
});

test('lets nothing out, from its workers neither', async () => {
  const asked = [];
  const server = http.createServer(({ url }, response) => response.end(String(asked.push(url)))).listen(0, '127.0.0.1');
  await once(server, 'listening');
  const tab = await openReader(browser, { offline: false });
  const address = `http://127.0.0.1:${server.address().port}/`;
  const script = `const tell = (text) => () => postMessage(text);
    fetch('${address}worker', { mode: 'no-cors' }).then(tell('reached'), tell('refused'));`;
  const answers = await tab.evaluate(
    async ([url, text]) => {
      const worker = new Worker(URL.createObjectURL(new Blob([text])));
      const told = new Promise((resolve) => worker.addEventListener('message', ({ data }) => resolve(data)));
      const image = new Image();
      image.src = `${url}image`;
      const shownImage = image.decode().then(
        () => 'reached',
        () => 'refused',
      );
      const fetched = fetch(`${url}page`, { mode: 'no-cors' }).then(
        () => 'reached',
        () => 'refused',
      );
      return Promise.all([told, shownImage, fetched]);
    },
    [address, script],
  );
  assert.deepEqual([answers, asked], [['refused', 'refused', 'refused'], []]);
  server.close();
  await tab.context().close();
});

test('vortena view without a recording leads to it', () => {
  const view = (...args) => spawnSync(process.execPath, [support.vortena, 'view', ...args], { encoding: 'utf8' });
  const { status, stdout } = view();
  assert.ok(status === 0 && /<!doctype html>/.test(fs.readFileSync(stdout.trim(), 'utf8')));
  assert.equal(view('--serve').status, 2);
});
