// A page without recordings of its own: reads those that are dropped on it or chosen, shows them and saves their CSV.
'use strict';

const { element } = require('../page/chart.js');
const { describeUnit } = require('../page/description.js');
const { Jobs } = require('./jobs.js');
const { Page } = require('../page/page.js');
const { Channel, unitFrom } = require('../page/recording.js');
const { openOutput } = require('../page/saving.js');
const { numberText } = require('../page/scales.js');
const { Work, sentence, tell, tellProgress } = require('./work.js');

/** Of all recordings together; what the page keeps of them stays below some 300 MB. */
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

/** A unit of `levels()` as the page shows it. */
function unitOf(unit, name, unitNumber, origin) {
  const dataOf = ({ levels }) => ({ levels, coarse: levels.length });
  const shown = unitFrom(describeUnit(unit, { name, unitNumber, dataOf }), origin);
  const read = new Map(unit.channels.map((channel) => [channel.key, channel]));
  return { ...shown, channels: shown.channels.map((channel) => channelOf(channel, read.get(channel.key), origin)) };
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
      this.show(loaded, false);
      return loaded;
    };
    if (await this.work.run(task, 'The recordings cannot be shown')) {
      tell(failures);
    }
  }

  /** One after another, as memory is given back between them: `[{ file, unit }]`. */
  async load(files, failures, signal) {
    const loaded = [];
    const options = { mostBins: Math.ceil(MOST_BINS / files.length), mostSamples: Math.floor(MOST_SAMPLES / files.length) };
    for (const [k, file] of files.entries()) {
      const name = files.length > 1 ? `${file.name}, ${k + 1} of ${files.length}` : file.name;
      try {
        const { units } = await this.run('levels', [file], name, { signal, options });
        loaded.push({ file, unit: units[0] });
      } catch (error) {
        signal.throwIfAborted();
        failures.push(this.failureOf(file, error));
      }
    }
    return loaded;
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
      this.show(on ? await this.loadSet(files, signal) : await this.load(files, failures, signal), on);
      tell(failures);
    };
    await this.work.run(task, 'The recordings cannot be brought onto one clock');
    byId('one-clock').checked = this.onOneClock;
  }

  async loadSet(files, signal) {
    const options = { synchronised: true, mostBins: MOST_BINS, mostSamples: MOST_SAMPLES };
    const { units } = await this.run('levels', files, 'All recordings', { signal, options });
    return units.map((unit, k) => ({ file: files[k], unit }));
  }

  /** In the place of those that are shown, unless there are none. */
  show(loaded, onOneClock) {
    if (loaded.length === 0) {
      return;
    }
    this.page?.close();
    const common = Math.min(...loaded.map(({ unit }) => unit.start));
    const units = loaded.map(({ file, unit }, k) => unitOf(unit, file.name, k, onOneClock ? common : unit.start));
    Object.assign(this, { files: loaded.map(({ file }) => file), onOneClock, outputs: undefined });
    document.documentElement.dataset.shown = 'true';
    this.showSources();
    this.page = new Page(units, { onOneClock });
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
    const bytes = await this.work.run((signal) => this.write(file, placeInSet, output, signal), `${name} cannot be saved`);
    if (bytes) {
      const clock = placeInSet === undefined ? '' : ', on the common clock';
      tell([], `${name} is saved, ${numberText(bytes / 1e6, 1)} MB${clock}.`);
    }
  }

  /** Whole, or not there. Resolves with the size. */
  async write(file, placeInSet, output, signal) {
    let bytes = 0;
    const onPiece = (piece) => {
      bytes += piece.size ?? piece.length;
      return output.write(piece);
    };
    try {
      if (placeInSet === undefined) {
        await this.run('csv', [file], csvName(file.name), { signal, onPiece });
      } else {
        await onPiece(await this.synchronisedCsv(placeInSet, signal));
      }
      await output.close();
      return bytes;
    } catch (error) {
      await output.abort();
      throw error;
    }
  }

  /** All CSVs of a set are made at once, and kept for those that are saved next. */
  async synchronisedCsv(k, signal) {
    if (!this.outputs) {
      const outputs = await this.run('synchronise', this.files, 'All recordings', { signal });
      this.outputs = outputs.map((bytes) => new Blob([bytes]));
    }
    return this.outputs[k];
  }
}

async function main() {
  globalThis.vortenaReader = new Reader(await Jobs.from(byId('worker').textContent, byId('wasm').textContent));
}

main().catch((error) => {
  tell([`This page cannot read recordings: ${error.message}. It needs a browser of 2023 or newer.`]);
  throw error;
});
