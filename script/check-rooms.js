// The rooms of the house and the ways between them, from the includes and requires. Fails where one leads up, round, or
// past a door. Usage: node script/check-rooms.js [--list]
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

/** Each with the rooms that it may use. CMakeLists.txt links the same ones. */
const ROOMS = {
  'src/system': [],
  'src/tracker': [],
  'src/smoother': [],
  'src/reader/decoding': ['src/system'],
  'src/reader/texts': ['src/reader/decoding', 'src/system'],
  'src/reader': ['src/reader/texts', 'src/reader/decoding', 'src/tracker', 'src/system'],
  'src/quality': ['src/reader', 'src/reader/texts', 'src/reader/decoding', 'src/system'],
  'src/operations': [
    'src/quality',
    'src/reader',
    'src/reader/texts',
    'src/reader/decoding',
    'src/smoother',
    'src/tracker',
    'src/system',
  ],
  'src/bindings-shared': [
    'src/operations',
    'src/quality',
    'src/reader',
    'src/reader/texts',
    'src/reader/decoding',
    'src/smoother',
    'src/system',
  ],
  'src/bindings-napi': ['src/bindings-shared', 'src/system'],
  'src/bindings-js.cpp': ['src/bindings-shared', 'src/reader'],
  'src/bindings-wasm.cpp': ['src/bindings-shared', 'src/operations', 'src/reader/texts', 'src/system'],

  'src/requests': [],
  'src/promises': ['src/requests', 'src/loading.js'],
  'src/wasm': ['src/requests'],
  'src/loading.js': ['src/requests', 'src/wasm'],
  'index.js': ['src/loading.js'],
  'promises.js': ['src/promises', 'src/requests', 'src/loading.js'],
  'outputs.js': ['src/promises', 'src/requests'],
  'wasm.js': ['src/wasm'],
  'tools/viewer/page': [],
  'tools/viewer/drop': ['tools/viewer/page', 'wasm.js'],
  'tools/viewer': ['tools/viewer/page', 'tools/viewer/drop', 'promises.js'],
  'tools/lib/telling': ['tools/viewer/page'],
  'tools/lib/finding': ['tools/lib/telling', 'outputs.js'],
  'tools/lib/outputs': ['tools/lib/telling', 'promises.js', 'outputs.js'],
  'tools/lib/running': ['tools/lib/outputs', 'tools/lib/telling', 'promises.js', 'outputs.js'],
  'tools/lib/commands': [
    'tools/lib/running',
    'tools/lib/outputs',
    'tools/lib/finding',
    'tools/lib/telling',
    'tools/viewer',
    'promises.js',
    'outputs.js',
  ],
  'tools/lib': ['tools/lib/commands', 'tools/lib/telling', 'promises.js'],
  'tools/bin': ['tools/lib'],
  'queue/lib': ['src/requests', 'tools/lib/outputs', 'tools/lib/finding', 'tools/lib/running', 'tools/lib/telling'],
};
const NAMES = Object.keys(ROOMS).sort((a, b) => b.length - a.length);

/** Packages of this repository by the names that others require them with. */
const PACKAGES = {
  'vortena-reader': 'index.js',
  'vortena-reader/promises': 'promises.js',
  'vortena-reader/outputs': 'outputs.js',
  'vortena-reader/wasm': 'wasm.js',
  'vortena-reader/options': 'src/requests/options.js',
};

const roomOf = (file) => NAMES.find((name) => file === name || file.startsWith(`${name}/`));

function* usedBy(file) {
  const text = fs.readFileSync(file, 'utf8');
  for (const [, name] of text.matchAll(/^#include "([^"]+)"/gm)) {
    yield path.posix.join('src', name);
  }
  for (const [, name] of text.matchAll(/(?:require|import)\(\s*'([^']+)'\s*\)/g)) {
    if (name.startsWith('.')) {
      yield path.posix.join(path.posix.dirname(file), name);
    } else if (PACKAGES[name]) {
      yield PACKAGES[name];
    } else if (name.startsWith('vortena-tools/')) {
      yield name.replace('vortena-tools', 'tools');
    }
  }
}

function* arrows() {
  const files = execFileSync('git', ['ls-files', '*.cpp', '*.h', '*.js'], { encoding: 'utf8' }).split('\n').filter(Boolean);
  for (const file of files.filter((name) => !/(^|\/)tests\//.test(name) && fs.existsSync(name))) {
    const from = roomOf(file);
    for (const used of from ? usedBy(file) : []) {
      const to = roomOf(used);
      if (to !== from && fs.existsSync(used) && !used.endsWith('.json')) {
        yield { file, used, from, to };
      }
    }
  }
}

/** How many rooms lie below, on the longest way down; Infinity for one that leads back to itself. */
function floorsBelow(room, below, way = []) {
  return way.includes(room)
    ? Infinity
    : Math.max(0, ...[...(below.get(room) ?? [])].map((each) => 1 + floorsBelow(each, below, [...way, room])));
}

function main() {
  const all = [...arrows()];
  const wrong = all.filter(({ from, to }) => !ROOMS[from].includes(to));
  const below = new Map(NAMES.map((name) => [name, new Set()]));
  all.forEach(({ from, to }) => to && below.get(from).add(to));
  const used = NAMES.filter((name) => fs.existsSync(name));
  const inSource = used.filter(
    (name) => name.startsWith('src/') && !name.endsWith('.js') && !/requests|promises|wasm$/.test(name),
  );
  for (const [what, rooms] of [
    ['C++', inSource],
    ['all', used],
  ]) {
    const count = rooms.reduce((sum, name) => sum + below.get(name).size, 0);
    console.log(
      `${what}: ${rooms.length} rooms on ${1 + Math.max(...rooms.map((name) => floorsBelow(name, below)))} floors, ${count} ways between them`,
    );
  }
  if (process.argv.includes('--list')) {
    used.forEach((name) => console.log(`${name} -> ${[...below.get(name)].join(' ')}`));
  }
  wrong.forEach(({ file, used: target }) => console.error(`${file} uses ${target}, which is not below it`));
  process.exitCode = wrong.length > 0 ? 1 : 0;
}

main();
