// Where things go on a chart: ranges, ticks, and curves as paths. Draws with anything that has moveTo, lineTo and rect, so
// that screen and pictures are the same.
'use strict';

const { angleTicks, decimalsOf, numberText, valueTicks } = require('./scales.js');

const LANE_SHARE = 0.86; // of a lane's height, the rest is margin
const PIXELS_PER_TICK = 22;
const POINT_RADIUS = 2;
const COLUMNS_PER_MARKED_POINT = 6;

/** Room around the values; a flat curve gets some, too. */
function padded([low, high]) {
  if (!(low <= high)) {
    return [0, 1];
  }
  const margin = high > low ? (high - low) * 0.04 : Math.max(Math.abs(low) * 0.01, 0.5);
  return [low - margin, high + margin];
}

/** The lowest and highest value of some shapes. */
function extentOf(shapes, circular) {
  let [low, high] = [Infinity, -Infinity];
  for (const { value } of shapes.points ?? []) {
    low = value < low ? value : low;
    high = value > high ? value : high;
  }
  for (const bar of shapes.bars ?? []) {
    low = bar.low < low ? bar.low : low;
    high = bar.high > high ? bar.high : high;
  }
  return circular && high > 180 ? [-180, 180] : [low, high];
}

function union(extents) {
  return [Math.min(...extents.map(([low]) => low)), Math.max(...extents.map(([, high]) => high))];
}

/** How values map to 0 (bottom) to 1 (top): all curves on one scale, or each in a lane of its own with the same scale. */
function layOut(drawn, lanes) {
  const range = padded(union(drawn.map(({ shapes, circular }) => extentOf(shapes, circular))));
  const count = lanes ? Math.max(1, drawn.length) : 1;
  const height = 1 / count;
  const share = lanes && count > 1 ? LANE_SHARE : 1;
  const bases = drawn.map((_, k) => (lanes ? 1 - (k + 1) * height + (height * (1 - share)) / 2 : 0));
  const scale = (height * share) / (range[1] - range[0]);
  return { range, scale, bases, count };
}

const place = ({ range, scale }, base, value) => base + (value - range[0]) * scale;

/** Ticks of the value axis: { at (0 to 1), text }. */
function valueAxis(layout, drawn, pixels) {
  const most = Math.max(2, Math.floor(pixels / layout.count / PIXELS_PER_TICK));
  const angles = drawn.some(({ circular }) => circular);
  const [low, high] = layout.range;
  const { step, ticks } = (angles ? angleTicks : valueTicks)(low, high, most);
  const bases = layout.count > 1 ? layout.bases : layout.bases.slice(0, 1);
  return bases.flatMap((base) =>
    ticks.map((value) => ({ at: place(layout, base, value), text: numberText(value, decimalsOf(step)) })),
  );
}

/** Pieces of a bar within -180 to 180. */
function pieces({ low, high }, circular) {
  return circular && high > 180
    ? [
        [low, 180],
        [-180, high - 360],
      ]
    : [[low, high]];
}

/** Draws a curve: bars into `area`, lines into `line`. `frame` is { left, top, width, height, from, to }, in pixels. */
function trace({ shapes, circular }, layout, base, frame, { area, line, lineWidth }) {
  const x = (time) => frame.left + ((time - frame.from) / (frame.to - frame.from)) * frame.width;
  const y = (value) => frame.top + (1 - place(layout, base, value)) * frame.height;
  for (const bar of shapes.bars ?? []) {
    for (const [low, high] of pieces(bar, circular)) {
      const top = y(high) - lineWidth / 2;
      area.rect(x(bar.start), top, x(bar.end) - x(bar.start), y(low) - top + lineWidth / 2);
    }
  }
  traceLine(shapes.points ?? [], circular, x, y, line);
  if ((shapes.points?.length ?? Infinity) * COLUMNS_PER_MARKED_POINT < frame.width / lineWidth) {
    const side = 2 * POINT_RADIUS * lineWidth;
    shapes.points
      .filter(({ value }) => value === value)
      .forEach(({ time, value }) => area.rect(x(time) - side / 2, y(value) - side / 2, side, side));
  }
}

/** Broken at holes and where an angle goes round. */
function traceLine(points, circular, x, y, line) {
  let last = NaN;
  for (const { time, value, joined } of points) {
    const whole = joined && Math.abs(value - last) <= (circular ? 180 : Infinity);
    if (value === value) {
      (whole ? line.lineTo : line.moveTo).call(line, x(time), y(value));
    }
    last = value;
  }
}

/** Spans at least `least` wide are shaded; of narrower ones there is one mark in a pixel: { shaded, marks }. */
function marksOf(spans, { from, to, left, width }, least) {
  const scale = width / (to - from);
  const shaded = [];
  const marks = new Set();
  for (const [start, end] of spans) {
    if (end < from || start > to) {
      continue;
    }
    const [a, b] = [start, end].map((time) => left + (Math.min(to, Math.max(from, time)) - from) * scale);
    if (b - a >= least) {
      shaded.push([a, b]);
    } else {
      marks.add(Math.round(a));
    }
  }
  return { shaded, marks: [...marks] };
}

module.exports = { layOut, marksOf, trace, valueAxis };
