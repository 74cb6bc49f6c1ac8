// The page's own server: who gets an answer, and what.
'use strict';

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const { once } = require('node:events');
const http = require('node:http');
const { after, before, test } = require('node:test');
const { readSamples } = require('vortena-reader/promises');
const support = require('./support.js');
const { unpackSamples } = require('../page/packing.js');

let server;
let address;
let recording;

before(async () => {
  recording = support.simulate('served.bin', 600);
  server = spawn(process.execPath, [support.vortena, 'view', recording, '--serve'], { stdio: ['ignore', 'pipe', 'ignore'] });
  const [line] = await once(server.stdout, 'data');
  address = new URL(String(line).trim());
});
after(() => server?.kill('SIGKILL'));

/** { status, body, headers } */
async function get(path, headers = {}, method = 'GET') {
  const request = http.request({ host: address.hostname, port: address.port, path, headers, method });
  request.end();
  const [response] = await once(request, 'response');
  const chunks = [];
  for await (const chunk of response) {
    chunks.push(chunk);
  }
  return { status: response.statusCode, body: Buffer.concat(chunks), headers: response.headers };
}

test('answers those who know its address, and under its own name only', async () => {
  assert.equal(address.hostname, '127.0.0.1');
  const page = await get(address.pathname);
  assert.equal(page.status, 200);
  assert.match(String(page.body), /^<!doctype html>/);
  const refused = [
    ['/', {}, 404],
    ['/samples?unit=0&key=1&from=0&to=1', {}, 404],
    [`/${'x'.repeat(24)}/`, {}, 404],
    [`${address.pathname.slice(0, -2)}/`, {}, 404],
    [`${address.pathname}../../etc/passwd`, {}, 404],
    [`${address.pathname}%00`, {}, 404],
    [`${address.pathname}samples?unit=9&key=1&from=0&to=1`, {}, 404],
    [address.pathname, { host: 'example.org' }, 403],
    [address.pathname, { host: `example.org:${address.port}` }, 403],
    ['//%', {}, 400],
  ];
  for (const [path, headers, status] of refused) {
    const { status: answered, body } = await get(path, headers);
    assert.equal(answered, status, `${path} ${JSON.stringify(headers)}`);
    assert.ok(body.length < 50);
  }
  assert.equal((await get(address.pathname, {}, 'POST')).status, 405);
});

test('gives samples as they were recorded', async () => {
  const { channels } = await readSamples(recording, { orientation: false });
  for (const [key, { time, x, z }] of [
    [1, channels.accel],
    [2, channels.gyro],
  ]) {
    const { body, headers } = await get(`${address.pathname}samples?unit=0&key=${key}&from=100.001&to=101.001`);
    const samples = unpackSamples(JSON.parse(headers['x-samples']), new Uint8Array(body));
    assert.ok(samples.time.length >= 200 && samples.time.length < 210);
    samples.time.forEach((at, i) => {
      const row = Math.round(at * 200);
      assert.ok(
        Math.abs(time[row] - at) < 1e-9 &&
          Math.abs(samples.axes[0][i] - x[row]) < 1e-9 &&
          Math.abs(samples.axes[2][i] - z[row]) < 1e-9,
      );
    });
  }
});

test('gives the samples of both orientations', async () => {
  for (const method of ['filter', 'smoothed']) {
    const { w } = (await readSamples(recording, { orientation: method })).channels.quaternion;
    const { body, headers } = await get(`${address.pathname}samples?unit=0&key=10&method=${method}&from=0&to=20`);
    const samples = unpackSamples(JSON.parse(headers['x-samples']), new Uint8Array(body));
    assert.equal(Number.isNaN(samples.axes[0][0]), method === 'filter');
    assert.ok(Math.abs(samples.axes[0][3500] - w[3500]) < 1e-4, method);
  }
  assert.equal((await get(`${address.pathname}samples?unit=0&key=10&method=rest&from=0&to=20`)).status, 404);
});

test('brings every sample into the page as it is zoomed, and ends with Ctrl-C', async () => {
  const browser = await support.startBrowser();
  try {
    const tab = await support.open(browser, address.href, { offline: false, script: support.noteLabels });
    await tab.evaluate(() => globalThis.vortenaPage.setView(300, 302));
    await tab.waitForFunction(() => /every sample is drawn/.test(document.getElementById('view').textContent));
    assert.equal(await tab.evaluate(() => globalThis.vortenaPage.charts[0].drawn[0].shapes.points.length), 402);
    assert.deepEqual(await support.wrongLabels(tab), []);
    assert.deepEqual(tab.faults, []);
    assert.deepEqual(
      tab.requests.filter((url) => !url.startsWith(address.href) && !url.startsWith('data:')),
      [],
    );
  } finally {
    await browser.close();
  }
  server.kill('SIGINT');
  const [status] = await once(server, 'exit');
  assert.equal(status, 0);
  await assert.rejects(get(address.pathname));
});
