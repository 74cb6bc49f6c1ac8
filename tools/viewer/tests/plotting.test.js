// What the page computes, without a browser.
'use strict';

const assert = require('node:assert/strict');
const { test } = require('node:test');
const { anglesOf } = require('../page/attitude.js');
const { projectBox, toScreen } = require('../page/box.js');
const { layOut, marksOf, trace } = require('../page/plotting.js');
const { channelRows } = require('../page/quality.js');
const { clockText, numberText, timeText, timeTicks, valueTicks } = require('../page/scales.js');
const { durationText } = require('../page/wording.js');

test('writes times and numbers that never show 60 seconds or minus zero', () => {
  assert.equal(timeText(4 * 3600 + 59 * 60 + 59.96, 1), '5:00:00.0');
  assert.equal(timeText(59.9996, 3), '0:01:00.000');
  assert.equal(timeText(-0.04, 1), '0:00:00.0');
  const date = { year: 2024, month: 12, day: 31, hour: 23, minute: 59, second: 58 };
  assert.equal(clockText(date, 1.996, 2), '2025-01-01 00:00:00.00');
  assert.equal(clockText({ ...date, year: 0 }, 1), '');
  assert.deepEqual([numberText(-0.0001, 3), numberText(-12345.6, 1), numberText(NaN, 2)], ['0.000', '−12\u2009345.6', '–']);
});

test('writes lengths of time as the notes of reports do, and counts of one and of none', () => {
  const texts = [0, 0.00038, 0.29, 9.9994, 41.6, 119.94, 135.9, 3599.9, 18299.98, 86400 * 2 + 61].map((each) =>
    durationText(each),
  );
  const expected = [
    '0.000 s',
    '0.000380 s',
    '0.290 s',
    '9.999 s',
    '41.6 s',
    '119.9 s',
    '2 min 15 s',
    '59 min 59 s',
    '5 h 4 min',
    '48 h 1 min',
  ];
  assert.deepEqual(texts, expected);
  assert.equal(durationText(-3.21, 0), '-3 s');
  const channel = (samples, gaps) => ({ samples, measuredRate: samples > 1 ? 200 : null, nominalRate: 200, gaps });
  const gaps = (count) => ({ count, seconds: count * 0.5, longest: 0.5 });
  const channels = { accel: channel(12000, gaps(1)), radioTime: channel(1, gaps(0)), mag: channel(0, gaps(0)) };
  const titles = { accel: 'accelerometer', radioTime: 'radio time channel', mag: 'three-axis raw channel' };
  assert.deepEqual(
    channelRows({
      report: { channels: { ...channels, other: channel(12000, gaps(2)) } },
      titles: { ...titles, other: 'other channel' },
    }),
    [
      ['accelerometer', '12\u2009000 samples, 200.00 Hz (200 nominal), 1 gap, 0.500 s missing, longest 0.500 s'],
      ['radio times', '1 sample, 200 Hz nominal, no gaps'],
      ['three-axis raw channel', 'no samples, 200 Hz nominal'],
      ['other channel', '12\u2009000 samples, 200.00 Hz (200 nominal), 2 gaps, 1.000 s missing, longest 0.500 s'],
    ],
  );
});

test('puts ticks at times and values that people like, for any span', () => {
  const steps = [1, 10, 60, 600, 3600, 5 * 3600, 86400].map((span) => timeTicks(0, span, 9).step);
  assert.deepEqual(steps, [0.2, 2, 10, 120, 900, 3600, 10800]);
  for (let span = 0.01; span < 1e7; span *= 1.37) {
    const { ticks } = timeTicks(span / 3, (span * 4) / 3, 10);
    assert.ok(ticks.length >= 2 && ticks.length <= 11 && ticks[0] >= span / 3 - 1e-9, `${span}: ${ticks.length}`);
    const values = valueTicks(-span, span, 6).ticks;
    assert.ok(values.length >= 2 && values.length <= 7 && values.includes(0));
  }
});

/** Draws as a list of what was asked for. */
function pen() {
  const calls = [];
  const note =
    (name) =>
    (...numbers) =>
      calls.push([name, ...numbers.map(Math.round)]);
  return { calls, moveTo: note('move'), lineTo: note('line'), rect: note('rect') };
}

test('breaks angles where they go round, and draws both ends of a bar that does', () => {
  const frame = { left: 0, top: 0, width: 100, height: 360, from: 0, to: 10 };
  const points = [170, 179, -179, NaN, -170, -160].map((value, i) => ({ time: i, value, joined: i !== 5 }));
  const drawn = [
    { circular: true, shapes: { points } },
    { circular: true, shapes: { bars: [{ start: 2, end: 4, low: 170, high: 200 }] } },
  ];
  const layout = { ...layOut(drawn, false), range: [-180, 180], scale: 1 / 360 };
  const [area, line] = [pen(), pen()];
  drawn.forEach((each) => trace(each, layout, 0, frame, { area, line, lineWidth: 20 }));
  assert.deepEqual(
    line.calls.map(([name]) => name),
    ['move', 'line', 'move', 'move', 'move'],
  );
  assert.deepEqual(area.calls, [
    ['rect', 20, -10, 20, 30],
    ['rect', 20, 330, 20, 40],
  ]);
});

test('gives each curve a lane with the same scale, and shades gaps only where they are wide', () => {
  const bars = (low, high) => ({ shapes: { bars: [{ start: 0, end: 1, low, high }] } });
  const { range, scale, bases } = layOut([bars(-1, 1), bars(0, 3)], true);
  const place = (k, value) => bases[k] + (value - range[0]) * scale;
  assert.ok(range[0] < -1 && range[1] > 3);
  assert.ok(place(1, 3) < 0.5 && place(0, -1) > 0.5 && place(0, 1) < 1);
  const frame = { from: 100, to: 200, left: 10, width: 1000 };
  const gaps = [
    [0, 50],
    [90, 110],
    [120, 120.1],
    [120.02, 120.03],
    [150, 151],
    [300, 400],
  ];
  assert.deepEqual(marksOf(gaps, frame, 2), {
    shaded: [
      [10, 110],
      [510, 520],
    ],
    marks: [210],
  });
});

/** Turned by degrees about an axis, from the first of the other two axes to the second. */
function turned(vector, axis, degrees) {
  const [a, b] = [(axis + 1) % 3, (axis + 2) % 3];
  const [c, s] = [Math.cos((degrees * Math.PI) / 180), Math.sin((degrees * Math.PI) / 180)];
  const result = [...vector];
  result[a] = c * vector[a] - s * vector[b];
  result[b] = s * vector[a] + c * vector[b];
  return result;
}

test('draws the box as its angles say: roll, then pitch, then heading', () => {
  const q = [0.5, -0.7, 0.1, 0.5].map((element) => element / Math.hypot(0.5, 0.7, 0.1, 0.5));
  const [roll, pitch, heading] = anglesOf(q);
  projectBox(q).axes.forEach(({ end }, axis) => {
    const length = Math.hypot(...end);
    const vector = [0, 1, 2].map((k) => (k === axis ? length : 0));
    const expected = toScreen(turned(turned(turned(vector, 0, roll), 1, pitch), 2, heading));
    assert.ok(
      end.every((value, k) => Math.abs(value - expected[k]) < 1e-9),
      `${axis}: ${end}, not ${expected}`,
    );
  });
  assert.equal(anglesOf([0, 0, 0, 0]), undefined);
});

test('draws the box right side up, and turned left with a positive heading', () => {
  const ends = (q) => projectBox(q).axes.map(({ end }) => end);
  const half = Math.SQRT1_2;
  const [level, upside, left] = [
    [1, 0, 0, 0],
    [0, 1, 0, 0],
    [half, 0, 0, half],
  ].map(ends);
  assert.ok(level[2][1] > 1 && upside[2][1] < -1);
  assert.ok(left[0].every((value, k) => Math.abs(value - level[1][k]) < 1e-9));
  assert.deepEqual(
    projectBox([1, 0, 0, 0])
      .faces.filter(({ axis }) => axis === 2)
      .map(({ side }) => side),
    [1],
  );
  assert.equal(projectBox([1, 0, 0, 0]).faces.length, 3);
});
