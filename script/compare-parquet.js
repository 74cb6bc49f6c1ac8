// node compare-parquet.js FOLDER PAGE: compares the Parquet tables in FOLDER/out/walk, as DuckDB reads them, with the samples of
// FOLDER/walk.bin, and runs the SQL of the page's section on Parquet there.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const { createRequire } = require('node:module');
const path = require('node:path');
const { readSamples } = require('../promises.js');

const [folder, page] = process.argv.slice(2);
const { DuckDBInstance } = createRequire(path.join(path.resolve(folder), 'package.json'))('@duckdb/node-api');

async function connect() {
  process.chdir(folder); // the page's paths are relative
  const connection = await (await DuckDBInstance.create(':memory:')).connect();
  return async (sql) => (await connection.runAndReadAll(sql)).getRowsJS();
}

/** Without rounding errors of their own: sums of three million numbers in any order agree to twelve digits. */
function figuresOf(values) {
  let [sum, rest, least, most] = [0, 0, Infinity, -Infinity];
  for (const value of values) {
    const y = value - rest;
    rest = sum + y - sum - y;
    sum += y;
    least = Math.min(least, value);
    most = Math.max(most, value);
  }
  return [values.length, least, most, sum];
}

function assertSame(found, wanted, what) {
  assert.deepEqual(found.slice(0, 3).map(Number), wanted.slice(0, 3), what);
  const slack = 1e-12 * Math.max(1, Math.abs(wanted[3]), wanted[0]);
  assert.ok(Math.abs(found[3] - wanted[3]) <= slack, `${what}: sum ${found[3]}, not ${wanted[3]}`);
}

async function compareTable(query, name, file, channel) {
  const oriented = (_, i) => ['w', 'x', 'y', 'z'].some((axis) => channel[axis][i] !== 0);
  for (const [column, values] of Object.entries(channel).filter(([, each]) => ArrayBuffer.isView(each))) {
    const kept = name === 'quaternion' ? values.filter(oriented) : values;
    const [row] = await query(`SELECT count(*), min("${column}"), max("${column}"), fsum("${column}") FROM 'out/walk/${file}'`);
    assertSame(row, figuresOf(kept), `${name}.${column}`);
  }
  const codecs = await query(`SELECT DISTINCT compression FROM parquet_metadata('out/walk/${file}')`);
  return codecs.flat().join(', ');
}

/** Each block under "## Parquet"; the one that joins is compared with a search by hand. */
async function runPage(query, text, { accel, baro }) {
  const section = text.slice(text.indexOf('\n## Parquet')).split(/\n## (?!Parquet)/)[0];
  const blocks = [...section.matchAll(/^```sql\n([^]*?)^```$/gm)].map(([, sql]) => sql);
  for (const sql of blocks) {
    const rows = await query(sql);
    assert.ok(rows.length > 0, sql);
    if (sql.includes('ASOF')) {
      let last = -1;
      rows
        .sort(([a], [b]) => a - b)
        .forEach(([time, , , , pressure], i) => {
          assert.equal(time, accel.time[i]);
          while (baro.time[last + 1] <= time) last += 1;
          assert.equal(pressure, last < 0 ? null : baro.pressure[last]);
        });
      assert.equal(rows.length, accel.time.length);
    }
  }
  return blocks.length;
}

async function main() {
  const text = fs.readFileSync(page, 'utf8');
  const query = await connect();
  const { channels } = await readSamples('walk.bin');
  const { tables } = JSON.parse(fs.readFileSync('out/walk/recording.json', 'utf8'));
  const codecs = new Set();
  for (const [name, { file }] of Object.entries(tables)) {
    codecs.add(await compareTable(query, name, file, channels[name]));
  }
  const blocks = await runPage(query, text, channels);
  const [parquet, csv] = ['parquet', 'csv'].map((to) =>
    fs
      .readFileSync(`${to}.json`, 'utf8')
      .split('\n')
      .slice(0, -1)
      .map(JSON.parse)
      .find(({ event }) => event === 'converted'),
  );
  const megabytes = ({ bytes }) => `${(bytes / 1e6).toFixed(0)} MB`;
  const count = Object.keys(tables).length;
  console.log(
    `${count} tables of ${[...codecs].join(', ')}: the same rows, minima, maxima and sums; ${blocks} queries of the page run`,
  );
  console.log(`Parquet ${parquet.ms} ms, ${megabytes(parquet)}; CSV ${csv.ms} ms, ${megabytes(csv)}`);
}

main();
