// vortena config: prints the header of a recording, or writes one of a configuration text.
'use strict';

function define(program) {
  program
    .command('config')
    .description('Shows the header of a recording as JSON, or writes a file that holds a header only.')
    .argument('[file]', 'the recording, or another file that begins with a header')
    .option('--set <text>', 'settings of the header to write, as docs/configuration-text.md describes them')
    .option('-o, --out <file>', 'the header to write')
    .action(async (file, options) => {
      process.exitCode = await showOrWrite(file, options);
    });
}

async function showOrWrite(file, { set, out }) {
  const { FAILED, OK, UsageError } = require('../telling/exit-status.js');
  const { failureOf } = require('../telling/failures.js');
  const { failureText } = require('../telling/report.js');
  if ((set === undefined) !== (out === undefined) || (set === undefined) === (file === undefined)) {
    throw new UsageError('config takes a recording, or --set TEXT and -o FILE without one');
  }
  try {
    await (set === undefined ? show(file) : write(out, set));
    return OK;
  } catch (error) {
    process.stderr.write(`${failureText(failureOf(error))}\n`);
    return FAILED;
  }
}

async function show(file) {
  const { readConfig } = require('vortena-reader/promises');
  const { unknownFrames, ...config } = await readConfig(file);
  process.stdout.write(`${JSON.stringify({ ...config, unknownFrames: unknownFrames.toString('base64') }, null, 2)}\n`);
}

async function write(out, text) {
  const { writeConfig } = require('vortena-reader/promises');
  await writeConfig(out, text);
}

module.exports = { define };
