// A page around its data: style, scripts and licence in one file.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

const fileText = (...names) => fs.readFileSync(path.join(__dirname, ...names), 'utf8');

/** The modules that `main` of page/ requires, and those that they do, by the names that they are required by. */
function modulesFrom(main, found = new Map()) {
  const text = fileText('page', `${main}.js`);
  found.set(main, text);
  for (const [, name] of text.matchAll(/require\('\.\/([\w-]+)\.js'\)/g)) {
    if (!found.has(name)) {
      modulesFrom(name, found);
    }
  }
  return found;
}

/** As one script. */
function bundle(main) {
  const modules = Array.from(modulesFrom(main), ([name, text]) => `'./${name}.js': (module, require) => {${text}\n}`);
  return `(() => {
const sources = {${modules.join(',\n')}};
const loaded = {};
function require(name) {
  if (!loaded[name]) {
    loaded[name] = { exports: {} };
    sources[name](loaded[name], require);
  }
  return loaded[name].exports;
}
require('./${main}.js');
})();`;
}

/** Text within an element must not end it. */
const enclosed = (text) => text.replace(/<\/(script|style)/gi, '<\\/$1').replace(/<!--/g, '<\\!--');
const asHtml = (text) => text.replace(/[&<>]/g, (c) => `&#${c.charCodeAt()};`);

/** The scripts of a page whose code begins in `main` of page/, in order. */
function scriptsOf(main) {
  const plotting = path.dirname(require.resolve('uplot/package.json'));
  return [fs.readFileSync(path.join(plotting, 'dist', 'uPlot.iife.min.js'), 'utf8'), bundle(main)].map(enclosed);
}

/** A page without data, for which it has the place {{DATA}}. `sources` is HTML above the recording, `licences` below uPlot's. */
function frame({ main, title, generator, policy, style = '', sources = '', licences = '' }) {
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
    SCRIPTS: scriptsOf(main)
      .map((script) => `<script>${script}</script>`)
      .join('\n'),
  };
  return fileText('page.html').replace(/\{\{(\w+)\}\}/g, (whole, name) => parts[name] ?? whole);
}

module.exports = { enclosed, fileText, frame, scriptsOf };
