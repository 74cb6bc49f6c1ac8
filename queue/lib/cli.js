// The commands: results on standard output, words for people on standard error.
'use strict';

const os = require('node:os');
const { Command, CommanderError, InvalidArgumentError, Option } = require('commander');
const { version } = require('../package.json');
const { printable } = require('vortena-tools/lib/telling/quantities.js');
const { FORMATS } = require('./recordings.js');

const OK = 0;
const WRONG_USAGE = 2; // or nothing that could be queued
const FAULT = 70; // as in sysexits.h
const BROKEN_PIPE = 128 + 13; // as shells report a process that SIGPIPE ended

const SIGNALS = ['SIGINT', 'SIGTERM', 'SIGHUP'];

const result = (text) => process.stdout.write(`${printable(text)}\n`);
const say = (text) => process.stderr.write(`vortena-queue: ${printable(text)}\n`);

function wholeNumber(text) {
  if (!/^[1-9]\d{0,9}$/.test(text)) {
    throw new InvalidArgumentError('It is not a whole number from 1 on.');
  }
  return Number(text);
}

async function add(paths, { offset, ...options }) {
  const { enqueue } = require('./enqueue.js');
  if (options.orientation === 'smoothed' && offset) {
    say('--orientation smoothed estimates the offset itself: use it without --offset');
    process.exitCode = WRONG_USAGE;
    return;
  }
  const submitted = await enqueue(paths, { ...options, gyroscopeOffset: offset });
  submitted.forEach(({ state, output }) => result(`${state.padEnd(8)} ${output}`));
  if (submitted.length === 0) {
    say(`no recordings (*.bin) in ${paths.join(', ')}`);
    process.exitCode = WRONG_USAGE;
  }
}

/** Reconnecting repeats its error; people read it once. */
function sayOnce() {
  let last;
  return (text) => {
    if (text !== last) {
      say(text);
      last = text;
    }
  };
}

/** The first signal ends the worker when its jobs are done, the second at once. */
function endOnSignal(worker) {
  let asked = false;
  const listener = async (signal) => {
    if (asked) {
      process.exit(128 + os.constants.signals[signal]);
    }
    asked = true;
    say('ends when its jobs are done; once more ends at once, and others take the jobs');
    await worker.close();
    SIGNALS.forEach((signal) => process.off(signal, listener));
  };
  SIGNALS.forEach((signal) => process.on(signal, listener));
}

function startWorker(options) {
  const { work } = require('./work.js');
  const worker = work(options);
  const sayError = sayOnce();
  worker.on('ready', () => say(`takes up to ${worker.concurrency} jobs at a time`));
  worker.on('active', (job) => result(`started   ${job.data?.recording}`));
  worker.on('completed', (job, { output, skipped }) => result(`${skipped ? 'skipped  ' : 'converted'} ${output}`));
  worker.on('failed', (job, error) => say(`${job?.data?.recording}: ${error.message}`));
  worker.on('error', (error) => sayError(error.message || error.code));
  endOnSignal(worker);
}

const redisOption = () => new Option('--redis <url>', 'server of the queue').env('REDIS_URL').default('redis://127.0.0.1:6379');

function commandLine() {
  const program = new Command('vortena-queue')
    .description('Converts recordings of Vortena inertial measurement units through a queue, on any number of machines.')
    .version(version)
    .exitOverride();
  program
    .command('add')
    .description('Hands recordings in; outputs are named like those of "vortena convert".')
    .argument('<path...>', 'recordings, or folders of recordings (*.bin)')
    .requiredOption('-o, --out <folder>', 'where the outputs go; folders below a given one are kept')
    .addOption(new Option('--to <format>', 'what to write').choices(Object.keys(FORMATS)).default('csv'))
    .option('-r, --recursive', 'search the folders below as well')
    .addOption(
      new Option('--orientation <method>', 'filter, as in read, or smoothed, which looks both ways in time')
        .choices(['filter', 'smoothed'])
        .default('filter'),
    )
    .addOption(
      new Option('--offset <kind>', "rest: take off the gyroscope's offset, as it is measured at rest").choices(['rest']),
    )
    .addOption(redisOption())
    .action(add);
  program
    .command('worker')
    .description('Converts what is handed in, until it is ended.')
    .addOption(
      new Option('-j, --concurrency <n>', 'most jobs at a time (default: one for each processor)').argParser(wholeNumber),
    )
    .addOption(new Option('--memory <MiB>', 'memory for all jobs (default: 60 % of what is free)').argParser(wholeNumber))
    .addOption(
      new Option('--lock <seconds>', 'how long a job stays with a worker that is lost').argParser(wholeNumber).default(30),
    )
    .addOption(redisOption())
    .action(startWorker);
  return program;
}

function statusOf(error) {
  if (error instanceof CommanderError) {
    return error.exitCode === OK ? OK : WRONG_USAGE; // commander has said what is wrong
  }
  const isForeseen = Boolean(error?.syscall) || ['ERR_REDIS', 'ERR_OUTPUT_CLASH', 'ERR_ADDON_NOT_BUILT'].includes(error?.code);
  say(isForeseen ? error.message : String(error?.stack));
  return isForeseen ? WRONG_USAGE : FAULT;
}

async function main(argv) {
  process.stdout.on('error', () => process.exit(BROKEN_PIPE)); // whoever read it has gone
  try {
    await commandLine().parseAsync(argv);
  } catch (error) {
    process.exitCode = statusOf(error);
  }
}

module.exports = { main };
