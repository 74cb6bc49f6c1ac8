// Which of its binaries the package runs on: built here, on Node-API, or WebAssembly. The first one that loads is taken,
// and those after it are not looked at.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

const { methodsOver } = require('./requests/methods.js');

const root = path.dirname(__dirname);
const buildScript = path.join(root, 'script', 'build-addon.js');
const wasm = path.join(root, 'wasm', 'vortena.wasm');
const KINDS = ['built', 'node-api', 'wasm'];

const KNOWN_CAUSES = [
  [/NODE_MODULE_VERSION (\d+)\./, 'it was built for another release of Node.js (ABI $1)'],
  [/undefined symbol: _ZNK?2v8/, 'it was built for another release of Node.js'],
  [/version `(\w+_[\d.]+)' not found/, 'it was built on a newer system, and $1 is missing here'],
  [/\.node: cannot open shared object file/, 'it was built for another processor or system'],
];

/** Some bytes of a file, and its size. */
function bytesAt(file, position, length) {
  const descriptor = fs.openSync(file, 'r');
  try {
    const head = Buffer.alloc(length);
    fs.readSync(descriptor, head, 0, length, position);
    return { head, size: fs.fstatSync(descriptor).size };
  } finally {
    fs.closeSync(descriptor);
  }
}

/** By the program interpreter that Node.js asks for: a musl system may load what was linked with glibc, and crash later. */
function cLibrary() {
  try {
    return bytesAt(process.execPath, 0, 4096).head.includes('/ld-musl-') ? 'musl' : 'glibc';
  } catch {
    return 'glibc';
  }
}

function target() {
  const { arch, platform } = process;
  return platform === 'linux' ? `linux-${arch}-${cLibrary()}` : `${platform}-${arch}`;
}

const built = (name) => path.join(root, 'build', 'Release', name);
const prebuilt = (name) => path.join(root, 'prebuilds', target(), name);

/** For each entry its own `builtFile`, and its own JavaScript around WebAssembly; the binary on Node-API serves both. */
function* candidates(builtFile, wasmEntry) {
  yield { kind: 'built', file: built(builtFile) };
  yield { kind: 'node-api', file: built('vortena.node') };
  yield { kind: 'node-api', file: prebuilt('vortena.node') };
  yield { kind: 'wasm', file: wasm, entry: path.join(root, 'src', 'wasm', wasmEntry) };
}

/** The kind that VORTENA_BACKEND names; undefined when any will do. */
function onlyKind() {
  const kind = process.env.VORTENA_BACKEND || undefined;
  if (kind !== undefined && !KINDS.includes(kind)) {
    throw new Error(`VORTENA_BACKEND is none of ${KINDS.join(', ')}: ${kind}`);
  }
  return kind;
}

const SECTION_TYPE = 4;

/**
 * To load a library whose end is missing, or holds zeros as after a crash, would end the process. What comes last in an
 * ELF file is its table of sections, in which only the first has the type 0.
 */
function isCutOff(file) {
  const { head, size } = bytesAt(file, 0, 64);
  const isElf = head.readUInt32BE(0) === 0x7f454c46 && head.readUInt16LE(4) === 0x0102; // 64 bits, low byte first
  if (!isElf) {
    return false;
  }
  const [table, entry, count] = [Number(head.readBigUInt64LE(40)), head.readUInt16LE(58), head.readUInt16LE(60)];
  return table + entry * count > size || bytesAt(file, table + entry * (count - 1), entry).head.readUInt32LE(SECTION_TYPE) === 0;
}

function open({ kind, file, entry = file }) {
  const missing = [file, entry].find((needed) => !fs.existsSync(needed));
  if (missing) {
    const why = kind === 'built' ? 'it is not built; some package managers run no install scripts' : 'it is not there';
    throw Object.assign(new Error(why), { isMissing: true });
  }
  if (isCutOff(file)) {
    throw new Error('the file is cut off');
  }
  return require(entry);
}

/** The module that is built for V8 has them itself. */
function openMethods(candidate) {
  const binding = open(candidate);
  if (candidate.kind === 'built') {
    return binding;
  }
  if (!binding.callMethod) {
    throw new Error('it is of an earlier release of the package');
  }
  return methodsOver(binding);
}

function wordsOf(cause) {
  const words = cause.message.replace(/\s+/g, ' ');
  const [pattern, plain] = KNOWN_CAUSES.find(([known]) => known.test(words)) ?? [];
  return pattern ? plain.replace('$1', pattern.exec(words)[1]) : words;
}

/** What keeps the package from loading, and what the reader can do about it. */
function explain(failures, only) {
  if (!fs.existsSync(buildScript)) {
    return `the package's files are not in ${root}. A bundle must leave the package external, in node_modules.`;
  }
  const lines = failures.map(({ file, cause }) => `  ${path.relative(root, file)}: ${wordsOf(cause)}`);
  return only && only !== 'built'
    ? [`VORTENA_BACKEND asks for ${only}, which does not load.`, ...lines, 'Without VORTENA_BACKEND any other will do.'].join(
        '\n',
      )
    : ['none of its binaries loads.', ...lines, `Build it here: node "${buildScript}"`].join('\n');
}

function runtimeName() {
  const { bun, deno, modules } = process.versions;
  return (bun && `Bun ${bun}`) || (deno && `Deno ${deno}`) || `Node.js ${process.version} (ABI ${modules})`;
}

/** `cause` is that of the first binary that was there. */
function notLoaded(failures, only) {
  const { cause } = failures.find((failure) => !failure.cause.isMissing) ?? failures[0];
  const message = `vortena-reader on ${runtimeName()}, ${process.platform}-${process.arch}: ${explain(failures, only)}`;
  return Object.assign(new Error(message, { cause }), { code: 'ERR_ADDON_NOT_BUILT' });
}

function firstThatLoads(all, load) {
  const only = onlyKind();
  const failures = [];
  for (const candidate of all) {
    const { kind, file } = candidate;
    const hasFailed = failures.some((failure) => failure.file === file);
    if ((only === undefined || only === kind) && !hasFailed) {
      try {
        return { kind, file, binding: load(candidate) };
      } catch (cause) {
        failures.push({ file, cause });
      }
    }
  }
  throw notLoaded(failures, only);
}

/** What was found first stays, whatever becomes of the environment. */
function once(load) {
  let loaded;
  return () => (loaded ??= load());
}

/** `{ kind, file, binding }` of the five methods. Throws an Error of the code ERR_ADDON_NOT_BUILT. */
const loadMethods = once(() => firstThatLoads(candidates('addon.node', 'methods.js'), openMethods));

/** The same of the operations behind the promises. */
const loadOperations = once(() => firstThatLoads(candidates('vortena.node', 'native.js'), open));

module.exports = { loadMethods, loadOperations };
