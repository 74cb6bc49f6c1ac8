// Prints what the files in prebuilds/ ask of the system that loads them, as a table, and fails when it is more than the
// oldest systems that are served have, or when a file exports more than a Node.js looks for.
'use strict';

const { execFileSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const zlib = require('node:zlib');

/** The newest version of each library's symbols that systems with glibc 2.33 and the libraries of g++ 11 have. */
const limits = { GLIBC: '2.33', GLIBCXX: '3.4.29', CXXABI: '1.3.13', GCC: '11.0' };
const processors = { x64: 'x86_64', arm64: 'aarch64' };
const meantToBeSeen = /^(napi_register_module|node_api_module_get_api_version)_v\d+$/;

const oldestHave = (limit) => `the oldest systems have ${limit}. Build on Debian 12: the compilers of newer ones ask for more.`;
const numeric = (a, b) => a.localeCompare(b, 'en', { numeric: true });

/** The dynamic symbol table, but for what is local to the file, as [isDefined, version, name]. */
function dynamicSymbols(file) {
  const [, platform] = path.basename(path.dirname(file)).split('-');
  const table = execFileSync(`${processors[platform]}-linux-gnu-objdump`, ['-T', file], { encoding: 'utf8' });
  const lines = table.matchAll(/^[0-9a-f]{16} [^l].{6} (\S+)\t[0-9a-f]{16} +(?:\(?([\w.]+)\)? +)?(\S+)$/gm);
  return [...lines].map(([, section, version = '', name]) => [section !== '*UND*', version, name]);
}

function newestOf(library, symbols) {
  const versions = symbols.filter(([, version]) => version.startsWith(`${library}_`)).map(([, version]) => version.split('_')[1]);
  return versions.sort(numeric).at(-1);
}

function examine(file) {
  const symbols = dynamicSymbols(file);
  const content = fs.readFileSync(file);
  return {
    file,
    size: content.length,
    packed: zlib.gzipSync(content, { level: 9 }).length,
    asked: Object.keys(limits).map((library) => newestOf(library, symbols)),
    exported: symbols.filter(([isDefined]) => isDefined).map(([, , name]) => name),
  };
}

function faultsOf({ file, asked, exported }) {
  const unmeant = exported.filter((name) => !meantToBeSeen.test(name));
  const tooNew = Object.entries(limits).flatMap(([library, limit], i) =>
    asked[i] && numeric(asked[i], limit) > 0 ? [`${file} asks for ${library}_${asked[i]}; ${oldestHave(limit)}`] : [],
  );
  return [
    ...tooNew,
    ...(unmeant.length > 0 ? [`${file} exports what nobody asks for: ${unmeant.slice(0, 5).join(', ')}`] : []),
    ...(exported.length > unmeant.length ? [] : [`${file} exports nothing that a Node.js looks for`]),
  ];
}

function main() {
  const root = path.join(path.dirname(__dirname), 'prebuilds');
  process.chdir(root);
  const files = fs.readdirSync('.', { recursive: true }).filter((file) => file.endsWith('.node'));
  const examined = files.sort(numeric).map(examine);
  const libraries = Object.keys(limits);
  console.log(`| file | bytes | gzip | ${libraries.join(' | ')} |\n|${' --- |'.repeat(3 + libraries.length)}`);
  for (const { file, size, packed, asked } of examined) {
    console.log(`| ${[file, size, packed, ...asked.map((version) => version ?? 'none')].join(' | ')} |`);
  }
  const faults = examined.flatMap(faultsOf);
  faults.forEach((fault) => console.error(fault));
  process.exitCode = faults.length > 0 || examined.length === 0 ? 1 : 0;
}

main();
