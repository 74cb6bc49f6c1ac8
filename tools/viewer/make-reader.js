// node make-reader.js: makes reader.html, the page that reads recordings itself, from the pages' code and the reader as
// WebAssembly.
'use strict';

const crypto = require('node:crypto');
const fs = require('node:fs');
const path = require('node:path');
const zlib = require('node:zlib');
const { bundle, enclosed, fileText, frame, scriptsOf } = require('./frame.js');

const READER = path.join(__dirname, 'reader.html');
const WASM = path.join(__dirname, '..', '..', 'wasm', 'vortena.wasm');
const LICENCES =
  '<p>The reader holds parts of musl, © 2005–2020 Rich Felker and others, and of Emscripten, © its authors, under the same ' +
  'licence, and libc++ of the LLVM project, under Apache-2.0 with LLVM exceptions.</p>';

const script = bundle('drop/reader.js');

/** It does not ask `import.meta` for the module: the page hands that in. */
const workerScript = () => bundle('drop/reader-worker.js', { minify: true, logOverride: { 'empty-import-meta': 'silent' } });

const hashOf = (script) => `'sha256-${crypto.createHash('sha256').update(script).digest('base64')}'`;

/** Nothing but the page's own scripts runs, and nothing connects. Workers made from blobs are held to it as well. */
function policy() {
  const scripts = scriptsOf(script).map(hashOf).join(' ');
  return (
    `default-src 'none'; script-src ${scripts} 'wasm-unsafe-eval'; worker-src blob:; style-src 'unsafe-inline'; ` +
    "img-src data: blob:; connect-src 'none'; base-uri 'none'; form-action 'none'"
  );
}

function makeReader() {
  const page = frame({
    script,
    title: 'Recordings – Vortena',
    generator: 'vortena reader',
    policy: policy(),
    style: fileText('reader.css'),
    sources: fileText('sources.html'),
    licences: LICENCES,
  });
  const wasm = zlib.deflateRawSync(fs.readFileSync(WASM), { level: 9 }).toString('base64');
  const data = [
    `<script type="text/plain" id="worker">${enclosed(workerScript())}</script>`,
    `<script type="text/plain" id="wasm">${wasm}</script>`,
  ];
  return page.replace('{{DATA}}', () => data.join('\n'));
}

fs.writeFileSync(READER, makeReader());
