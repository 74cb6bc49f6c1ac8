// What every program of this project checks: the recording at RECORDING becomes the CSV at EXPECTED, byte by byte, by the
// kind of native entry that BACKEND names.
'use strict';

const assert = require('node:assert/strict');
const fs = require('node:fs');
const { threadId } = require('node:worker_threads');

const { RECORDING: recording, EXPECTED: expected, BACKEND: kind = 'node-api' } = process.env;

function assertSame(csv) {
  assert.ok(csv.length > 100_000);
  assert.ok(fs.readFileSync(expected).equals(csv), 'the CSV differs');
}

function assertFile(csv) {
  assertSame(fs.readFileSync(csv));
  fs.rmSync(csv);
}

exports.assertMethods = ({ read, readConfig }) => {
  const csv = `methods-${process.pid}-${threadId}.csv`;
  assert.equal(JSON.parse(read(recording, csv)).error, undefined);
  assertFile(csv);
  assert.match(readConfig(recording), /"accel"/);
};

exports.assertPromises = async ({ backend, convert, readSamples }) => {
  const csv = `promises-${process.pid}-${threadId}.csv`;
  const { rows } = await convert(recording, csv);
  assertFile(csv);
  assert.equal((await readSamples(recording)).channels.accel.time.length, rows);
  assert.equal(backend().methods.kind, kind);
};

exports.assertWebAssembly = async ({ convert, csvPieces }) => {
  const bytes = fs.readFileSync(recording);
  assertSame(await convert(bytes));
  const pieces = [];
  for await (const piece of csvPieces(bytes)) {
    pieces.push(piece);
  }
  assertSame(Buffer.concat(pieces));
};
