// A folder for each recording, with a Parquet table for each channel at its own rate and true times. The folder appears
// whole or not at all.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');
const { setImmediate: otherEvents } = require('node:timers/promises');
const zlib = require('node:zlib');
const { partOf } = require('vortena-reader/outputs');
const { readSamples } = require('vortena-reader/promises');
const { version } = require('../../package.json');
const { FOLDER_OWNER_ONLY, makeFolder, publishFolder, requireFolderPlace, syncToDisk } = require('./whole.js');

const ROWS_OF_GROUP = 200_000;
const DESCRIPTION = 'recording.json';

/** All tools that read Parquet read both; zlib has zstd from Node.js 22.15 on. */
const compression = zlib.zstdCompressSync
  ? { codec: 'ZSTD', compressors: { ZSTD: (bytes) => zlib.zstdCompressSync(bytes) } }
  : { codec: 'SNAPPY' };

/** "radioByte" as "radio_byte.parquet". */
const fileOf = (name) => `${name.replace(/[A-Z]/g, (letter) => `_${letter.toLowerCase()}`)}.parquet`;

const isArray = ([, values]) => ArrayBuffer.isView(values);

/** The samples before the first orientation and behind the last have none; their rows would be four zeros. */
function oriented({ time, w, x, y, z, ...rest }) {
  const has = (_, i) => w[i] !== 0 || x[i] !== 0 || y[i] !== 0 || z[i] !== 0;
  const [first, last] = [w.findIndex(has), w.findLastIndex(has)];
  const cut = (values) => values.subarray(Math.max(0, first), last + 1);
  return { ...rest, time: cut(time), w: cut(w), x: cut(x), y: cut(y), z: cut(z) };
}

/** By column. The reader gives one unit for all axes, or one for each. */
function unitsOf(columns, unit) {
  return Object.fromEntries(
    columns.map(([name]) => [name, name === 'time' ? 's' : typeof unit === 'string' ? unit : unit[name]]),
  );
}

/** `{ name, file, rows, rate, units, columns }` of a channel; columns are pairs of a name and a typed array. */
function tableOf([name, channel]) {
  const { rate, unit, ...arrays } = name === 'quaternion' ? oriented(channel) : channel;
  const { time, ...axes } = Object.fromEntries(Object.entries(arrays).filter(isArray));
  const columns = Object.entries({ time, ...axes });
  return { name, file: fileOf(name), rows: time.length, rate, units: unitsOf(columns, unit), columns };
}

/** The start by the unit's own clock; no time zone is known. */
function startText({ year, month, day, hour, minute, second }) {
  const two = (number) => String(number).padStart(2, '0');
  return year === 0 ? undefined : `${year}-${two(month)}-${two(day)}T${two(hour)}:${two(minute)}:${two(second)}`;
}

/** Tools show these pairs of texts as the file's metadata. */
function metadataOf({ name, rate, units }, recording, { createdAt, deviceId, hasDevice }) {
  const values = {
    recording: path.basename(recording),
    channel: name,
    rate_hz: String(rate),
    units: JSON.stringify(units),
    start: startText(createdAt),
    device_id: hasDevice ? String(deviceId) : undefined,
  };
  return Object.entries(values)
    .filter(([, value]) => value !== undefined)
    .map(([key, value]) => ({ key, value }));
}

/** Quaternions are computed as floats; all else keeps every digit. */
const typeOf = (table, column) => (table === 'quaternion' && column !== 'time' ? 'FLOAT' : 'DOUBLE');

/** Calls `written(rows)` after each group of rows; what that throws ends the table. */
async function writeTable(file, { name, rows, columns }, kvMetadata, written) {
  const { ParquetWriter, schemaFromColumnData } = await import('hyparquet-writer');
  const { fileWriter } = await import('hyparquet-writer/src/node.js');
  const group = (from) =>
    columns.map(([column, values]) => ({
      name: column,
      data: values.subarray(from, from + ROWS_OF_GROUP),
      type: typeOf(name, column),
      nullable: false,
      encoding: 'PLAIN',
    }));
  const writer = new ParquetWriter({
    writer: fileWriter(file),
    schema: schemaFromColumnData({ columnData: group(0) }),
    kvMetadata,
    createdBy: `vortena-tools ${version}`,
    ...compression,
  });
  for (let from = 0; from < rows; from += ROWS_OF_GROUP) {
    writer.write({ columnData: group(from), rowGroupSize: ROWS_OF_GROUP });
    await otherEvents();
    written(Math.min(ROWS_OF_GROUP, rows - from));
  }
  writer.finish();
}

function describe(recording, tables, config, report) {
  const listed = tables.map(({ name, file, rows, rate, units }) => [name, { file, rows, rate, units }]);
  const members = { recording: path.basename(recording), tables: Object.fromEntries(listed) };
  const header = { ...config, unknownFrames: config.unknownFrames.toString('base64') };
  return `${JSON.stringify({ ...members, config: header, report }, null, 2)}\n`;
}

/** Tells how many of all rows are written, and stops the job when it is to stop. */
function rowCounter(tables, { signal, onProgress }) {
  const total = tables.reduce((sum, { rows }) => sum + rows, 0);
  let done = 0;
  return (rows) => {
    signal.throwIfAborted();
    done += rows;
    onProgress({ stage: 'tables', fraction: done / total });
  };
}

async function fillFolder(folder, recording, { config, channels, report }, context) {
  const tables = Object.entries(channels).map(tableOf);
  const written = rowCounter(tables, context);
  for (const table of tables) {
    await writeTable(path.join(folder, table.file), table, metadataOf(table, recording, config), written);
  }
  await fs.writeFile(path.join(folder, DESCRIPTION), describe(recording, tables, config, report));
  return tables;
}

async function totalSize(folder) {
  const sizes = (await fs.readdir(folder)).map(async (name) => (await fs.stat(path.join(folder, name))).size);
  return (await Promise.all(sizes)).reduce((sum, size) => sum + size, 0);
}

async function syncFiles(folder) {
  for (const name of await fs.readdir(folder)) {
    await syncToDisk(path.join(folder, name));
  }
}

async function writeParquet({ recording, output, fsync, overwrite, orientation, gyroscopeOffset }, context) {
  await makeFolder(path.dirname(output));
  await requireFolderPlace(output, { proof: DESCRIPTION, overwrite });
  // The filter is wanted where it is possible, the smoother where it was asked for.
  const method = orientation === 'smoothed' ? { orientation } : {};
  const samples = await readSamples(recording, { ...context, ...method, gyroscopeOffset });
  const part = partOf(output);
  try {
    await fs.mkdir(part, { mode: FOLDER_OWNER_ONLY });
    const tables = await fillFolder(part, recording, samples, context);
    const bytes = await totalSize(part);
    if (fsync) {
      await syncFiles(part);
    }
    await publishFolder(part, output, { proof: DESCRIPTION, fsync, overwrite });
    return { rows: Math.max(0, ...tables.map(({ rows }) => rows)), bytes, report: samples.report };
  } finally {
    await fs.rm(part, { recursive: true, force: true });
  }
}

module.exports = { writeParquet };
