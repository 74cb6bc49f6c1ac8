// What shows recordings: lays charts and panels out, and keeps view, cursor and playback.
'use strict';

const { Box } = require('./box.js');
const { byRank, chartsOf } = require('./channels.js');
const { Chart, element } = require('./chart.js');
const { METHODS, ORIENTATION } = require('./methods.js');
const { savePicture } = require('./picture.js');
const { VERDICTS, channelRows, placesOf, unitRows } = require('./quality.js');
const { unpackSamples } = require('./packing.js');
const { clockText, numberText, timeText } = require('./scales.js');
const { durationText } = require('./wording.js');

const MOVE_SHARE = 0.2;
const ZOOM_FACTOR = 0.5;
const FEWEST_SECONDS = 0.01;
const LONG_SECONDS = 1800; // from here on, curves cover each other
const EMPTY_SHARE = 0.9;
const FRAGMENT_MS = 250;
const FETCH_MS = 120;
const HINT_MS = 1500;

const byId = (id) => document.getElementById(id);

const addressParts = () => new URLSearchParams(location.hash.slice(1));

/** The method of the orientation that the address asks for. */
function methodInAddress() {
  const method = addressParts().get('o');
  return Object.hasOwn(METHODS, method) ? method : undefined;
}

/** What a chart's title says of its method. The rate that is drawn is the corrected one only where the recording was read so. */
function titleOf({ name, method }, { report }) {
  const isCorrected = name === 'gyro' && report.gyroscopeOffset;
  return METHODS[isCorrected ? 'rest' : method]?.title ?? '';
}

class Page {
  /**
   * `served`: a server has the samples. Units that are not on one clock begin one below another. `method` is the
   * orientation that is shown first; `compute(method)`, where it can be, brings others.
   */
  constructor(units, { served = false, onOneClock = true, method = 'filter', compute } = {}) {
    Object.assign(this, { units, served, onOneClock: onOneClock || units.length === 1, compute });
    this.method = compute ? method : ([method, ...Object.keys(METHODS)].find((each) => this.hasMethod(each)) ?? method);
    this.firstMethod = this.method;
    const end = Math.max(...units.map((unit) => unit.end - unit.origin));
    this.full = { from: 0, to: Math.max(end, FEWEST_SECONDS) };
    this.view = this.firstView();
    this.cursor = (this.view.from + this.view.to) / 2;
    this.history = [];
    this.notes = [];
    this.knowsWheel = false;
    this.lanes = this.view.to - this.view.from > LONG_SECONDS;
    this.colours = new Map();
    this.listening = new AbortController();
  }

  /** The height of a chart's plot: one unit's charts fill the window. */
  get chartHeight() {
    const count = Math.max(1, this.charts?.length ?? 3);
    return this.units.length > 1 ? 110 : Math.min(260, Math.max(110, (innerHeight - byId('charts').offsetTop) / count - 66));
  }

  /** All, unless a block with a wrong time leaves nearly all of it empty. */
  firstView() {
    const gaps = this.units.flatMap(({ channels }) => channels[0]?.gaps ?? []);
    const [start, end] = gaps.find(([from, to]) => to - from > EMPTY_SHARE * this.full.to) ?? [this.full.to, this.full.to];
    return start >= this.full.to - end ? { from: 0, to: start } : { from: end, to: this.full.to };
  }

  start() {
    this.readFragment();
    const asked = methodInAddress() ?? this.method;
    this.method = this.hasMethod(asked) ? asked : this.method;
    this.describe();
    this.layOut();
    this.offerMethods();
    this.units.forEach((unit) => this.addQuality(unit));
    this.charts.forEach((chart) => chart.resize()); // fill what the rest leaves
    this.reserveTools();
    this.listen();
    this.draw();
    this.setCursor(this.cursor);
    byId('lanes').checked = this.lanes;
    ['svg', 'png', 'play'].forEach((id) => {
      byId(id).disabled = this.charts.length === 0;
    });
    document.documentElement.dataset.ready = 'true';
  }

  /** The channels of a unit, of its orientations the one that is shown. */
  channelsOf({ channels }) {
    return channels.filter(({ name, method }) => name !== ORIENTATION || method === this.method);
  }

  /** With several units, the same quantities one below another. */
  descriptions() {
    const describe = (unit) => chartsOf({ ...unit, channels: this.channelsOf(unit) }, this.units.length > 1, titleOf);
    return this.units.flatMap(describe).sort((one, other) => byRank(one.channel, other.channel));
  }

  layOut() {
    this.charts?.forEach((chart) => chart.close());
    ['charts', 'boxes'].forEach((id) => byId(id).replaceChildren());
    this.charts = this.descriptions().map((description) => new Chart(byId('charts'), description, this));
    this.boxes = this.units
      .map((unit) => ({ unit, channel: this.channelsOf(unit).find(({ name }) => name === ORIENTATION) }))
      .filter(({ channel }) => channel)
      .map(({ unit, channel }) => ({ ...this.addBox(unit), channel, unit }));
  }

  hasMethod(method) {
    return this.units.some(({ channels }) => channels.some((channel) => channel.method === method));
  }

  offerMethods() {
    const offered = Object.keys(METHODS).filter((method) => this.compute || this.hasMethod(method));
    byId('method').replaceChildren(...offered.map((method) => element('option', { value: method }, METHODS[method].label)));
    byId('methods').hidden = offered.length < 2;
    this.tellMethod();
  }

  tellMethod() {
    byId('method').value = this.method;
    const errors = this.boxes.flatMap(({ channel: { typicalError } }) => typicalError ?? []);
    const words = errors.map((error) => `${numberText(error, 2)}°`).join(', ');
    byId('method-words').textContent = words && `error of the inclination to expect: ${words} rms`;
  }

  /** One that the page has, or that somebody computes for it. */
  choose(method) {
    if (this.hasMethod(method)) {
      this.showMethod(method);
    } else if (method !== this.method) {
      this.compute?.(method);
    }
    byId('method').value = this.method;
  }

  /** The charts stay, with their curves and view, where the same units have an orientation. */
  showMethod(method) {
    const keysOf = (charts) => charts.map(({ channel }) => `${channel.unitNumber} ${channel.name}`).join();
    this.method = method;
    const descriptions = this.descriptions();
    if (keysOf(descriptions) === keysOf(this.charts)) {
      this.charts.forEach((chart, k) => chart.show(descriptions[k]));
      this.boxes.forEach((box) => {
        box.channel = this.channelsOf(box.unit).find(({ name }) => name === ORIENTATION);
      });
    } else {
      this.layOut();
      this.charts.forEach((chart) => chart.resize());
    }
    this.tellMethod();
    this.draw();
  }

  /** Once all levels and samples are there. */
  complete() {
    this.draw();
    this.addPlaces();
    document.documentElement.dataset.whole = 'true';
  }

  /** Leaves the document as it was before the start. */
  close() {
    if (this.playing) {
      this.togglePlay();
    }
    this.listening.abort();
    clearTimeout(this.fetchTimer);
    clearTimeout(this.fragmentTimer);
    this.charts.forEach((chart) => chart.close());
    ['charts', 'boxes', 'quality'].forEach((id) => byId(id).replaceChildren());
    history.replaceState(null, '', '#');
    delete document.documentElement.dataset.ready;
    delete document.documentElement.dataset.whole;
    Object.assign(this, { units: [], charts: [], boxes: [], notes: [] });
  }

  colour(name, alpha = 1) {
    const key = `${name} ${alpha}`;
    if (!this.colours.has(key)) {
      const value = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
      const percent = Math.round(alpha * 255)
        .toString(16)
        .padStart(2, '0');
      this.colours.set(key, /^#[0-9a-f]{6}$/i.test(value) ? value + percent : value);
    }
    return this.colours.get(key);
  }

  describe() {
    const { units, full } = this;
    const names = units.map(({ name }) => name).join(', ');
    document.title = `${names} – Vortena`;
    byId('name').textContent = names;
    const facts = [durationText(full.to)];
    const start = this.clockAt(0);
    if (start) {
      facts.push(`from ${start} (unit's clock)`);
    }
    if (units.length > 1) {
      facts.push(`${units.length} units${this.onOneClock ? ' on one clock' : ', each from its own first sample'}`);
    }
    byId('facts').textContent = facts.join(' · ');
  }

  /** The first unit's clock, where it is that of all; its header says when it began. */
  clockAt(time, decimals = 0) {
    if (!this.onOneClock) {
      return '';
    }
    const [{ config, report, toOwnClock }] = this.units;
    return clockText(config.createdAt, time + toOwnClock - (report.clock.first ?? 0), decimals);
  }

  /** One where the unit has an orientation. */
  addBoxes(unit) {
    return unit.channels.filter(({ attitudes }) => attitudes).map((channel) => this.addBox(unit, channel));
  }

  addBox(unit, channel) {
    const holder = byId('boxes').appendChild(element('figure'));
    const canvas = holder.appendChild(element('canvas', { role: 'img', 'aria-label': `Attitude of ${unit.name} at the cursor` }));
    const caption = holder.appendChild(element('figcaption', {}, this.units.length > 1 ? unit.name : ''));
    const words = caption.appendChild(element('p'));
    return { box: new Box(canvas, this), words, canvas };
  }

  addQuality(unit) {
    const panel = byId('quality').appendChild(element('section', { class: 'quality' }));
    if (this.units.length > 1) {
      panel.append(element('h3', {}, unit.name));
    }
    panel.append(element('p', { class: `verdict ${unit.report.verdict}` }, VERDICTS[unit.report.verdict]));
    const list = panel.appendChild(element('ul', { class: 'notes' }));
    unit.report.notes.forEach(({ code, severity, text }) => {
      this.notes.push({ code, unit, item: list.appendChild(element('li', { class: severity }, text)) });
    });
    this.addTable(panel, channelRows(unit));
    this.addTable(panel, unitRows(unit));
  }

  addPlaces() {
    this.notes.forEach(({ code, unit, item }) => placesOf(code, unit).forEach((place) => this.addPlace(item, place, unit)));
  }

  /** A way to where a note is about. Reports keep their unit's own clock. */
  addPlace(item, { text, time, from, to }, unit) {
    const common = -unit.toOwnClock;
    const button = item.appendChild(
      element('button', { type: 'button', class: 'place' }, `${timeText(time + common, 1)} ${text}`),
    );
    button.addEventListener('click', () => {
      this.setView(from + common, to + common);
      this.setCursor(time + common);
    });
  }

  addTable(panel, rows) {
    const table = panel.appendChild(element('table'));
    rows.forEach(([name, text]) => {
      const row = table.appendChild(element('tr'));
      row.append(element('th', { scope: 'row' }, name), element('td', {}, text));
    });
  }

  /** Keeps the span within the recording. */
  setView(from, to, { remember = true } = {}) {
    const span = Math.min(this.full.to, Math.max(to - from, FEWEST_SECONDS));
    const middle = (from + to) / 2;
    const start = Math.min(Math.max(to - from === span ? from : middle - span / 2, 0), this.full.to - span);
    if (start === this.view.from && start + span === this.view.to) {
      return;
    }
    if (remember) {
      this.history.push(this.view);
    }
    this.view = { from: start, to: start + span };
    if (this.cursor < start || this.cursor > start + span) {
      this.cursor = start + span / 2; // values and attitude are of a time that is shown
    }
    this.draw();
  }

  showAll() {
    this.setView(this.full.from, this.full.to);
  }

  goBack() {
    const last = this.history.pop();
    if (last) {
      this.setView(last.from, last.to, { remember: false });
    }
  }

  move(share) {
    const { from, to } = this.view;
    const by = Math.min(Math.max(share * (to - from), -from), this.full.to - to);
    this.setView(from + by, to + by, { remember: false });
  }

  /** `around` keeps its place on the screen. */
  zoom(factor, around = this.cursor) {
    const { from, to } = this.view;
    const fixed = around >= from && around <= to ? around : (from + to) / 2;
    this.setView(fixed - (fixed - from) * factor, fixed + (to - fixed) * factor);
  }

  draw() {
    this.charts.forEach((chart) => chart.draw());
    this.showView();
    this.showCursor();
    this.fetchSamples();
    this.writeFragment();
  }

  resize() {
    this.colours.clear();
    this.charts.forEach((chart) => chart.resize());
    this.reserveTools();
    this.showView();
    this.showCursor();
  }

  /** What stays in view while the page scrolls stands below the tools. */
  reserveTools() {
    document.documentElement.style.setProperty('--tools-height', `${byId('tools').offsetHeight}px`);
  }

  /** For a while, and no more once somebody knows. */
  showHint() {
    const hint = byId('hint');
    clearTimeout(this.hintTimer);
    hint.hidden = this.knowsWheel;
    hint.textContent = `${/Mac/.test(navigator.platform) ? '⌘' : 'Ctrl'} and wheel zoom, shift and wheel move`;
    this.hintTimer = setTimeout(() => {
      hint.hidden = true;
    }, HINT_MS);
  }

  showView() {
    if (this.charts.length === 0) {
      byId('view').textContent = 'There are no samples with a time: nothing can be drawn.';
      return;
    }
    const { from, to } = this.view;
    const decimals = to - from < 1 ? 3 : to - from < 100 ? 1 : 0;
    const coarsest = Math.max(...this.charts.map(({ resolution }) => resolution));
    const drawn = coarsest > 0 ? `each bar is the minimum and maximum of ${durationText(coarsest)}` : 'every sample is drawn';
    const limit = this.charts.some(({ channel }) => !this.served && channel.wantsSamples(from, to, 1000))
      ? '; the page holds no finer level: see vortena view --serve'
      : '';
    byId('view').textContent =
      `${timeText(from, decimals)} to ${timeText(to, decimals)} (${durationText(to - from)}) · ${drawn}${limit}`;
  }

  setCursor(time) {
    this.cursor = Math.min(Math.max(time, 0), this.full.to);
    this.showCursor();
  }

  showCursor() {
    this.charts.forEach((chart) => chart.showCursor());
    const clock = this.clockAt(this.cursor, 2);
    const event = this.units[0].events.find(([time]) => Math.abs(time - this.cursor) <= (this.view.to - this.view.from) / 400);
    byId('time').textContent =
      this.charts.length === 0
        ? ''
        : `${timeText(this.cursor, 3)}${clock ? ` · ${clock}` : ''}${event ? ` · event ${event[1]}` : ''}`;
    this.boxes.forEach(({ box, channel, words, canvas }) => {
      const angles = box.draw(channel.attitudeAt(this.cursor));
      const [roll, pitch, heading] = (angles ?? []).map((angle) => `${numberText(angle, 1)}°`);
      words.textContent = angles ? `roll ${roll}\npitch ${pitch}\nheading ${heading} (relative)` : 'no orientation here';
      canvas.dataset.angles = (angles ?? []).join(' ');
    });
    this.writeFragment();
  }

  /** From the server, where the page has one; a whole screen more on either side. */
  fetchSamples() {
    clearTimeout(this.fetchTimer);
    if (!this.served) {
      return;
    }
    const { from, to } = this.view;
    const missing = [...new Set(this.charts.map(({ channel }) => channel))].filter((channel) =>
      channel.wantsSamples(from, to, 1000),
    );
    if (missing.length > 0) {
      this.fetchTimer = setTimeout(() => this.fetchMissing(missing, 2 * from - to, 2 * to - from), FETCH_MS);
    }
  }

  async fetchMissing(channels, from, to) {
    try {
      await Promise.all(
        channels.map(async (channel) => {
          const { origin } = this.units[channel.unitNumber];
          const answer = await fetch(
            `samples?unit=${channel.unitNumber}&key=${channel.key}&from=${from + origin}&to=${to + origin}` +
              (channel.method ? `&method=${channel.method}` : ''),
          );
          if (!answer.ok) {
            throw new Error(answer.statusText);
          }
          const samples = JSON.parse(answer.headers.get('x-samples'));
          channel.setSamples(
            unpackSamples({ ...samples, first: samples.first - origin }, new Uint8Array(await answer.arrayBuffer())),
            from,
            to,
          );
        }),
      );
      this.charts.forEach((chart) => chart.draw());
      this.showView();
      this.showCursor();
    } catch {
      byId('view').textContent += ' · the server has ended';
    }
  }

  togglePlay() {
    const button = byId('play');
    this.playing = !this.playing;
    button.textContent = this.playing ? 'Pause' : 'Play';
    if (this.playing) {
      this.cursor = this.cursor >= this.full.to ? 0 : this.cursor;
      this.lastFrame = performance.now();
      requestAnimationFrame((now) => this.playOn(now));
    }
  }

  playOn(now) {
    if (!this.playing) {
      return;
    }
    const next = this.cursor + (Math.max(0, now - this.lastFrame) / 1000) * Number(byId('speed').value);
    this.lastFrame = now;
    const { from, to } = this.view;
    this.setCursor(next);
    if (next > to || next < from) {
      this.setView(this.cursor, this.cursor + (to - from), { remember: false });
    }
    if (next >= this.full.to) {
      this.togglePlay();
    } else {
      requestAnimationFrame((time) => this.playOn(time));
    }
  }

  readFragment() {
    const parts = addressParts();
    const numbers = /^([\d.]+)-([\d.]+)$/.exec(parts.get('t'))?.slice(1).map(Number);
    if (numbers && numbers[1] > numbers[0] && numbers[0] < this.full.to) {
      this.view = { from: numbers[0], to: Math.min(numbers[1], this.full.to) };
      const cursor = Number.parseFloat(parts.get('c'));
      this.cursor = Number.isFinite(cursor) ? Math.min(cursor, this.full.to) : (numbers[0] + this.view.to) / 2;
    }
  }

  /** Browsers allow few changes in a second. */
  writeFragment() {
    clearTimeout(this.fragmentTimer);
    this.fragmentTimer = setTimeout(() => {
      const [from, to, cursor] = [this.view.from, this.view.to, this.cursor].map((time) => Number(time.toFixed(4)));
      const method = this.method === this.firstMethod ? '' : `&o=${this.method}`;
      history.replaceState(null, '', `#t=${from}-${to}&c=${cursor}${method}`);
    }, FRAGMENT_MS);
  }

  listen() {
    const { signal } = this.listening;
    const actions = {
      all: () => this.showAll(),
      back: () => this.goBack(),
      'zoom-in': () => this.zoom(ZOOM_FACTOR),
      'zoom-out': () => this.zoom(1 / ZOOM_FACTOR),
      left: () => this.move(-MOVE_SHARE),
      right: () => this.move(MOVE_SHARE),
      play: () => this.togglePlay(),
      svg: () => savePicture('svg', this.charts, this, byId('name').textContent),
      png: () => savePicture('png', this.charts, this, byId('name').textContent),
    };
    Object.entries(actions).forEach(([id, action]) => byId(id).addEventListener('click', action, { signal }));
    const on = (target, name, listener) => target.addEventListener(name, listener, { signal });
    on(byId('lanes'), 'change', ({ target }) => {
      this.lanes = target.checked;
      this.resize();
    });
    on(byId('method'), 'change', ({ target }) => this.choose(target.value));
    on(document, 'keydown', (event) => this.onKey(event));
    on(globalThis, 'resize', () => this.resize());
    on(globalThis, 'hashchange', () => {
      this.readFragment();
      this.draw();
      this.choose(methodInAddress() ?? this.method);
    });
    on(globalThis, 'beforeprint', () => this.forPrint(true));
    on(globalThis, 'afterprint', () => this.forPrint(false));
    on(matchMedia('(prefers-color-scheme: dark)'), 'change', () => this.resize());
  }

  forPrint(on) {
    document.documentElement.classList.toggle('print', on);
    this.resize();
  }

  onKey(event) {
    const step = (this.view.to - this.view.from) / 500;
    const keys = {
      ArrowLeft: () => (event.shiftKey ? this.setCursor(this.cursor - step) : this.move(-MOVE_SHARE)),
      ArrowRight: () => (event.shiftKey ? this.setCursor(this.cursor + step) : this.move(MOVE_SHARE)),
      '+': () => this.zoom(ZOOM_FACTOR),
      '=': () => this.zoom(ZOOM_FACTOR),
      '-': () => this.zoom(1 / ZOOM_FACTOR),
      '−': () => this.zoom(1 / ZOOM_FACTOR),
      Home: () => this.showAll(),
      Backspace: () => this.goBack(),
      ' ': () => this.togglePlay(),
    };
    const isTaken =
      event.ctrlKey ||
      event.metaKey ||
      event.altKey ||
      event.target.matches('select, input, dialog *') ||
      (event.key === ' ' && event.target.matches('button'));
    if (!isTaken && keys[event.key]) {
      event.preventDefault();
      keys[event.key]();
    }
  }
}

module.exports = { Page, methodInAddress };
