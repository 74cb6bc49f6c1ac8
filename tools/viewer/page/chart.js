// One chart: a plot of one quantity of one unit, with values at the cursor, gaps and events.
'use strict';

/* global uPlot */
const { numberText, timeText, timeTicks } = require('./scales.js');
const { layOut, marksOf, trace, valueAxis } = require('./plotting.js');

const AXIS_WIDTH = 64;
const TIME_AXIS_HEIGHT = 26;
const RIGHT_MARGIN = 34;
const TOP_MARGIN = 6;
const PIXELS_PER_TIME = 95;
const WIDEST_RUG = 2; // pixels; wider gaps are shaded
const MOST_EVENT_LINES = 60;
const PIXELS_PER_ZOOM = 100; // of a wheel, for the factor e, as browsers count a pinch
const MOST_ZOOM = 0.4; // of one turn of a wheel

function element(name, attributes = {}, text = '') {
  const made = document.createElement(name);
  Object.entries(attributes).forEach(([key, value]) => made.setAttribute(key, value));
  made.textContent = text;
  return made;
}

const LINE_WIDTH = 1.25;
const OVERLAID_ALPHA = 0.75;

/** Neighbouring bars meet without overlapping. */
class WholePixels {
  constructor(ctx) {
    this.ctx = ctx;
  }

  rect(x, y, width, height) {
    const [left, top] = [Math.round(x), Math.round(y)];
    this.ctx.fillRect(left, top, Math.max(1, Math.round(x + width) - left), Math.max(1, Math.round(y + height) - top));
  }
}

class Chart {
  /** `description` is { title, unit, decimals, channel, curves: [{ index, name, colour, shown }], gaps, events }. */
  constructor(parent, description, page) {
    Object.assign(this, description, { page, drawn: [] });
    this.root = parent.appendChild(element('section', { class: 'chart' }));
    this.addHeading();
    this.plot = new uPlot(this.options(), this.data(), this.root.appendChild(element('div', { class: 'plot' })));
    this.line = this.plot.over.appendChild(element('div', { class: 'cursor' }));
    this.listen();
  }

  addHeading() {
    const heading = this.root.appendChild(element('div', { class: 'heading' }));
    this.heading = heading.appendChild(element('h2'));
    this.name(this.title);
    this.readouts = this.curves.map((curve) => {
      const button = heading.appendChild(
        element('button', { type: 'button', class: 'curve', 'aria-pressed': String(curve.shown) }),
      );
      button.title = `Show or hide ${curve.name}`;
      const swatch = button.appendChild(element('span', { class: 'swatch', 'aria-hidden': 'true' }));
      swatch.style.setProperty('--colour', `var(${curve.colour})`);
      button.append(element('span', {}, curve.name));
      button.style.setProperty('--widest', `${this.widestText(curve)}ch`);
      button.addEventListener('click', () => this.toggle(curve, button));
      return button.appendChild(element('output', {}, ''));
    });
  }

  name(title) {
    this.title = title;
    this.root.setAttribute('aria-label', `${title}, ${this.unit}`);
    this.heading.textContent = `${title} [${this.unit}]`;
  }

  /** Another channel, of the same curves. */
  show({ title, channel, gaps }) {
    Object.assign(this, { channel, gaps });
    this.name(title);
  }

  toggle(curve, button) {
    curve.shown = !curve.shown;
    button.setAttribute('aria-pressed', String(curve.shown));
    this.resize();
  }

  get height() {
    const lanes = this.page.lanes ? Math.max(1, this.curves.filter(({ shown }) => shown).length) : 1;
    const tall = this.page.chartHeight;
    return TIME_AXIS_HEIGHT + TOP_MARGIN + (lanes > 1 ? lanes * Math.max(56, tall * 0.48) : tall);
  }

  get width() {
    return Math.max(320, this.root.clientWidth);
  }

  /** uPlot lays its elements out later. */
  get plotWidth() {
    return this.width - AXIS_WIDTH - RIGHT_MARGIN;
  }

  data() {
    const { from, to } = this.page.view;
    return [
      [from, to],
      [0, 0],
    ];
  }

  options() {
    const axis = {
      stroke: () => this.page.colour('--text'),
      grid: { stroke: () => this.page.colour('--grid'), width: 1 },
      font: '12px system-ui, sans-serif',
    };
    const ticks = { ...axis, ticks: { stroke: () => this.page.colour('--grid'), size: 5, width: 1 } };
    return {
      width: this.width,
      height: this.height,
      padding: [TOP_MARGIN, RIGHT_MARGIN, 0, 0],
      legend: { show: false },
      cursor: {
        x: false,
        y: false,
        points: { show: false },
        drag: { x: true, y: false, setScale: false, dist: 4 },
        bind: { dblclick: () => null },
      },
      scales: { x: { time: false, range: () => [this.page.view.from, this.page.view.to] }, y: { range: () => [0, 1] } },
      axes: [
        {
          ...ticks,
          size: TIME_AXIS_HEIGHT,
          splits: () => this.timeTicks().ticks,
          values: (_, times) => times.map((time) => this.timeLabel(time)),
        },
        {
          ...ticks,
          size: AXIS_WIDTH,
          splits: () => this.valueTicks.map(({ at }) => at),
          values: () => this.valueTicks.map(({ text }) => text),
        },
      ],
      series: [{}, { stroke: 'transparent', points: { show: false }, paths: () => null }],
      hooks: {
        drawClear: [(plot) => this.drawGaps(plot)],
        draw: [(plot) => this.drawCurves(plot), (plot) => this.drawEvents(plot)],
        setSelect: [(plot) => this.select(plot)],
      },
    };
  }

  timeTicks() {
    const { from, to } = this.page.view;
    return timeTicks(from, to, Math.max(2, Math.floor(this.plotWidth / PIXELS_PER_TIME)));
  }

  timeLabel(time) {
    return timeText(time, Math.max(0, Math.ceil(-Math.log10(this.timeTicks().step) - 1e-9)));
  }

  /** Everything that depends on the view. */
  compute() {
    const { from, to } = this.page.view;
    const columns = this.plotWidth;
    this.drawn = this.curves
      .filter(({ shown }) => shown)
      .map((curve) => ({
        curve,
        circular: this.channel.isCircular(curve.index),
        shapes: this.channel.shapes(curve.index, from, to, columns),
      }));
    this.layout = layOut(this.drawn, this.page.lanes);
    this.valueTicks = valueAxis(this.layout, this.drawn, this.height - TIME_AXIS_HEIGHT - TOP_MARGIN);
    this.resolution = this.channel.resolution(from, to, columns);
  }

  draw() {
    this.compute();
    this.plot.setData(this.data());
    this.plot.redraw(false, true); // labels go by more than the view, which may be the one before
  }

  resize() {
    this.compute();
    this.plot.setSize({ width: this.width, height: this.height });
    this.plot.setData(this.data());
    this.showCursor();
  }

  frame({ left, top, width, height }) {
    return { left, top, width, height, ...this.page.view };
  }

  /** Bars on whole pixels, so that nothing is blurred and drawing is fast. */
  drawCurves({ ctx, bbox }) {
    const { left, top, width, height } = bbox;
    ctx.save();
    ctx.beginPath();
    ctx.rect(left, top, width, height);
    ctx.clip();
    Object.assign(ctx, { lineWidth: LINE_WIDTH * devicePixelRatio, lineJoin: 'round' });
    this.drawn.forEach((drawn, k) => {
      const { colour, alpha = OVERLAID_ALPHA } = drawn.curve;
      ctx.fillStyle = this.page.colour(colour, this.page.lanes ? 1 : alpha);
      ctx.strokeStyle = this.page.colour(colour);
      ctx.beginPath();
      trace(drawn, this.layout, this.layout.bases[k], this.frame(bbox), {
        area: new WholePixels(ctx),
        line: ctx,
        lineWidth: LINE_WIDTH * devicePixelRatio,
      });
      ctx.stroke();
    });
    ctx.restore();
  }

  drawGaps({ ctx, bbox }) {
    const { shaded, marks } = marksOf(this.gaps, this.frame(bbox), WIDEST_RUG * devicePixelRatio);
    ctx.fillStyle = this.page.colour('--gap');
    shaded.forEach(([start, end]) => ctx.fillRect(start, bbox.top, end - start, bbox.height));
    ctx.fillStyle = this.page.colour('--gap-mark');
    marks.forEach((x) => ctx.fillRect(x, bbox.top, devicePixelRatio, 6 * devicePixelRatio));
  }

  /** Lines where there is room, else a rug at the foot. */
  drawEvents({ ctx, bbox }) {
    const { marks } = marksOf(
      this.events.map(([time]) => [time, time]),
      this.frame(bbox),
      Infinity,
    );
    const height = marks.length <= MOST_EVENT_LINES ? bbox.height : 8 * devicePixelRatio;
    ctx.fillStyle = this.page.colour(
      '--event',
      marks.length <= MOST_EVENT_LINES ? 0.55 : marks.length < this.plotWidth / 3 ? 0.9 : 0.35,
    );
    marks.forEach((x) => ctx.fillRect(x, bbox.top + bbox.height - height, devicePixelRatio, height));
  }

  timeAt(pixels) {
    const { from, to } = this.page.view;
    return from + (pixels / this.plotWidth) * (to - from);
  }

  select(plot) {
    const { left, width } = plot.select;
    if (width > 0) {
      plot.setSelect({ left: 0, width: 0, top: 0, height: 0 }, false);
      this.page.setView(this.timeAt(left), this.timeAt(left + width));
    }
  }

  listen() {
    const { over } = this.plot;
    const pixels = ({ clientX }) => clientX - over.getBoundingClientRect().left;
    over.addEventListener('mousemove', (event) => this.page.setCursor(this.timeAt(pixels(event))));
    over.addEventListener('dblclick', () => this.page.showAll());
    over.addEventListener('wheel', (event) => this.turnWheel(event, this.timeAt(pixels(event))), { passive: false });
    this.listenToTouch(over, pixels);
  }

  /** The page's own scrolling has the bare wheel. A pinch on a trackpad arrives as a wheel with Ctrl. */
  turnWheel(event, time) {
    const { deltaX, deltaY, ctrlKey, metaKey, shiftKey } = event;
    const sideways = shiftKey ? deltaX || deltaY : Math.abs(deltaX) > Math.abs(deltaY) ? deltaX : 0;
    if (ctrlKey || metaKey) {
      this.page.knowsWheel = true;
      this.page.zoom(Math.exp(Math.sign(deltaY) * Math.min(MOST_ZOOM, Math.abs(deltaY) / PIXELS_PER_ZOOM)), time);
    } else if (sideways !== 0) {
      this.page.move(sideways / this.plotWidth);
    } else {
      this.page.showHint();
      return;
    }
    event.preventDefault();
  }

  /**
   * One finger moves the view, two zoom; a tap sets the cursor. What is under the fingers stays there. A finger that begins
   * up or down scrolls the page.
   */
  listenToTouch(over, pixels) {
    let held;
    let first;
    let isOurs;
    const hold = ({ touches }) => {
      held = [...touches].slice(0, 2).map((touch) => this.timeAt(pixels(touch)));
      this.page.setCursor(held[0] ?? this.page.cursor);
    };
    const begin = (event) => {
      [first] = event.touches;
      isOurs = undefined;
      hold(event);
    };
    const isAcross = ({ touches: [{ clientX, clientY }, second] }) =>
      second !== undefined || Math.abs(clientX - first.clientX) > Math.abs(clientY - first.clientY);
    over.addEventListener('touchstart', begin, { passive: true });
    over.addEventListener('touchend', hold, { passive: true });
    over.addEventListener(
      'touchmove',
      (event) => {
        isOurs ??= isAcross(event);
        if (!isOurs) {
          return;
        }
        event.preventDefault();
        this.follow(
          held,
          [...event.touches].slice(0, 2).map((touch) => pixels(touch) / this.plotWidth),
        );
      },
      { passive: false },
    );
  }

  /** Shows the times `held` at shares of the width. */
  follow(held, at) {
    const { from, to } = this.page.view;
    const span = at.length > 1 && Math.abs(at[1] - at[0]) > 0.02 ? (held[1] - held[0]) / (at[1] - at[0]) : to - from;
    if (span > 0) {
      this.page.setView(held[0] - at[0] * span, held[0] + (1 - at[0]) * span);
    }
  }

  /** Engines keep closures of plots in their caches: what is large is let go by hand. */
  close() {
    this.plot.destroy();
    Object.assign(this, { channel: undefined, gaps: [], events: [], drawn: [] });
  }

  showCursor() {
    const {
      view: { from, to },
      cursor,
    } = this.page;
    const share = (cursor - from) / (to - from);
    this.line.hidden = !(share >= 0 && share <= 1);
    this.line.style.transform = `translateX(${Math.round(share * this.plotWidth)}px)`;
    this.curves.forEach((curve, k) => {
      this.readouts[k].textContent = this.valueText(curve);
    });
  }

  /** In characters: what is said at the cursor must not move what is beside it. */
  widestText({ index }) {
    const widest = Math.max(...this.channel.range(index).map((value) => numberText(value, this.decimals).length));
    return this.channel.hasSamples ? widest : 2 * widest + 3;
  }

  /** One number, or the bounds of what a bin holds. */
  valueText({ index, shown }) {
    const value = shown && Number.isFinite(this.page.cursor) ? this.channel.valueAt(index, this.page.cursor) : undefined;
    if (!value) {
      return '';
    }
    const [low, high] = value.map((each) => numberText(each, this.decimals));
    return low === high ? low : `${low} … ${high}`;
  }
}

module.exports = { Chart, element };
