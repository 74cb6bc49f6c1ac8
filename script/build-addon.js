// Builds the two native entries for the running Node.js with CMake and leaves them in build/Release. Needs no network.
// Usage: node script/build-addon.js [PRESET | --headers]; a preset builds into its own folder, with its own flags;
// --headers only tells where the headers are, if anywhere.
'use strict';

const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const root = path.dirname(__dirname);
const entries = ['addon', 'vortena'];

function fail(sentence, details) {
  if (details) {
    console.error(details);
  }
  console.error(`vortena-reader: ${sentence}`);
  process.exit(1);
}

function runs(command) {
  const result = spawnSync(command, ['--version'], { stdio: 'ignore' });
  return !result.error && result.status === 0;
}

/** The ABI number that the headers in a folder are for, or undefined when there are none. */
function headersAbi(directory) {
  try {
    const header = fs.readFileSync(path.join(directory, 'node_version.h'), 'utf8');
    return /#define\s+NODE_MODULE_VERSION\s+(\d+)/.exec(header)?.[1];
  } catch {
    return undefined;
  }
}

/** Headers count only when they are for the running Node.js: others compile, and then fail to load or crash. */
function findHeaders() {
  const nodedir = process.env.npm_config_nodedir;
  const candidates = [
    ...(nodedir ? [path.join(nodedir, 'include', 'node'), nodedir] : []),
    path.join(path.dirname(fs.realpathSync(process.execPath)), '..', 'include', 'node'),
    path.join(path.dirname(process.execPath), '..', 'include', 'node'),
    '/usr/include/node',
    '/usr/include/nodejs/src',
  ];
  return candidates.find((directory) => headersAbi(directory) === process.versions.modules);
}

/** What building needs and this machine lacks, each with its Debian package. */
function missingTools(headers) {
  const compilers = process.env.CXX ? [process.env.CXX] : ['c++', 'g++', 'clang++'];
  const headersPackage = process.execPath === '/usr/bin/node' ? 'libnode-dev' : undefined; // Debian's are for Debian's
  return [
    [runs('cmake'), 'CMake 3.21 or newer', 'cmake'],
    [process.env.CMAKE_GENERATOR || runs('make') || runs('gmake'), 'make', 'make'],
    [compilers.some(runs), `a C++20 compiler (${compilers.join(', ')})`, 'g++'],
    [headers, `the headers of Node.js ${process.version} (npm_config_nodedir names the folder above include)`, headersPackage],
  ].filter(([found]) => !found);
}

function requireTools(headers) {
  const missing = missingTools(headers);
  if (missing.length > 0) {
    const names = missing.map(([, name]) => name).join(', ');
    const packages = missing.map(([, , debian]) => debian).filter(Boolean);
    const remedy = packages.length > 0 ? ` On Debian: apt-get install ${packages.join(' ')}` : '';
    fail(`building needs, and does not find: ${names}.${remedy}`);
  }
}

function cmake(args, cleanUp = () => {}) {
  const result = spawnSync('cmake', args, { cwd: root, encoding: 'utf8', maxBuffer: 1 << 28 });
  if (result.status !== 0) {
    cleanUp();
    const ownSentence = /\(message\):\s+(building needs [^]*?)\n\n/.exec(result.stderr)?.[1];
    if (ownSentence) {
      fail(ownSentence.replace(/\s+/g, ' '));
    }
    fail('the module did not build; what CMake printed stands above.', `${result.stdout}${result.stderr}`);
  }
}

function forgetBuild(binary) {
  if (fs.existsSync(path.join(binary, 'CMakeCache.txt'))) {
    fs.rmSync(binary, { recursive: true });
  }
}

/** CMake refuses a folder that was made elsewhere, as when a package was copied or moved, and keeps its first compiler. */
function isOtherBuild(binary) {
  const cache = path.join(binary, 'CMakeCache.txt');
  const text = fs.existsSync(cache) ? fs.readFileSync(cache, 'utf8') : '';
  const compiler = /^CMAKE_CXX_COMPILER:\w+=(.*)$/m.exec(text)?.[1] ?? '';
  const otherCompiler = process.env.CXX && path.basename(compiler) !== path.basename(process.env.CXX);
  return otherCompiler || !text.includes(`CMAKE_HOME_DIRECTORY:INTERNAL=${root}\n`);
}

function main() {
  const [preset] = process.argv.slice(2);
  const headers = findHeaders();
  if (preset === '--headers') {
    return headers ? console.log(headers) : process.exit(1);
  }
  requireTools(headers);

  const binary = path.join(root, 'build', preset ? path.join('preset', preset) : 'addon');
  const output = preset ? binary : path.join(root, 'build', 'Release');
  if (isOtherBuild(binary)) {
    forgetBuild(binary);
  }
  cmake(
    [
      ...(preset ? ['--preset', preset] : ['-DCMAKE_BUILD_TYPE=Release']),
      '-S',
      root,
      '-B',
      binary,
      `-DNODE_INCLUDE_DIR=${headers}`,
    ],
    () => forgetBuild(binary),
  );
  cmake(['--build', binary, '--target', ...entries, '--parallel', String(os.availableParallelism())]);
  fs.mkdirSync(output, { recursive: true });
  if (output !== binary) {
    for (const entry of entries) {
      fs.copyFileSync(path.join(binary, `${entry}.node`), path.join(output, `${entry}.node.new`));
      fs.renameSync(path.join(output, `${entry}.node.new`), path.join(output, `${entry}.node`));
    }
  }
  return console.log(`vortena-reader: built for Node.js ${process.version} with the headers in ${headers}`);
}

main();
