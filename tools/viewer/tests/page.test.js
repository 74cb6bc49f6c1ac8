// Pages in a real browser, against the CSV of the same recordings.
'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const { after, before, test } = require('node:test');
const { fileURLToPath } = require('node:url');
const { convert, readSamples, synchronise } = require('vortena-reader/promises');
const support = require('./support.js');

const { numbersOf, open, readCsv, readouts, view } = support;
const RATE = 200;
const given = process.env.VORTENA_RECORDINGS?.split(':') ?? []; // real ones, where there are some
let browser;
let recording;
let page;
let csv;

before(async () => {
  browser = await support.startBrowser();
  recording = support.simulate('swing.bin', 60);
  page = support.makePage([recording]);
  await convert(recording, `${recording}.csv`);
  csv = readCsv(`${recording}.csv`);
});
after(() => browser?.close());

const COLUMNS = {
  'Acceleration [g]': { X: 'Accel X', Y: 'Accel Y', Z: 'Accel Z' },
  'Angular rate [°/s]': { X: 'Gyro X', Y: 'Gyro Y', Z: 'Gyro Z' },
};
const DECIMALS = { 'Acceleration [g]': 3, 'Angular rate [°/s]': 2 };

/** What is shown of row `row`, to the digits that are shown. */
function assertValues(shown, table, row, prefix = '') {
  for (const [title, curves] of Object.entries(COLUMNS)) {
    for (const [curve, column] of Object.entries(curves)) {
      const [value, other] = numbersOf(shown[prefix + title][curve]);
      const error = Math.abs(value - table.column(column)[row]);
      assert.ok(
        error <= 0.5 * 10 ** -DECIMALS[title] + 1e-5 && other === undefined,
        `${prefix}${title} ${curve}, row ${row}: ${value}`,
      );
    }
  }
}

/** The directions of body x, y and z in the earth frame, from the angles by the three turns and from the quaternion. */
function attitudes([roll, pitch, heading], [w, x, y, z]) {
  const [r, p, h] = [roll, pitch, heading].map((angle) => (angle * Math.PI) / 180);
  const turned = [
    [
      Math.cos(h) * Math.cos(p),
      Math.cos(h) * Math.sin(p) * Math.sin(r) - Math.sin(h) * Math.cos(r),
      Math.cos(h) * Math.sin(p) * Math.cos(r) + Math.sin(h) * Math.sin(r),
    ],
    [
      Math.sin(h) * Math.cos(p),
      Math.sin(h) * Math.sin(p) * Math.sin(r) + Math.cos(h) * Math.cos(r),
      Math.sin(h) * Math.sin(p) * Math.cos(r) - Math.cos(h) * Math.sin(r),
    ],
    [-Math.sin(p), Math.cos(p) * Math.sin(r), Math.cos(p) * Math.cos(r)],
  ];
  const rotated = [
    [1 - 2 * (y * y + z * z), 2 * (x * y - w * z), 2 * (x * z + w * y)],
    [2 * (x * y + w * z), 1 - 2 * (x * x + z * z), 2 * (y * z - w * x)],
    [2 * (x * z - w * y), 2 * (y * z + w * x), 1 - 2 * (x * x + y * y)],
  ];
  return Math.max(...turned.flat().map((value, i) => Math.abs(value - rotated.flat()[i])));
}

const setCursor = (tab, time) => tab.evaluate((at) => globalThis.vortenaPage.setCursor(at), time);

/** Pixels of each shown curve's colour, by chart. */
const drawnPixels = (tab) =>
  tab.evaluate(() =>
    globalThis.vortenaPage.charts.map((chart) => {
      const { canvas } = chart.plot.ctx;
      const copy = new OffscreenCanvas(canvas.width, canvas.height).getContext('2d', { willReadFrequently: true });
      copy.drawImage(canvas, 0, 0);
      const { data } = copy.getImageData(0, 0, canvas.width, canvas.height);
      return chart.drawn.map(({ curve }) => {
        const hex = globalThis.vortenaPage.colour(curve.colour);
        const wanted = [1, 3, 5].map((at) => parseInt(hex.slice(at, at + 2), 16));
        let count = 0;
        for (let i = 0; i < data.length; i += 4) {
          // Half transparent on white: each part between the colour and white by the same share.
          const share = wanted.map((part, k) => (255 - data[i + k]) / Math.max(1, 255 - part));
          count += share[0] > 0.6 && Math.max(...share) - Math.min(...share) < 0.12 ? 1 : 0;
        }
        return count;
      });
    }),
  );

test('draws all curves without a word on the console and without the network', async () => {
  const pages = [
    page,
    ...given.map((file) => {
      const copy = `${support.folder}/${file.split('/').at(-1)}`;
      fs.copyFileSync(file, copy);
      return support.makePage([copy]);
    }),
  ];
  for (const address of pages) {
    const tab = await open(browser, address);
    const counts = await drawnPixels(tab);
    assert.ok(counts.length >= 3 && counts.flat().every((count) => count > 300), JSON.stringify(counts));
    for (const [width, scheme, medium] of [
      [500, 'dark', 'screen'],
      [1000, 'light', 'print'],
    ]) {
      await tab.setViewportSize({ width, height: 800 });
      await tab.emulateMedia({ colorScheme: scheme, media: medium });
    }
    assert.deepEqual(tab.faults, []);
    assert.deepEqual(
      tab.requests.filter((url) => !/^(file|data|blob):/.test(url)),
      [],
    );
    await tab.context().close();
  }
});

test('shows at the cursor what the CSV holds, and the attitude of its quaternion', async () => {
  const tab = await open(browser, page);
  for (let row = 1104; row < csv.rows - 1; row += 992) {
    // the barometer, too, has a sample there
    await setCursor(tab, row / RATE);
    const shown = await readouts(tab);
    assertValues(shown, csv, row);
    assert.ok(Math.abs(numbersOf(shown['Pressure [mbar]'].pressure)[0] - csv.column('Pressure')[row]) < 0.006);
    assert.ok(Math.abs(numbersOf(shown['Temperature [°C]'].temperature)[0] - csv.column('Temperature')[row]) < 0.056);
    const angles = await tab.evaluate(() => document.querySelector('canvas[role=img]').dataset.angles.split(' ').map(Number));
    assert.ok(
      attitudes(
        angles,
        ['W', 'X', 'Y', 'Z'].map((axis) => csv.column(`Quat ${axis}`)[row]),
      ) < 5e-4,
    );
  }
  for (const row of [0, 3, csv.rows - 1]) {
    assert.equal(csv.column('Quat W')[row], 0);
    await setCursor(tab, row / RATE);
    assert.equal(await tab.locator('figcaption').textContent(), 'no orientation here', `row ${row}`);
    assert.deepEqual((await readouts(tab))['Orientation [°]'], { roll: '', pitch: '', heading: '' });
  }
  const over = await tab.locator('.u-over').nth(1).boundingBox();
  await tab.mouse.move(over.x + over.width * 0.31, over.y + 20);
  const time = await tab.locator('#time').textContent();
  const [, minutes, seconds] = /^0:(\d\d):(\d\d\.\d{3}) · 2024-05-17 09:05:18\.\d\d/.exec(time);
  assert.ok(Math.abs(Number(minutes) * 60 + Number(seconds) - 0.31 * 60) < 0.2, time);
  assertValues(await readouts(tab), csv, Math.floor((Number(minutes) * 60 + Number(seconds)) * RATE + 1e-6));
  await tab.context().close();
});

/** Lowest and highest of what the first two charts draw between two times. */
const drawnBounds = (tab, from, to) =>
  tab.evaluate(
    (span) => {
      globalThis.vortenaPage.setView(...span);
      return globalThis.vortenaPage.charts.slice(0, 2).flatMap(({ drawn, resolution }) =>
        drawn.map((each) => {
          const values = (each.shapes.bars ?? each.shapes.points).flatMap(({ low, high, value }) =>
            low === undefined ? [value] : [low, high],
          );
          return { low: values.reduce((a, b) => Math.min(a, b)), high: values.reduce((a, b) => Math.max(a, b)), resolution };
        }),
      );
    },
    [from, to],
  );

/** No sample within lies outside of what is drawn, and nothing is drawn that no sample near by reaches. */
function assertBounds({ low, high, resolution }, values, from, to) {
  const within = (more) => values.slice(Math.max(0, Math.ceil((from - more) * RATE)), Math.floor((to + more) * RATE) + 1);
  const [inside, near, all] = [within(0), within(2 * resolution + 2 / RATE), values].map((some) => [
    some.reduce((a, b) => Math.min(a, b)),
    some.reduce((a, b) => Math.max(a, b)),
  ]);
  const slack = (all[1] - all[0]) / 60000 + 1e-5;
  assert.ok(high >= inside[1] - slack && high <= near[1] + slack, `${from} to ${to}: ${high}, not ${inside[1]} to ${near[1]}`);
  assert.ok(low <= inside[0] + slack && low >= near[0] - slack, `${from} to ${to}: ${low}, not ${near[0]} to ${inside[0]}`);
}

test('loses no spike at any zoom, with all samples in the page or with levels alone', async () => {
  const tab = await open(browser, page);
  for (const [from, to] of [
    [0, 60],
    [3, 50],
    [10, 31.7],
    [20, 26],
    [33.3, 35],
    [40, 40.2],
  ]) {
    const bounds = await drawnBounds(tab, from, to);
    Object.values(COLUMNS)
      .flatMap(Object.values)
      .forEach((column, k) => assertBounds(bounds[k], csv.column(column), from, to));
  }
  assert.match(await tab.locator('#view').textContent(), /every sample is drawn/);
  await tab.context().close();

  const hours = support.simulate('hours.bin', 5400);
  const { channels } = await readSamples(hours, { orientation: false });
  const curves = [channels.accel, channels.gyro].flatMap(({ x, y, z }) => [x, y, z]);
  const address = support.makePage([hours]);
  assert.ok(fs.statSync(fileURLToPath(address)).size <= 8e6);
  const long = await open(browser, address);
  for (const [from, to] of [
    [0, 5399.995],
    [700, 2300],
    [1000, 1090],
    [3000, 3007],
    [4000, 4000.4],
  ]) {
    const bounds = await drawnBounds(long, from, to);
    curves.forEach((values, k) => assertBounds(bounds[k], values, from, to));
    assert.ok(
      bounds.every(({ resolution }) => resolution <= Math.max(0.17, (to - from) / 500)),
      `${from} to ${to}: ${bounds[0].resolution} s`,
    );
  }
  assert.match(await long.locator('#view').textContent(), /no finer level/);
  await long.context().close();
});

test('zooms by mouse, wheel, keys and buttons, all charts once, and keeps the view in its address', async () => {
  const tab = await open(browser, page);
  const over = await tab.locator('.u-over').nth(2).boundingBox();
  const at = (share) => [over.x + over.width * share, over.y + over.height / 2];
  await tab.mouse.move(...at(0.25));
  await tab.mouse.down();
  await tab.mouse.move(...at(0.4), { steps: 4 });
  await tab.mouse.move(...at(0.5), { steps: 4 });
  await tab.mouse.up();
  const near = async (from, to) => {
    const shown = await view(tab);
    assert.ok(
      Math.abs(shown.from - from) < 0.2 && Math.abs(shown.to - to) < 0.2,
      `${JSON.stringify(shown)}, not ${from} to ${to}`,
    );
  };
  await near(15, 30);
  assert.equal(
    await tab
      .locator('.u-select')
      .nth(2)
      .evaluate(({ clientWidth }) => clientWidth),
    0,
  );
  assert.equal(await tab.evaluate(() => globalThis.vortenaPage.history.length), 1);
  assert.equal(
    new Set(
      await tab.evaluate(() => globalThis.vortenaPage.charts.map(({ plot }) => `${plot.scales.x.min} ${plot.scales.x.max}`)),
    ).size,
    1,
  );
  await tab.keyboard.press('ArrowRight');
  await near(18, 33);
  await setCursor(tab, 25.5);
  await tab.keyboard.press('+');
  await near(21.75, 29.25);
  await tab.keyboard.press('-');
  await near(18, 33);
  await tab.waitForFunction(() => /^#t=1[78][.\d]*-3[23]/.test(location.hash));
  await tab.reload();
  await tab.waitForSelector('html[data-whole]');
  await near(18, 33);
  await tab.mouse.move(...at(0.5));
  await tab.keyboard.down('Control');
  await tab.mouse.wheel(0, -120);
  await tab.keyboard.up('Control');
  const shown = await view(tab);
  assert.ok(shown.to - shown.from < 12 && Math.abs((shown.from + shown.to) / 2 - 25.5) < 0.2);
  await tab.mouse.dblclick(...at(0.3));
  await near(0, 60);
  await tab.locator('#zoom-in').press('Enter');
  await tab.locator('#back').click();
  await near(0, 60);
  await tab.keyboard.press('+');
  await tab.keyboard.press('Home');
  await near(0, 60);
  await tab.context().close();
});

/** Roll, pitch and heading are those of the quaternion in row `row`, or there are none. */
async function assertAttitude(tab, { w, x, y, z }, row) {
  await setCursor(tab, row / RATE + 1e-4);
  const angles = await tab.evaluate(() => document.querySelector('canvas[role=img]').dataset.angles);
  const q = [w[row], x[row], y[row], z[row]];
  assert.equal(angles !== '', q.some(Boolean), `row ${row}`);
  assert.ok(!angles || attitudes(angles.split(' ').map(Number), q) < 5e-4, `row ${row}: ${angles}`);
}

test('switches the orientation without a server, and keeps the choice in its address', async () => {
  const quaternions = async (options) => (await readSamples(recording, options)).channels.quaternion;
  const [filter, smoothed] = await Promise.all([quaternions({}), quaternions({ orientation: 'smoothed' })]);
  const tab = await open(browser, page);
  const choice = tab.getByRole('combobox', { name: 'orientation' });
  const assertShown = async (quaternion, title) => {
    for (const row of [0, 4000, 9000]) {
      await assertAttitude(tab, quaternion, row);
    }
    assert.ok((await readouts(tab))[title], title);
    assert.deepEqual(await drawnBounds(tab, 0, 60), rates);
  };
  const rates = await drawnBounds(tab, 0, 60);
  await tab.getByRole('button', { name: 'heading' }).click();
  await assertShown(filter, 'Orientation [°]');
  await choice.selectOption('smoothed');
  await assertShown(smoothed, 'Orientation, smoothed [°]');
  assert.equal(await tab.getByRole('button', { name: 'heading' }).getAttribute('aria-pressed'), 'false');
  await tab.waitForFunction(() => /&o=smoothed$/.test(location.hash));
  await tab.reload();
  await tab.waitForSelector('html[data-whole]');
  await assertShown(smoothed, 'Orientation, smoothed [°]');
  await choice.selectOption('filter');
  await assertShown(filter, 'Orientation [°]');
  await tab.context().close();

  for (const [options, orientation, rate] of [
    ['--orientation=smoothed', 'Orientation, smoothed [°]', 'Angular rate [°/s]'],
    ['--offset=rest', 'Orientation, offset at rest off [°]', 'Angular rate, offset at rest off [°/s]'],
  ]) {
    const first = await open(browser, support.makePage([recording], options));
    const titles = Object.keys(await readouts(first));
    assert.ok(titles.includes(orientation) && titles.includes(rate), titles.join());
    await first.context().close();
  }
  support.makePage([recording]);
});

test('labels the value axes by what is drawn, whatever it was drawn for', async () => {
  const tab = await open(browser, `${page}#t=18.02-18.31&c=18.2`, { script: support.noteLabels });
  const steps = {
    opened: () => {},
    reloaded: async () => {
      await tab.reload();
      await tab.waitForSelector('html[data-whole]');
    },
    zoomed: () => tab.evaluate(() => globalThis.vortenaPage.setView(40, 41)),
    'by another address': () =>
      tab.evaluate(() => {
        location.hash = '#t=12-12.2';
        return new Promise((resolve) => addEventListener('hashchange', resolve, { once: true }));
      }),
    'in lanes': () => tab.getByLabel('each curve in a lane').check(),
    'with a curve less': () => tab.locator('.chart').nth(1).getByRole('button', { name: 'Y' }).click(),
    'of another size': () => tab.setViewportSize({ width: 700, height: 1300 }),
    'without lanes': () => tab.getByLabel('each curve in a lane').uncheck(),
  };
  for (const [name, step] of Object.entries(steps)) {
    await step();
    assert.deepEqual(await support.wrongLabels(tab), [], name);
  }
  await tab.context().close();
});

/** Where the parts of the page stand that what is said must not move. */
const places = (tab) =>
  tab.evaluate(() =>
    [...document.querySelectorAll('#tools, .plot, .curve, #words')].map((part) => {
      const { left, top, right } = part.getBoundingClientRect();
      return [left, top, right];
    }),
  );
const furthest = (before, now) => Math.max(...before.flatMap((place, i) => place.map((edge, k) => Math.abs(edge - now[i][k]))));

test('says what is longer or shorter without moving anything', async () => {
  const address = support.makePage([support.simulate('long.bin', 5400)]); // with bounds at the cursor
  for (const [width, height] of [
    [1400, 900],
    [1000, 700],
    [800, 900],
    [500, 800],
  ]) {
    for (const each of [page, address]) {
      const tab = await open(browser, each);
      await tab.setViewportSize({ width, height });
      const before = await places(tab);
      for (const [from, to, cursor] of [
        [0, 0.05, 0],
        [10, 31, 20],
        [30.1, 30.2, 30.15],
        [0, 6000, 59],
      ]) {
        await tab.evaluate(([a, b]) => globalThis.vortenaPage.setView(a, b), [from, to]);
        await setCursor(tab, cursor);
        const moved = furthest(before, await places(tab));
        assert.ok(moved < 0.5, `${width} pixels wide, ${from} to ${to}, cursor at ${cursor}: ${moved} pixels`);
      }
      await tab.locator('#play').click();
      assert.ok(furthest(before, await places(tab)) < 0.5, `${width} pixels wide, playing`);
      await tab.context().close();
    }
  }
});

const scrolled = (tab) => tab.evaluate(() => Math.round(scrollY));

test('leaves the bare wheel to the page, and keeps the attitude in view', async () => {
  for (const [width, height] of [
    [1400, 500],
    [800, 900],
    [700, 450], // twice as large as usual
  ]) {
    const tab = await open(browser, `${page}#t=10-20`);
    await tab.setViewportSize({ width, height });
    const over = await tab.locator('.u-over').first().boundingBox();
    await tab.mouse.move(over.x + over.width / 2, over.y + 20);
    await tab.mouse.wheel(0, 250);
    await tab.waitForFunction(() => scrollY === 250);
    assert.deepEqual(await view(tab), { from: 10, to: 20 });
    assert.match(await tab.locator('#hint').textContent(), /Ctrl|⌘/);
    const { top, isFree } = await tab.locator('canvas[role=img]').evaluate((canvas) => {
      const { left, top: y, width: w, height: h } = canvas.getBoundingClientRect();
      return { top: y, isFree: document.elementFromPoint(left + w / 2, y + h / 2) === canvas };
    });
    assert.ok(top >= 0 && isFree, `${width} pixels wide: the attitude is at ${top}`);

    const at = await scrolled(tab);
    const chart = await tab.locator('.u-over').nth(1).boundingBox();
    await tab.mouse.move(chart.x + chart.width / 2, chart.y + chart.height - 10);
    await tab.keyboard.down('Control');
    await tab.mouse.wheel(0, -120);
    await tab.keyboard.up('Control');
    await tab.waitForFunction(() => globalThis.vortenaPage.view.to - globalThis.vortenaPage.view.from < 7);
    const zoomed = await view(tab);
    await tab.mouse.wheel(100, 10);
    await tab.waitForFunction((from) => globalThis.vortenaPage.view.from > from, zoomed.from);
    assert.equal(await scrolled(tab), at);
    await tab.context().close();
  }
});

test('zooms and moves under fingers', async () => {
  const tab = await open(browser, page);
  const over = await tab.locator('.u-over').first().boundingBox();
  const session = await tab.context().newCDPSession(tab);
  const touch = (type, ...shares) =>
    session.send('Input.dispatchTouchEvent', {
      type,
      touchPoints: shares.map((share, id) => ({ id, x: over.x + over.width * share, y: over.y + 40 })),
    });
  await touch('touchStart', 0.4, 0.6);
  await touch('touchMove', 0.3, 0.7);
  await touch('touchMove', 0.2, 0.8);
  await touch('touchEnd');
  const zoomed = await view(tab);
  assert.ok(Math.abs(zoomed.from - 20) < 0.3 && Math.abs(zoomed.to - 40) < 0.3, JSON.stringify(zoomed));
  await touch('touchStart', 0.5);
  await touch('touchMove', 0.4);
  await touch('touchMove', 0.25);
  await touch('touchEnd');
  const moved = await view(tab);
  assert.ok(Math.abs(moved.from - 25) < 0.3 && Math.abs(moved.to - 45) < 0.3, JSON.stringify(moved));
  await tab.setViewportSize({ width: 1200, height: 500 });
  const swipe = (type, up) =>
    session.send('Input.dispatchTouchEvent', { type, touchPoints: [{ id: 0, x: 400 + up / 3, y: over.y + 90 - up }] });
  await swipe('touchStart', 0);
  for (let up = 20; up <= 140; up += 20) {
    await swipe('touchMove', up);
    await tab.waitForTimeout(20);
  }
  await touch('touchEnd');
  assert.ok((await scrolled(tab)) > 50);
  const { from, to } = await view(tab);
  assert.ok(Math.abs(from - moved.from) < 0.3 && Math.abs(to - moved.to) < 0.3, JSON.stringify({ from, to }));
  await tab.context().close();
});

test('plays, turns curves and lanes on and off, and saves pictures', async () => {
  const tab = await open(browser, page);
  await setCursor(tab, 1);
  await tab.selectOption('#speed', '5');
  await tab.locator('#play').click();
  await tab.waitForFunction(() => globalThis.vortenaPage.cursor > 2);
  await tab.locator('#play').click();
  const [first] = await drawnPixels(tab);
  await tab.locator('.chart').first().getByRole('button', { name: 'X' }).click();
  await tab.getByLabel('each curve in a lane').check();
  const [second] = await drawnPixels(tab);
  assert.equal(second.length, first.length - 1);
  assert.ok(second.every((count) => count > 300));
  for (const [name, start] of [
    ['SVG', /^<svg [^]*Acceleration \[g\]/],
    ['PNG', /^.PNG/],
  ]) {
    const [download] = await Promise.all([
      tab.waitForEvent('download'),
      tab.getByRole('button', { name: `Save as ${name}` }).click(),
    ]);
    const text = fs.readFileSync(await download.path(), 'latin1');
    assert.match(text, start);
    assert.ok(text.length > 20000);
  }
  assert.deepEqual(tab.faults, []);
  const unnamed = await tab.evaluate(
    () =>
      [...document.querySelectorAll('button, select, input')].filter(
        (control) =>
          !(control.getAttribute('aria-label') || control.labels?.[0]?.textContent.trim() || control.textContent.trim()),
      ).length,
  );
  assert.equal(unnamed, 0);
  await tab.context().close();
});

test('saves pictures of recordings whose names no XML file can hold', async () => {
  const named = `${support.folder}/a\x01b&<.bin`;
  fs.copyFileSync(recording, named);
  const tab = await open(browser, support.makePage([named]));
  const saved = async (name) => {
    const download = tab.waitForEvent('download');
    await tab.getByRole('button', { name: `Save as ${name}` }).click();
    return fs.readFileSync(await (await download).path(), 'utf8');
  };
  const caption = await tab.evaluate(
    (svg) => new DOMParser().parseFromString(svg, 'image/svg+xml').querySelector('text, parsererror').textContent,
    await saved('SVG'),
  );
  assert.match(caption, /^a\ufffdb&<\.bin, /);
  assert.match(await saved('PNG'), /^.PNG/);
  assert.deepEqual(tab.faults, []);
  await tab.context().close();
});

test('shows a synchronised set on one clock', async () => {
  const walk = support.simulateWalk();
  const { outputs } = await synchronise(walk, support.folder);
  const tables = outputs.map((output) => readCsv(output));
  const tab = await open(browser, support.makePage(walk, '--sync'));
  assert.equal(await tab.locator('canvas[role=img]').count(), 2);
  for (const row of [800, 1500, 2222]) {
    await setCursor(tab, row / RATE + 0.001);
    const shown = await readouts(tab);
    ['hip.bin · ', 'foot.bin · '].forEach((prefix, unit) => assertValues(shown, tables[unit], row, prefix));
  }
  assert.deepEqual(tab.faults, []);
  await tab.context().close();
});

test('leads from a remark to its place, and breaks curves at gaps', async () => {
  const bytes = fs.readFileSync(recording);
  const damaged = `${support.folder}/damaged.bin`;
  const BLOCK = 512;
  fs.writeFileSync(damaged, Buffer.concat([bytes.subarray(0, 150 * BLOCK), bytes.subarray(170 * BLOCK)]));
  const tab = await open(browser, support.makePage([damaged]));
  await tab.locator('.place').first().click();
  const { from, to } = await view(tab);
  const { after: last, seconds } = await tab.evaluate(() => globalThis.vortenaPage.units[0].report.channels.accel.gaps.where[0]);
  assert.ok(from < last && to > last + seconds);
  await setCursor(tab, last + seconds / 2);
  assert.equal((await readouts(tab))['Acceleration [g]'].X, '');
  assert.match(await tab.locator('figcaption').textContent(), /no orientation/);
  const bridged = await tab.evaluate(
    (middle) =>
      globalThis.vortenaPage.charts[0].drawn.flatMap(
        ({ shapes }) =>
          shapes.bars?.filter(({ start, end }) => start < middle && end > middle) ??
          shapes.points.filter((point, i, all) => point.joined && all[i - 1].time < middle && point.time > middle),
      ).length,
    last + seconds / 2,
  );
  assert.equal(bridged, 0);
  const stray = Buffer.from(bytes);
  stray.writeUInt32BE(0xffffff00, 100 * BLOCK + 4); // a block far from the others
  fs.writeFileSync(`${support.folder}/stray.bin`, stray);
  const far = await open(browser, support.makePage([`${support.folder}/stray.bin`]));
  assert.ok(Math.abs((await view(far)).to - 60) < 0.1 && (await drawnPixels(far)).flat().every((count) => count > 300));
  const header = `${support.folder}/header.bin`;
  fs.writeFileSync(header, bytes.subarray(0, BLOCK));
  const empty = await open(browser, support.makePage([header]));
  assert.match(await empty.locator('#quality').textContent(), /no sample|without any sample/i);
  assert.deepEqual([...tab.faults, ...far.faults, ...empty.faults], []);
  await Promise.all([tab, far, empty].map((each) => each.context().close()));
});

test('replaces pages, but no recording and nothing else', () => {
  const view = (...args) => spawnSync(process.execPath, [support.vortena, 'view', ...args], { encoding: 'utf8' });
  const other = `${support.folder}/other.html`;
  fs.writeFileSync(other, 'mine');
  assert.deepEqual([view(recording, '-o', other).status, fs.readFileSync(other, 'utf8')], [1, 'mine']);
  const bytes = fs.readFileSync(recording);
  const { status, stderr } = view(recording, '-o', recording, '--overwrite');
  assert.match(stderr, /is a recording/);
  assert.ok(status === 1 && bytes.equals(fs.readFileSync(recording)));
  assert.deepEqual(
    [1, 2].map(() => view(recording, '-o', other, '--overwrite').status),
    [0, 0],
  );
  assert.equal(view(recording, '-o', other).status, 0);
  assert.equal(view(`${support.folder}/none.bin`, '-o', other).status, 1);
  assert.deepEqual(
    [view(recording, recording).status, view(recording, '--serve', '-o', other).status, view(recording, '--sync').status],
    [2, 2, 2],
  );
  assert.deepEqual(
    fs.readdirSync(support.folder).filter((name) => name.includes('.part-')),
    [],
  );
});
