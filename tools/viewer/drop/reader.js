// A page without recordings of its own: reads those that are dropped on it or chosen, shows them and saves their CSV.
'use strict';

const { element } = require('../page/chart.js');
const { describeUnit } = require('../page/description.js');
const { Jobs } = require('./jobs.js');
const { METHODS, ORIENTATION, withMethod } = require('../page/methods.js');
const { Page, methodInAddress } = require('../page/page.js');
const { Channel, unitFrom } = require('../page/recording.js');
const { openOutput } = require('../page/saving.js');
const { numberText } = require('../page/scales.js');
const { Work, sentence, tell, tellProgress } = require('./work.js');

/** The most samples of all recordings together; what the page keeps of them stays below some 300 MB. */
const MOST_BINS = 500_000;
const MOST_SAMPLES = 4_000_000;

const byId = (id) => document.getElementById(id);
const csvName = (recording) => `${recording.replace(/\.[^.]*$/, '')}.csv`;

function channelOf(description, { codes, kept }, origin) {
  const channel = new Channel(description, codes);
  if (kept) {
    channel.setSamples({ time: kept.time.map((time) => time - origin), axes: kept.axes }, -Infinity, Infinity);
  }
  return channel;
}

/** A unit of `levels()` as the page shows it, with an orientation by `method`. */
function unitOf(unit, { name, unitNumber, origin, method }) {
  const dataOf = ({ levels }) => ({ levels, coarse: levels.length });
  const shown = unitFrom(describeUnit(withMethod(unit, method), { name, unitNumber, dataOf }), origin);
  const read = new Map(unit.channels.map((channel) => [channel.name, channel]));
  return { ...shown, channels: shown.channels.map((channel) => channelOf(channel, read.get(channel.name), origin)) };
}

class Reader {
  constructor(jobs) {
    Object.assign(this, { jobs, work: new Work(), files: [], onOneClock: false });
    this.listen();
    document.documentElement.dataset.waiting = 'true';
  }

  listen() {
    const picker = byId('files');
    ['choose', 'choose-first'].forEach((id) => byId(id).addEventListener('click', () => picker.click()));
    picker.addEventListener('change', () => {
      this.open([...picker.files]);
      picker.value = ''; // the same may be chosen again
    });
    byId('one-clock').addEventListener('change', ({ target }) => this.setOneClock(target.checked));
    this.listenToDrops();
  }

  listenToDrops() {
    const mark = (on) => document.documentElement.classList.toggle('dropping', on);
    addEventListener('dragover', (event) => {
      event.preventDefault();
      mark(event.dataTransfer.types.includes('Files'));
    });
    addEventListener('dragleave', ({ relatedTarget }) => mark(relatedTarget !== null));
    addEventListener('drop', (event) => {
      event.preventDefault();
      mark(false);
      this.drop(event.dataTransfer);
    });
  }

  drop({ items, files }) {
    const isFolder = [...items].filter(({ kind }) => kind === 'file').map((item) => item.webkitGetAsEntry?.()?.isDirectory);
    const folders = [...files].filter((_, k) => isFolder[k]);
    this.open(
      [...files].filter((_, k) => !isFolder[k]),
      folders.map(({ name }) => `${name} is a folder. Drop the recordings that are in it.`),
    );
  }

  run(job, files, name, { signal, ...rest }) {
    return this.jobs.run(job, files, { signal, onProgress: (progress) => tellProgress(name, progress), ...rest });
  }

  /** What can be read of the files is shown, and what cannot is told. */
  async open(files, remarks = []) {
    const failures = [...remarks];
    const task = async (signal) => {
      const loaded = await this.load(files, failures, signal);
      const method = this.shownMethod;
      this.show(loaded, false);
      await this.showMethodAgain(method, failures, signal);
      return loaded;
    };
    if (await this.work.run(task, 'The recordings cannot be shown')) {
      tell(failures);
    }
  }

  /** One after another, as memory is given back between them: `[{ file, unit }]`. */
  async load(files, failures, signal) {
    const loaded = [];
    for (const file of files) {
      try {
        loaded.push({ file, unit: await this.loadOne(file, files, 'filter', signal) });
      } catch (error) {
        signal.throwIfAborted();
        failures.push(this.failureOf(file, error));
      }
    }
    return loaded;
  }

  /** A unit of `levels()`, one of several that share the page's memory. */
  async loadOne(file, files, method, signal) {
    const share = { mostBins: Math.ceil(MOST_BINS / files.length), mostSamples: Math.floor(MOST_SAMPLES / files.length) };
    const name = files.length > 1 ? `${file.name}, ${files.indexOf(file) + 1} of ${files.length}` : file.name;
    const { units } = await this.run('levels', [file], name, { signal, options: { ...share, ...METHODS[method].options } });
    return units[0];
  }

  /** In the place of the orientation that is shown, which stays where this one is not to be had. */
  choose(method) {
    return this.work.run((signal) => this.showMethod(method, signal), 'The orientation cannot be computed');
  }

  async showMethod(method, signal) {
    const { page, files } = this;
    if (!page.hasMethod(method)) {
      const units = this.onOneClock ? await this.loadUnits(files, method, signal) : [];
      for (const file of this.onOneClock ? [] : files) {
        units.push(await this.loadOne(file, files, method, signal));
      }
      this.addOrientations(units, method);
    }
    page.showMethod(method);
  }

  addOrientations(units, method) {
    if (!units.some(({ channels }) => channels.some(({ name }) => name === ORIENTATION))) {
      throw Object.assign(new Error(`No orientation can be computed by this method: ${METHODS[method].label}`), {
        code: 'ERR_ORIENTATION',
      });
    }
    units.forEach((unit, k) => {
      const { name, origin, channels } = this.page.units[k];
      const { channels: computed } = unitOf(unit, { name, unitNumber: k, origin, method });
      channels.push(...computed.filter(({ name }) => name === ORIENTATION));
    });
  }

  /** Chosen for what is shown, or by the address for what comes. */
  get shownMethod() {
    return this.page?.method ?? methodInAddress() ?? 'filter';
  }

  /** What was chosen for the recordings before, or for these under another clock. */
  async showMethodAgain(method, failures, signal) {
    try {
      if (method !== this.page?.method) {
        await this.showMethod(method, signal);
      }
    } catch (error) {
      signal.throwIfAborted();
      failures.push(sentence(error, 'The orientation cannot be computed'));
    }
  }

  /** A CSV needs less memory than a view. */
  failureOf(file, error) {
    const text = sentence(error, `${file.name} cannot be read`);
    return error.code === 'ERR_NO_MEMORY' ? [`${text} Its CSV can be saved here: `, this.saveButton(file)] : text;
  }

  async setOneClock(on) {
    const { files } = this;
    const failures = [];
    const task = async (signal) => {
      const loaded = on ? await this.loadSet(files, signal) : await this.load(files, failures, signal);
      const method = this.shownMethod;
      this.show(loaded, on);
      await this.showMethodAgain(method, failures, signal);
      tell(failures);
    };
    await this.work.run(task, 'The recordings cannot be brought onto one clock');
    byId('one-clock').checked = this.onOneClock;
  }

  async loadSet(files, signal) {
    const units = await this.loadUnits(files, 'filter', signal);
    return units.map((unit, k) => ({ file: files[k], unit }));
  }

  /** On one clock. */
  async loadUnits(files, method, signal) {
    const options = { synchronised: true, mostBins: MOST_BINS, mostSamples: MOST_SAMPLES, ...METHODS[method].options };
    const { units } = await this.run('levels', files, 'All recordings', { signal, options });
    return units;
  }

  /** In the place of those that are shown, unless there are none. */
  show(loaded, onOneClock) {
    if (loaded.length === 0) {
      return;
    }
    this.page?.close();
    const common = Math.min(...loaded.map(({ unit }) => unit.start));
    const units = loaded.map(({ file, unit }, k) =>
      unitOf(unit, { name: file.name, unitNumber: k, origin: onOneClock ? common : unit.start, method: 'filter' }),
    );
    Object.assign(this, { files: loaded.map(({ file }) => file), onOneClock, outputs: {} });
    document.documentElement.dataset.shown = 'true';
    this.showSources();
    const compute = async (method) => {
      await this.choose(method);
    };
    this.page = new Page(units, { onOneClock, compute });
    globalThis.vortenaPage = this.page;
    this.page.start();
    this.page.complete();
  }

  showSources() {
    byId('clock').hidden = this.files.length < 2;
    byId('one-clock').checked = this.onOneClock;
    byId('saves').replaceChildren(...this.files.map((file, k) => this.saveButton(file, k)));
  }

  /** `k` is the place of a file that is shown: of a set its CSV is on the common clock. */
  saveButton(file, k) {
    const button = element('button', { type: 'button' }, `Save ${csvName(file.name)}`);
    button.addEventListener('click', () => this.save(file, this.onOneClock ? k : undefined));
    return button;
  }

  async save(file, placeInSet) {
    const { page } = this;
    const name = csvName(file.name);
    const output = await openOutput(name);
    if (!output) {
      return;
    }
    if (page !== this.page) {
      await output.abort(); // the person was asked for a while
      tell([`${name} is not saved, as other recordings are shown now.`]);
      return;
    }
    const method = this.files.includes(file) ? page.method : 'filter';
    const task = (signal) => this.write(file, { placeInSet, method }, output, signal);
    const bytes = await this.work.run(task, `${name} cannot be saved`);
    if (bytes) {
      const clock = placeInSet === undefined ? '' : ', on the common clock';
      tell([], `${name} is saved, ${numberText(bytes / 1e6, 1)} MB${clock}, orientation: ${METHODS[method].label}.`);
    }
  }

  /** Whole, or not there. Resolves with the size. */
  async write(file, { placeInSet, method }, output, signal) {
    let bytes = 0;
    const onPiece = (piece) => {
      bytes += piece.size ?? piece.length;
      return output.write(piece);
    };
    try {
      if (placeInSet === undefined) {
        await this.run('csv', [file], csvName(file.name), { signal, onPiece, options: METHODS[method].options });
      } else {
        await onPiece(await this.synchronisedCsv(placeInSet, method, signal));
      }
      await output.close();
      return bytes;
    } catch (error) {
      await output.abort();
      throw error;
    }
  }

  /** All CSVs of a set are made at once, and kept for those that are saved next. */
  async synchronisedCsv(k, method, signal) {
    if (!this.outputs[method]) {
      const outputs = await this.run('synchronise', this.files, 'All recordings', { signal, options: METHODS[method].options });
      this.outputs[method] = outputs.map((bytes) => new Blob([bytes]));
    }
    return this.outputs[method][k];
  }
}

async function main() {
  globalThis.vortenaReader = new Reader(await Jobs.from(byId('worker').textContent, byId('wasm').textContent));
}

main().catch((error) => {
  tell([`This page cannot read recordings: ${error.message}. It needs a browser of 2023 or newer.`]);
  throw error;
});
