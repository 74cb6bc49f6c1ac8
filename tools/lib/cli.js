// The verbs of the command line. One file in commands/ defines each; what it needs is loaded when it is called, so that
// the others start as fast.
'use strict';

const { Command, CommanderError } = require('commander');
const { FAILED, INTERNAL_FAULT, OK, UsageError, WRONG_USAGE } = require('./telling/exit-status.js');
const { printable } = require('./telling/quantities.js');
const { version } = require('../package.json');

const VERBS = ['info', 'check', 'convert', 'sync', 'view', 'config'];

const BROKEN_PIPE = 128 + 13; // as shells report a process that SIGPIPE ended

function commandLine() {
  const program = new Command('vortena')
    .description('Recordings of Vortena inertial measurement units: look at them, check them, convert them.')
    .option('-V, --version', 'output the version, and what the reader runs on')
    .on('option:version', showVersion)
    .exitOverride()
    .configureOutput({ writeErr: (text) => process.stderr.write(printable(text)) })
    .configureHelp({ showGlobalOptions: false });
  for (const verb of VERBS) {
    require(`./commands/${verb}.js`).define(program);
  }
  return program;
}

/** The first line is the version alone; the reader is loaded for the second. */
function showVersion() {
  process.stdout.write(`${version}\n`);
  const binaries = Object.entries(require('vortena-reader/promises').backend());
  process.stdout.write(`${binaries.map(([entry, { kind, file }]) => `${entry}: ${kind} (${file})`).join(', ')}\n`);
  throw new CommanderError(OK, 'commander.version', version);
}

function statusOf(error) {
  if (error instanceof CommanderError) {
    return error.exitCode === OK ? OK : WRONG_USAGE; // commander has said what is wrong
  }
  if (error instanceof UsageError) {
    process.stderr.write(`vortena: ${printable(error.message)}\n`);
    return WRONG_USAGE;
  }
  process.stderr.write(`vortena: ${error?.code === 'ERR_ADDON_NOT_BUILT' ? error.message : error?.stack}\n`);
  return INTERNAL_FAULT;
}

/** Leaves quietly when whoever read the results has gone, as `head` does. A disk that takes no more of them is told. */
function leaveWithReader(error) {
  if (error.code === 'EPIPE') {
    process.exit(BROKEN_PIPE);
  }
  process.stderr.write(`vortena: the results cannot be written: ${error.message}\n`);
  process.exit(FAILED);
}

/** Nobody is left to tell. */
function leave() {
  process.exit(FAILED);
}

async function main(argv) {
  process.stdout.on('error', leaveWithReader);
  process.stderr.on('error', (error) => (error.code === 'EPIPE' ? leaveWithReader(error) : leave()));
  try {
    await commandLine().parseAsync(argv);
  } catch (error) {
    process.exitCode = statusOf(error);
  }
}

module.exports = { main };
