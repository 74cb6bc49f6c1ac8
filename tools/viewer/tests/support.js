// What the viewer's tests share: simulated recordings, their pages, and a browser without a network.
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { pathToFileURL } = require('node:url');
const { chromium } = require('playwright-core');

const root = path.join(__dirname, '..', '..', '..');
const simulators = process.env.VORTENA_SIMULATORS ?? path.join(root, 'build', 'preset', 'release', 'simulator');
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vortena-viewer-'));
process.on('exit', () => fs.rmSync(folder, { recursive: true, force: true }));

const inFolder = (name) => path.join(folder, name);
const vortena = path.join(root, 'tools', 'bin', 'vortena.js');

function run(program, ...args) {
  return execFileSync(program, args.map(String), { encoding: 'utf8' });
}

function simulate(name, seconds, rate = 200) {
  run(path.join(simulators, 'simulate'), inFolder(name), seconds, rate);
  return inFolder(name);
}

/** A hip's and a foot's. */
function simulateWalk() {
  run(path.join(simulators, 'simulate_walk'), folder);
  return [inFolder('hip.bin'), inFolder('foot.bin')];
}

function makePage(recordings, ...options) {
  const page = `${recordings[0]}.html`;
  run(process.execPath, vortena, 'view', ...recordings, '-o', page, ...options);
  return pathToFileURL(page).href;
}

/** Columns by name, "Accel X", of a CSV of this reader; one row for each sample of the fastest channel. */
function readCsv(file) {
  const lines = fs
    .readFileSync(file, 'utf8')
    .trimEnd()
    .split('\n')
    .map((line) => line.split(','));
  const head = lines.findIndex(([first]) => first === 'Time');
  const rows = lines.slice(head + 2).map((cells) => cells.map((cell) => (cell === '' ? NaN : Number(cell))));
  return { rows: rows.length, column: (name) => rows.map((row) => row[lines[head].indexOf(name)]) };
}

const ARGUMENTS = [
  '--no-sandbox',
  '--headless',
  '--disable-gpu',
  '--disable-quic',
  '--no-first-run',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-sync',
];

/** Notes what is written on canvases, each from its last clearing on. */
function noteLabels() {
  const prototype = CanvasRenderingContext2D.prototype;
  const { clearRect, fillText } = prototype;
  const written = new Map();
  prototype.clearRect = function (...area) {
    written.set(this.canvas, []);
    clearRect.apply(this, area);
  };
  prototype.fillText = function (text, x, y) {
    written.get(this.canvas)?.push({ text, x, y });
    fillText.call(this, text, x, y);
  };
  globalThis.writtenOn = (canvas) => written.get(canvas);
}

/** For a tab that notes labels: charts whose value axis does not say what belongs there, each with what it says. */
const wrongLabels = (tab) =>
  tab.evaluate(async () => {
    await new Promise((resolve) => setTimeout(resolve)); // plots draw after the code that asks for it
    return globalThis.vortenaPage.charts.flatMap((chart) => {
      const { ctx, bbox } = chart.plot;
      chart.compute();
      const placed = (text, y) => `${text} at ${Math.round(y)}`;
      const shown = globalThis
        .writtenOn(ctx.canvas)
        .filter(({ x }) => x < bbox.left)
        .map(({ text, y }) => placed(text, y));
      const wanted = chart.valueTicks.map(({ at, text }) => placed(text, bbox.top + (1 - at) * bbox.height));
      return shown.length > 1 && shown.join() === wanted.join() ? [] : [`${chart.title}: ${shown}, not ${wanted}`];
    });
  });

async function startBrowser() {
  return chromium.launch({ executablePath: process.env.CHROMIUM ?? '/usr/bin/chromium', args: ARGUMENTS });
}

/** A tab that notes whatever goes wrong in it, and whatever it asks the network for. `script` runs before the page's own. */
async function open(browser, address, { offline = true, ready = 'html[data-whole]', script } = {}) {
  const context = await browser.newContext({ viewport: { width: 1200, height: 900 }, offline });
  const tab = await context.newPage();
  tab.faults = [];
  tab.requests = [];
  tab.on('console', (message) => tab.faults.push(message.text()));
  tab.on('pageerror', (error) => tab.faults.push(error.stack));
  tab.on('request', (request) => tab.requests.push(request.url()));
  if (script) {
    await tab.addInitScript(script);
  }
  await tab.goto(address);
  await tab.waitForSelector(ready);
  return tab;
}

/** The page that reads recordings itself. Browsers under control have nobody who answers a dialog of theirs. */
async function openReader(browser, options) {
  const address = pathToFileURL(path.join(root, 'tools', 'viewer', 'reader.html')).href;
  const tab = await open(browser, address, { ready: 'html[data-waiting]', ...options });
  await tab.evaluate(() => {
    globalThis.showSaveFilePicker = undefined;
  });
  return tab;
}

/** Drops files on the page, as from a file manager. */
async function drop(tab, files) {
  const dropped = files.map((file) => ({ name: path.basename(file), base64: fs.readFileSync(file, 'base64') }));
  await tab.evaluate((list) => {
    const dataTransfer = new DataTransfer();
    for (const { name, base64 } of list) {
      dataTransfer.items.add(new File([Uint8Array.from(atob(base64), (c) => c.charCodeAt(0))], name));
    }
    for (const type of ['dragover', 'drop']) {
      document.body.dispatchEvent(new DragEvent(type, { dataTransfer, bubbles: true, cancelable: true }));
    }
  }, dropped);
}

/** Numbers as the page writes them; bounds as two. */
const numbersOf = (text) => text.split('…').map((part) => Number(part.replace('−', '-').replace(/\s/g, '') || NaN));

/** By chart and curve, what stands at the cursor. */
const readouts = (tab) =>
  tab.evaluate(() =>
    Object.fromEntries(
      [...document.querySelectorAll('.chart')].map((chart) => [
        chart.querySelector('h2').textContent,
        Object.fromEntries(
          [...chart.querySelectorAll('.curve')].map((curve) => [
            curve.querySelector('span:nth-child(2)').textContent,
            curve.querySelector('output').textContent,
          ]),
        ),
      ]),
    ),
  );

const view = (tab) => tab.evaluate(() => globalThis.vortenaPage.view);

module.exports = {
  drop,
  folder,
  makePage,
  noteLabels,
  numbersOf,
  open,
  openReader,
  readCsv,
  readouts,
  run,
  simulate,
  simulateWalk,
  startBrowser,
  view,
  vortena,
  wrongLabels,
};
