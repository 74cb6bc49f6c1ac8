// The page with a server behind it, for this machine alone, that gives single samples of recordings too long for a page.
'use strict';

const crypto = require('node:crypto');
const http = require('node:http');
const { once } = require('node:events');
const { makePage, quantaOf } = require('./make-page.js');
const { lowerBound } = require('./page/recording.js');
const { packSamples } = require('./page/packing.js');

const HOST = '127.0.0.1';
const TOKEN_BYTES = 18;
const MOST_SAMPLES = 400_000; // an answer
const HEADERS = { 'cache-control': 'no-store', 'x-content-type-options': 'nosniff', 'referrer-policy': 'no-referrer' };

function refuse(response, status) {
  response.writeHead(status, HEADERS).end(`${http.STATUS_CODES[status]}\n`);
}

/** In constant time, whatever the length. */
function sameText(a, b) {
  const digest = (text) => crypto.createHash('sha256').update(text).digest();
  return crypto.timingSafeEqual(digest(a), digest(b));
}

/** The samples of a channel between two times, with one more on either side. */
function cut({ time, axes }, from, to) {
  const first = Math.max(0, lowerBound(time, from) - 1);
  const last = Math.min(time.length, lowerBound(time, to) + 1, first + MOST_SAMPLES);
  return { time: time.subarray(first, last), axes: axes.map((axis) => axis.subarray(first, last)) };
}

function answerSamples(units, query, response) {
  const [unit, key, from, to] = ['unit', 'key', 'from', 'to'].map((name) => Number(query.get(name) ?? NaN));
  const method = query.get('method') ?? undefined;
  const channel = units[unit]?.channels.find((each) => each.key === key && each.method === method);
  if (!channel?.kept || !(from <= to)) {
    return refuse(response, 404);
  }
  const { config } = units[unit];
  const { samples, parts } = packSamples(cut(channel.kept, from, to), quantaOf(channel, config), config.frequency);
  response.writeHead(200, { ...HEADERS, 'content-type': 'application/octet-stream', 'x-samples': JSON.stringify(samples) });
  return response.end(Buffer.concat(parts.map((part) => Buffer.from(part.buffer, part.byteOffset, part.byteLength))));
}

/**
 * Answers requests for /TOKEN/ and /TOKEN/samples. A page of another site can send requests here, too: it knows no
 * token, and the name in its Host header, where it has made one lead here, is its own.
 */
function answer({ html, units, token, hosts }, request, response) {
  const { pathname, searchParams } = new URL(request.url, `http://${HOST}`);
  const [, given, ...rest] = pathname.split('/');
  if (!hosts.includes(request.headers.host)) {
    return refuse(response, 403);
  }
  if (!sameText(given ?? '', token)) {
    return refuse(response, 404);
  }
  if (request.method !== 'GET') {
    return refuse(response, 405);
  }
  if (rest.join('/') === 'samples') {
    return answerSamples(units, searchParams, response);
  }
  return rest.join('/') === '' && pathname.endsWith('/')
    ? response.writeHead(200, { ...HEADERS, 'content-type': 'text/html; charset=utf-8' }).end(html)
    : refuse(response, 404);
}

/** `{ address, close }`; `port` 0 takes any that is free. */
async function serve(recordings, { port = 0, ...options } = {}) {
  const { html, units } = await makePage(recordings, { ...options, served: true });
  const token = crypto.randomBytes(TOKEN_BYTES).toString('base64url');
  const site = { html, units, token, hosts: [] };
  const server = http.createServer((request, response) => {
    try {
      answer(site, request, response);
    } catch {
      refuse(response, 400);
    }
  });
  server.listen(port, HOST);
  await once(server, 'listening');
  const { port: taken } = server.address();
  site.hosts = [`${HOST}:${taken}`, `localhost:${taken}`];
  const close = () => {
    server.close();
    server.closeAllConnections();
  };
  return { address: `http://${HOST}:${taken}/${token}/`, close };
}

module.exports = { serve };
