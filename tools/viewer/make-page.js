// A page of one recording, or of a synchronised set, that holds all it needs.
'use strict';

const path = require('node:path');
const zlib = require('node:zlib');
const { levels } = require('vortena-reader/promises');
const { frame, pageScript } = require('./frame.js');
const { describeUnit, isCurve } = require('./page/description.js');
const { METHODS, methodOf, orientationsOf, withMethod } = require('./page/methods.js');
const { packSamples, toPlanes } = require('./page/packing.js');

/** The most that a page may hold. Base64 turns three bytes of data into four. */
const MOST_BYTES = 8_000_000;
const MOST_BINS = 200_000;
const MOST_SAMPLES_IN_PAGE = 1_500_000; // of all channels; more never fit
const MOST_COARSE_BINS = 8192;
const SPARE_COARSER = 2; // levels
const COUNTS = 2 ** 15;
const QUANTA = { baro: [1 / 4096, 0.01], mag: [1, 1, 1] }; // mbar, degrees; counts
const ATTITUDE_ROWS = 4;
const POLICY =
  "default-src 'none'; script-src 'unsafe-inline'; style-src 'unsafe-inline'; img-src data: blob:; connect-src 'self'";

const asJson = (value) => JSON.stringify(value).replace(/</g, '\\u003c');
const deflate = (parts) =>
  zlib.deflateRawSync(Buffer.concat(parts.map((part) => Buffer.from(part.buffer, part.byteOffset, part.byteLength))));

/** What one count of the sensor means, for each axis; 0 where that is not known. */
function quantaOf({ name, axes }, config) {
  const sensor = config[name];
  return sensor?.gainX === undefined
    ? (QUANTA[name] ?? axes.map(() => 0))
    : ['gainX', 'gainY', 'gainZ'].map((gain) => Math.abs(sensor.range / COUNTS / sensor[gain]));
}

/** Each level but the first `dropped`; only every second below: the page draws at most twice the columns it needs. */
function thinned(channel, dropped) {
  const rows = 2 * channel.scales.length + (channel.attitudes ? ATTITUDE_ROWS : 0);
  let at = 0;
  const all = channel.levels.map((bins) => {
    const codes = channel.codes.subarray(at, at + rows * bins.count);
    at += codes.length;
    return { bins, codes };
  });
  const last = Math.min(dropped, all.length - 1);
  return all.filter((_, k) => k >= last && (k - last) % 2 === 0);
}

/** Coarse levels, which the page unpacks first, apart from fine ones. */
function packLevels(channel, dropped) {
  const kept = thinned(channel, dropped);
  const coarse = Math.max(1, kept.filter(({ bins }) => bins.count <= MOST_COARSE_BINS).length);
  const parts = [kept.slice(-coarse), kept.slice(0, -coarse)].map((levelsOfPart) => deflate(joined(levelsOfPart)));
  return {
    levels: kept.map(({ bins }) => bins),
    coarse,
    coarseBytes: parts[0],
    fineBytes: kept.length > coarse ? parts[1] : undefined,
  };
}

function joined(kept) {
  const codes = new Uint16Array(kept.reduce((sum, level) => sum + level.codes.length, 0));
  let at = 0;
  kept.forEach((level) => {
    codes.set(level.codes, at);
    at += level.codes.length;
  });
  return [toPlanes(codes)];
}

/** The finest levels that fit into `room` bytes of base64. Those that are shown on demand alone are the first to go. */
function fitLevels(units, room, isSpare) {
  const channels = units.flatMap((unit) => unit.channels.filter(isCurve));
  for (let step = 0; ; step += 1) {
    const dropped = step >> 1;
    const droppedOf = (channel) => dropped + (isSpare(channel) && step % 2 === 1 ? SPARE_COARSER : 0);
    const packed = new Map(channels.map((channel) => [channel, packLevels(channel, droppedOf(channel))]));
    const bytes = [...packed.values()].reduce(
      (sum, { coarseBytes, fineBytes }) => sum + base64Length(coarseBytes) + base64Length(fineBytes ?? []),
      0,
    );
    if (bytes <= room || channels.every(({ levels: list }) => dropped >= list.length)) {
      return { packed, bytes };
    }
  }
}

const base64Length = (data) => Math.ceil(data.length / 3) * 4;

/** All samples, or those that are not spare, or none. */
function fitSamples(units, room, isSpare) {
  const whole = packAll(units, room, () => true);
  return whole.size > 0 ? whole : packAll(units, room, (channel) => !isSpare(channel));
}

function packAll(units, room, isWanted) {
  const packed = new Map();
  let bytes = 0;
  for (const { channels, config } of units) {
    for (const channel of channels.filter(isCurve).filter(isWanted)) {
      const { samples, parts } = channel.kept ? packSamples(channel.kept, quantaOf(channel, config), config.frequency) : {};
      packed.set(channel, samples && { samples, data: deflate(parts) });
      bytes += samples ? base64Length(packed.get(channel).data) : Infinity;
    }
  }
  return bytes <= room ? packed : new Map();
}

/** The page's data: a description, and blobs that it refers to by number. */
function describe(units, names, { levelsOf, samplesOf, served, method }) {
  const blobs = [];
  const add = (data) => blobs.push(data.toString('base64')) - 1;
  const dataOf = (channel) => {
    const { levels: list, coarse, coarseBytes, fineBytes } = levelsOf.get(channel);
    const kept = samplesOf.get(channel);
    const levelData = { levels: list, coarse, coarseData: add(coarseBytes), fineData: fineBytes && add(fineBytes) };
    return kept ? { ...levelData, samples: kept.samples, sampleData: add(kept.data) } : levelData;
  };
  const described = units.map((unit, unitNumber) => describeUnit(unit, { name: names[unitNumber], unitNumber, dataOf }));
  return { description: { origin: Math.min(...units.map(({ start }) => start)), served, method, units: described }, blobs };
}

function fill(html, { description, blobs }) {
  const scripts = blobs.map((blob, k) => `<script type="text/plain" id="data-${k}">${blob}</script>`);
  return html.replace('{{DATA}}', () =>
    [`<script type="application/json" id="description">${asJson(description)}</script>`, ...scripts].join('\n'),
  );
}

/** Units with the orientation that is shown first, and with another one that the page can be switched to. */
async function load(recordings, method, options) {
  const { units } = await levels(recordings, { ...options, ...METHODS[method].options });
  const other = method === 'smoothed' ? 'filter' : 'smoothed';
  const { units: others } = await levels(recordings, { ...options, ...METHODS[other].options });
  return units.map((unit, k) => {
    const { channels, ...rest } = withMethod(unit, method);
    return { ...rest, channels: [...channels, ...orientationsOf(others[k], other)] };
  });
}

/**
 * Loads recordings and makes their page: `{ html, units }`. With `served`, samples are left to the server, and `units`
 * keep them. `orientation` and `gyroscopeOffset` decide which orientation is shown first.
 */
async function makePage(recordings, options = {}) {
  const { synchronised = recordings.length > 1, served = false, orientation, gyroscopeOffset, ...others } = options;
  const method = methodOf({ orientation, gyroscopeOffset });
  const isSpare = (channel) => channel.method !== undefined && channel.method !== method;
  const units = await load(recordings, method, {
    ...others,
    synchronised,
    mostBins: MOST_BINS,
    mostSamples: served ? Number.MAX_SAFE_INTEGER : MOST_SAMPLES_IN_PAGE,
  });
  const html = frame({ script: pageScript(), title: 'Recording', generator: 'vortena view', policy: POLICY });
  const names = recordings.map((recording) => path.basename(recording));
  const bare = describe(units, names, { levelsOf: fitLevels(units, 0, isSpare).packed, samplesOf: new Map(), served, method });
  const room = MOST_BYTES - Buffer.byteLength(fill(html, { ...bare, blobs: [] })) - 1000;
  const { packed, bytes } = fitLevels(units, room, isSpare);
  const samplesOf = served ? new Map() : fitSamples(units, room - bytes, isSpare);
  return { html: fill(html, describe(units, names, { levelsOf: packed, samplesOf, served, method })), units };
}

module.exports = { makePage, quantaOf };
