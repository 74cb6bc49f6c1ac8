'use strict';

const { orientationOf, orientationOptions } = require('./options.js');

const DEFAULT_ENDING = '.html';
const PAGE_START = 512; // bytes

function define(program) {
  const command = program
    .command('view')
    .description('Makes a page with the curves, the attitude and the quality of a recording.')
    .argument('[file...]', 'a recording; with --sync, the recordings of a set; without, the page that reads them itself')
    .option('-o, --out <page>', 'the page (default: beside the first recording, with .html for its ending)')
    .option('--sync', 'several recordings on one clock, in one page')
    .option('--overwrite', 'replace another file of the name of the page')
    .option('--serve', 'from a local server, down to single samples however long the recording, until Ctrl-C')
    .option('--open', 'in the browser as well');
  orientationOptions.forEach((option) => command.addOption(option));
  command.action(async (files, options) => {
    process.exitCode = await view(files, options);
  });
}

function check(files, { sync, serve, out }) {
  const { UsageError } = require('../telling/exit-status.js');
  if (files.length === 0 && (sync || serve || out)) {
    throw new UsageError('--sync, --serve and -o want recordings. Without any, there is the page that reads them itself.');
  }
  if (files.length > 1 && !sync) {
    throw new UsageError('several recordings come into one page as a set: use --sync, or one call for each.');
  }
  if (sync && files.length < 2) {
    throw new UsageError('a set has two recordings or more.');
  }
  if (serve && out) {
    throw new UsageError('--serve writes no page: use it without -o.');
  }
}

async function view(files, options) {
  const { FAILED } = require('../telling/exit-status.js');
  const { failureOf } = require('../telling/failures.js');
  const { makeReport } = require('../telling/report.js');

  check(files, options);
  if (files.length === 0) {
    return showReader(options);
  }
  const orientation = orientationOf(options);
  const out = options.out ?? pageOf(files[0]);
  try {
    return await (options.serve ? servePage : writePage)(files, { ...options, out, orientation });
  } catch (error) {
    if (error?.interrupted) {
      return error.interrupted;
    }
    makeReport({}).event('failed', { recording: error?.path, ...failureOf(error, out) });
    return FAILED;
  }
}

function pageOf(recording) {
  const path = require('node:path');
  return path.join(path.dirname(recording), path.basename(recording, path.extname(recording)) + DEFAULT_ENDING);
}

/** `work(signal)`; the first Ctrl-C aborts the signal. */
async function interruptible(work) {
  const { Interruption } = require('../running/interruption.js');
  const controller = new AbortController();
  const interruption = new Interruption({ ask: () => controller.abort({ interrupted: interruption.status }), now: () => {} });
  try {
    return await work(controller.signal);
  } finally {
    interruption.end();
  }
}

/** The first bytes of a page that this verb made. */
async function isPage(file) {
  const fs = require('node:fs/promises');
  const handle = await fs.open(file);
  try {
    const { buffer, bytesRead } = await handle.read(Buffer.alloc(PAGE_START), 0, PAGE_START);
    return buffer.toString('utf8', 0, bytesRead).includes('<meta name="generator" content="vortena view">');
  } finally {
    await handle.close();
  }
}

/** A page may be made anew; recordings are never replaced, and other files only where that is wanted. */
async function refusal(output, overwrite) {
  const fs = require('node:fs');
  const { requirePlace } = require('vortena-reader/outputs');
  const { failure } = require('../telling/failures.js');
  await requirePlace(output);
  const stands = fs.lstatSync(output, { throwIfNoEntry: false }) !== undefined;
  return !stands || overwrite || (fs.existsSync(output) && (await isPage(output)))
    ? undefined
    : {
        ...failure('ERR_OUTPUT_EXISTS', `${output} is there already, and is no page of a recording`),
        advice: 'Use --overwrite to replace it.',
      };
}

async function writePage(files, { out, sync = false, overwrite, open, orientation }) {
  const fs = require('node:fs');
  const { FAILED, OK } = require('../telling/exit-status.js');
  const { partOf, publish } = require('vortena-reader/outputs');
  const { makeReport } = require('../telling/report.js');
  const { OWNER_ONLY } = require('../outputs/whole.js');
  const { makePage } = require('../../viewer/make-page.js');

  const report = makeReport({});
  const problem = await refusal(out, overwrite);
  if (problem) {
    report.event('failed', { output: out, ...problem });
    return FAILED;
  }
  const replaces = fs.existsSync(out);
  const { html } = await interruptible((signal) => makePage(files, { synchronised: sync, signal, ...orientation }));
  const part = partOf(out);
  try {
    await fs.promises.writeFile(part, html, { flag: 'wx', mode: OWNER_ONLY });
    await publish(part, out, { overwrite: replaces });
  } finally {
    await fs.promises.rm(part, { force: true });
  }
  report.result(out);
  if (open) {
    openInBrowser(require('node:path').resolve(out));
  }
  return OK;
}

/** The page that lies beside those that make pages: people drop recordings on it. */
function showReader({ open }) {
  const fs = require('node:fs');
  const path = require('node:path');
  const { FAILED, OK } = require('../telling/exit-status.js');

  const reader = path.join(__dirname, '..', '..', 'viewer', 'reader.html');
  if (!fs.existsSync(reader)) {
    process.stderr.write(`${reader} is not there. In a checkout, script/build-wasm makes it.\n`);
    return FAILED;
  }
  process.stdout.write(`${reader}\n`);
  if (open) {
    openInBrowser(reader);
  }
  return OK;
}

/** Ctrl-C is how a server ends, and no failure. */
async function servePage(files, { sync = false, open, orientation }) {
  const { OK } = require('../telling/exit-status.js');
  const { serve } = require('../../viewer/server.js');

  await interruptible(async (signal) => {
    const { address, close } = await serve(files, { synchronised: sync, signal, ...orientation });
    process.stdout.write(`${address}\n`);
    process.stderr.write('Ctrl-C ends the server.\n');
    if (open) {
      openInBrowser(address);
    }
    await new Promise((resolve) => {
      signal.addEventListener('abort', resolve, { once: true });
    });
    close();
  });
  return OK;
}

/** No shell sees the name: it may hold what a shell takes for commands. */
const BROWSERS = { darwin: ['open'], win32: ['rundll32', 'url.dll,FileProtocolHandler'], linux: ['xdg-open'] };

/** Without a browser, the address that was printed is enough. */
function openInBrowser(target) {
  const { spawn } = require('node:child_process');
  const [program, ...args] = BROWSERS[process.platform] ?? BROWSERS.linux;
  const child = spawn(program, [...args, target], { stdio: 'ignore', detached: true, shell: false });
  child.on('error', () => process.stderr.write('No browser could be started.\n'));
  child.unref();
}

module.exports = { define };
