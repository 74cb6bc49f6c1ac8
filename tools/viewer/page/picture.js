// The present view as a picture: the charts one below another, as SVG, or as PNG made from it.
'use strict';

const { marksOf, trace } = require('./plotting.js');
const { save } = require('./saving.js');
const { timeText } = require('./scales.js');

const LEFT = 64;
const RIGHT = 34;
const HEADING = 24;
const FOOT = 34;
const PNG_SCALE = 2;

/** Names of recordings may hold what no XML file can: control characters, and halves of characters. */
const NOT_IN_XML = /[^\t\n\r\u0020-\ud7ff\ue000-\ufffd\u{10000}-\u{10ffff}]/gu;
const escaped = (text) => text.replace(NOT_IN_XML, '\ufffd').replace(/[&<>"]/g, (c) => `&#${c.charCodeAt()};`);
const short = (value) => Number(value.toFixed(2));

/** Collects what is drawn as the text of an SVG path. */
class PathText {
  constructor() {
    this.parts = [];
  }
  moveTo(x, y) {
    this.parts.push(`M${short(x)} ${short(y)}`);
  }
  lineTo(x, y) {
    this.parts.push(`L${short(x)} ${short(y)}`);
  }
  rect(x, y, width, height) {
    this.parts.push(`M${short(x)} ${short(y)}h${short(width)}v${short(height)}h${short(-width)}z`);
  }
  toString() {
    return this.parts.join('');
  }
}

const text = (x, y, words, attributes = '') => `<text x="${short(x)}" y="${short(y)}" ${attributes}>${escaped(words)}</text>`;

function gridOf(chart, frame, page) {
  const x = (time) => frame.left + ((time - frame.from) / (frame.to - frame.from)) * frame.width;
  const bottom = frame.top + frame.height;
  const times = chart
    .timeTicks()
    .ticks.map(
      (time) =>
        `<path d="M${short(x(time))} ${frame.top}V${bottom}" stroke="${page.colour('--grid')}"/>${text(x(time), bottom + 16, chart.timeLabel(time), 'text-anchor="middle"')}`,
    );
  const values = chart.valueTicks.map(({ at, text: words }) => {
    const y = short(frame.top + (1 - at) * frame.height);
    return `<path d="M${frame.left} ${y}H${frame.left + frame.width}" stroke="${page.colour('--grid')}"/>${text(frame.left - 6, y + 4, words, 'text-anchor="end"')}`;
  });
  return [...times, ...values].join('\n');
}

function spansOf(chart, frame, page) {
  const { shaded, marks } = marksOf(chart.gaps, frame, 2);
  const events = marksOf(
    chart.events.map(([time]) => [time, time]),
    frame,
    Infinity,
  ).marks;
  const mark = (x, y, height, colour) =>
    `<rect x="${short(x)}" y="${short(y)}" width="1" height="${short(height)}" fill="${page.colour(colour)}"/>`;
  const eventHeight = events.length > 60 ? 8 : frame.height;
  return [
    ...shaded.map(
      ([a, b]) =>
        `<rect x="${short(a)}" y="${frame.top}" width="${short(b - a)}" height="${short(frame.height)}" fill="${page.colour('--gap')}"/>`,
    ),
    ...marks.map((x) => mark(x, frame.top, 6, '--gap-mark')),
    ...events.map((x) => mark(x, frame.top + frame.height - eventHeight, eventHeight, '--event')),
  ].join('\n');
}

function curvesOf(chart, frame, page) {
  return chart.drawn
    .map((drawn, k) => {
      const [area, line] = [new PathText(), new PathText()];
      trace(drawn, chart.layout, chart.layout.bases[k], frame, { area, line, lineWidth: 1 });
      const colour = page.colour(drawn.curve.colour);
      return `<path d="${area}" fill="${colour}" fill-opacity="0.8"/><path d="${line}" fill="none" stroke="${colour}" stroke-width="1.2" stroke-linejoin="round"/>`;
    })
    .join('\n');
}

function legendOf(chart, x, y, page) {
  let at = x;
  return chart.drawn
    .map(({ curve }) => {
      const entry = `<rect x="${at}" y="${y - 9}" width="10" height="10" fill="${page.colour(curve.colour)}"/>${text(at + 14, y, curve.name)}`;
      at += 30 + 7 * curve.name.length;
      return entry;
    })
    .join('');
}

function chartPicture(chart, top, width, page, id) {
  const height = Math.round(chart.height) - 26;
  const frame = { left: LEFT, top: top + HEADING, width: width - LEFT - RIGHT, height, ...page.view };
  const title = `${chart.title} [${chart.unit}]`;
  return {
    height: HEADING + height + FOOT,
    svg: `<clipPath id="c${id}"><rect x="${frame.left}" y="${frame.top}" width="${frame.width}" height="${height}"/></clipPath>
${text(LEFT, top + 15, title, 'font-weight="bold"')}${legendOf(chart, LEFT + 30 + 7.5 * title.length, top + 15, page)}
${gridOf(chart, frame, page)}
<g clip-path="url(#c${id})">${spansOf(chart, frame, page)}
${curvesOf(chart, frame, page)}</g>`,
  };
}

/** The charts that are shown, as the text of an SVG file. */
function svgOf(charts, page, heading) {
  const { width } = charts[0];
  let top = 30;
  const parts = charts.map((chart, k) => {
    const part = chartPicture(chart, top, width, page, k);
    top += part.height;
    return part.svg;
  });
  const { from, to } = page.view;
  const caption = `${heading}, ${timeText(from, 2)} to ${timeText(to, 2)}`;
  return `<svg xmlns="http://www.w3.org/2000/svg" width="${width}" height="${top}" viewBox="0 0 ${width} ${top}" font-family="sans-serif" font-size="12" fill="${page.colour('--text')}">
<rect width="100%" height="100%" fill="${page.colour('--ground')}"/>
${text(LEFT, 18, caption)}
${parts.join('\n')}
</svg>`;
}

async function pngOf(svg) {
  const image = new Image();
  image.src = `data:image/svg+xml;charset=utf-8,${encodeURIComponent(svg)}`;
  await image.decode();
  const canvas = document.createElement('canvas');
  canvas.width = image.width * PNG_SCALE;
  canvas.height = image.height * PNG_SCALE;
  canvas.getContext('2d').drawImage(image, 0, 0, canvas.width, canvas.height);
  return new Promise((resolve) => canvas.toBlob(resolve, 'image/png'));
}

async function savePicture(kind, charts, page, heading) {
  const svg = svgOf(charts, page, heading);
  const name = heading.replace(/\.bin\b/g, '').replace(/[^\w.-]+/g, '-');
  save(kind === 'svg' ? new Blob([svg], { type: 'image/svg+xml' }) : await pngOf(svg), `${name}.${kind}`);
}

module.exports = { savePicture };
