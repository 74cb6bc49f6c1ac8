// A Redis server of the test's own, and recordings that take a while.
'use strict';

const { spawn } = require('node:child_process');
const fs = require('node:fs');
const net = require('node:net');
const os = require('node:os');
const path = require('node:path');
const { setTimeout: pause } = require('node:timers/promises');
const { gyroRecording } = require('../../tests/js/support.js');

const PATIENCE_MS = 60_000;
const HOST = '127.0.0.1';

/** Asks until the answer is true; fails when it does not come. */
async function until(what, condition) {
  const end = Date.now() + PATIENCE_MS;
  for (let answer = await condition(); !answer; answer = await condition()) {
    if (Date.now() > end) {
      throw new Error(`waited in vain for ${what}`);
    }
    await pause(5);
  }
}

function scratchFolder(test) {
  const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'vortena-queue-'));
  test.after(() => fs.rmSync(folder, { recursive: true, force: true }));
  return folder;
}

async function freePort() {
  const server = net.createServer().listen(0, HOST);
  await new Promise((resolve) => server.once('listening', resolve));
  const { port } = server.address();
  await new Promise((resolve) => server.close(resolve));
  return port;
}

function answers(port) {
  return new Promise((resolve) => {
    const socket = net.connect(port, HOST, () => socket.write('PING\r\n'));
    socket.setEncoding('utf8').once('data', (text) => {
      socket.destroy();
      resolve(text.startsWith('+PONG'));
    });
    socket.once('error', () => resolve(false));
  });
}

const ended = (child) =>
  new Promise((resolve) => ((child.exitCode ?? child.signalCode) === null ? child.once('exit', resolve) : resolve()));

/** `{ url, kill, start }`; its data survive both, in an append-only file. */
async function redisServer(test) {
  const folder = scratchFolder(test);
  const port = await freePort();
  const options = { port, bind: HOST, dir: folder, appendonly: 'yes', save: '' };
  let child;
  const kill = async () => {
    child.kill('SIGKILL');
    await ended(child);
  };
  const start = async () => {
    child = spawn(
      'redis-server',
      Object.entries(options).flatMap(([name, value]) => [`--${name}`, value]),
      { stdio: 'ignore' },
    );
    await until('redis-server', () => answers(port));
  };
  await start();
  test.after(kill);
  return { url: `redis://${HOST}:${port}`, kill, start };
}

/** The URL of a server that says nothing more to a client as soon as that has sent `word`: '' is in whatever it sends. */
async function silentFrom(test, word, url) {
  const sockets = new Set();
  const relay = net
    .createServer((client) => {
      const server = net.connect(new URL(url).port, HOST);
      [client, server].forEach((socket) => sockets.add(socket.on('error', () => {})));
      client.once('close', () => server.destroy());
      client.on('data', (bytes) => (bytes.includes(word) ? client.pause() : server.write(bytes)));
      server.pipe(client);
    })
    .listen(0, HOST);
  await new Promise((resolve) => relay.once('listening', resolve));
  test.after(() => {
    relay.close();
    sockets.forEach((socket) => socket.destroy());
  });
  return `redis://${HOST}:${relay.address().port}`;
}

const workerProcess = (test, url, ...options) => workerWithClock(test, 0, url, ...options);

/** A worker process, its clock ahead of the others'; `output()` is all that it has written. */
function workerWithClock(test, aheadMs, url, ...options) {
  const program = path.join(__dirname, '..', 'bin', 'vortena-queue.js');
  const clock = `data:text/javascript,const now=Date.now;Date.now=()=>now()+${aheadMs}`;
  const words = ['--import', clock, program, 'worker', '--redis', url, ...options];
  const child = spawn(process.execPath, words, { stdio: ['ignore', 'pipe', 'pipe'] });
  let text = '';
  [child.stdout, child.stderr].forEach((stream) =>
    stream.setEncoding('utf8').on('data', (more) => {
      text += more;
    }),
  );
  test.after(() => child.kill('SIGKILL'));
  return {
    pid: child.pid,
    output: () => text,
    end: async (signal) => {
      child.kill(signal);
      await ended(child);
    },
  };
}

function writeRecording(file, blocks) {
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, gyroRecording(blocks));
  return file;
}

/** How often each output got its name. */
function countOutputs(test, folder) {
  const counts = {};
  const watcher = fs.watch(folder, (event, name) => {
    if (event === 'rename' && name.endsWith('.csv')) {
      counts[name] = (counts[name] ?? 0) + 1;
    }
  });
  test.after(() => watcher.close());
  return counts;
}

module.exports = { countOutputs, redisServer, scratchFolder, silentFrom, until, workerProcess, workerWithClock, writeRecording };
