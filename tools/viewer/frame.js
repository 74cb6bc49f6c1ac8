// A page around its data: style, scripts and licence in one file.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

const fileText = (...names) => fs.readFileSync(path.join(__dirname, ...names), 'utf8');

/** What the packed package has in place of esbuild. */
const BUNDLED = 'page.bundle.js';

/** A script with all that its modules need. */
function bundle(entry, options = {}) {
  const { outputFiles } = require('esbuild').buildSync({
    entryPoints: [path.join(__dirname, entry)],
    bundle: true,
    format: 'iife',
    platform: 'browser',
    target: 'es2022',
    charset: 'utf8',
    legalComments: 'inline',
    write: false,
    ...options,
  });
  return outputFiles[0].text;
}

/** The script of a recording's page. */
const pageScript = () => (fs.existsSync(path.join(__dirname, BUNDLED)) ? fileText(BUNDLED) : bundle('page/main.js'));

/** Text within an element must not end it. */
const enclosed = (text) => text.replace(/<\/(script|style)/gi, '<\\/$1').replace(/<!--/g, '<\\!--');
const asHtml = (text) => text.replace(/[&<>]/g, (c) => `&#${c.charCodeAt()};`);

/** The scripts of a page, in order. */
function scriptsOf(script) {
  const plotting = path.dirname(require.resolve('uplot/package.json'));
  return [fs.readFileSync(path.join(plotting, 'dist', 'uPlot.iife.min.js'), 'utf8'), script].map(enclosed);
}

/** A page without data, for which it has the place {{DATA}}. `sources` is HTML above the recording, `licences` below uPlot's. */
function frame({ script, title, generator, policy, style = '', sources = '', licences = '' }) {
  const plotting = path.dirname(require.resolve('uplot/package.json'));
  const library = (...names) => fs.readFileSync(path.join(plotting, ...names), 'utf8');
  const parts = {
    GENERATOR: generator,
    POLICY: policy,
    TITLE: title,
    STYLE: library('dist', 'uPlot.min.css') + fileText('style.css') + style,
    SOURCES: sources,
    LICENCE: asHtml(library('LICENSE')),
    LICENCES: licences,
    SCRIPTS: scriptsOf(script)
      .map((script) => `<script>${script}</script>`)
      .join('\n'),
  };
  return fileText('page.html').replace(/\{\{(\w+)\}\}/g, (whole, name) => parts[name] ?? whole);
}

module.exports = { BUNDLED, bundle, enclosed, fileText, frame, pageScript, scriptsOf };
