// Where the queue is: one name on the Redis server that a URL names.
'use strict';

const Redis = require('ioredis');

/** Its name for dashboards and for other programs that use BullMQ. */
const QUEUE = 'vortena';

const DEFAULT_URL = 'redis://127.0.0.1:6379';

const TRIES = 3;
const PAUSE_MS = 500;

/** Longest silence that an answer may take. */
const SILENCE_MS = 1500;
const SILENT = `no answer in ${SILENCE_MS / 1000} s`;
const TIMED_OUT = 'Command timed out'; // as ioredis says it, without a class or a code

const FORM =
  'redis://:PASSWORD@HOST:PORT, or rediss:// for encryption; in a password, characters other than letters and digits are ' +
  'written as % and two hexadecimal digits';

const isSocket = (text) => /^\/[^/@][^@]*$/.test(text);

function isEncoded(text) {
  try {
    decodeURIComponent(text);
    return true;
  } catch {
    return false;
  }
}

/** A raw / ? or # ends the host early, in the password; then an @, or what is no number of a database, comes too late. */
function isRedisUrl(text) {
  if (!URL.canParse(text)) {
    return false;
  }
  const { protocol, username, password, hostname, pathname, search, hash } = new URL(text);
  return (
    /^rediss?:$/.test(protocol) &&
    hostname !== '' &&
    /^(\/\d*)?$/.test(pathname) &&
    !search.includes('@') &&
    hash === '' &&
    [username, password].every(isEncoded)
  );
}

/** Throws what shows nothing of the text, as nobody knows which part of a malformed URL is the password. */
function redisUrl(given) {
  const text = given === undefined ? (process.env.REDIS_URL ?? DEFAULT_URL) : given;
  if (typeof text === 'string' && (isSocket(text) || isRedisUrl(text))) {
    return isSocket(text) ? text : new URL(text).href;
  }
  throw Object.assign(new TypeError(`the address of Redis is not of the form ${FORM}`), { code: 'ERR_REDIS' });
}

/** The address without its password. */
function addressOf(url) {
  if (isSocket(url)) {
    return url.split('?')[0];
  }
  const { protocol, host } = new URL(url);
  return `${protocol}//${host}`;
}

/** ioredis attaches the refused command: that which logs in has the password. */
function withoutCommand(error) {
  delete error?.command;
  return error;
}

function unreachable(url, cause) {
  const message = `Redis at ${addressOf(url)} cannot be reached: ${cause.message || cause.code}`;
  return Object.assign(new Error(message, { cause: withoutCommand(cause) }), { code: 'ERR_REDIS' });
}

/** The client's own limit ends where a connection is accepted, and a server that is stopped accepts connections. */
function connectInTime(redis) {
  let timer;
  const silence = new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(SILENT)), SILENCE_MS);
  });
  return Promise.race([redis.connect(), silence]).finally(() => clearTimeout(timer));
}

/** A failure of the connection as what it is; any other error of `use` as it is. */
function failureOf(error, { url, status, lastError }) {
  if (error.message === TIMED_OUT) {
    return unreachable(url, new Error(SILENT));
  }
  return status === 'ready' ? error : unreachable(url, lastError ?? error);
}

/** Calls `use(redis)` for someone who waits for the answer: gives up where a worker would try for ever. */
async function withRedis(given, use) {
  const url = redisUrl(given);
  const redis = new Redis(url, {
    lazyConnect: true,
    maxRetriesPerRequest: 1,
    commandTimeout: SILENCE_MS,
    disconnectTimeout: 0, // nobody waits for the last word of a server that says none
    retryStrategy: (times) => (times < TRIES ? PAUSE_MS : null),
  });
  let lastError;
  redis.on('error', (error) => {
    lastError = error;
  });
  try {
    await connectInTime(redis);
    return await use(redis);
  } catch (error) {
    throw failureOf(error, { url, status: redis.status, lastError });
  } finally {
    redis.disconnect();
  }
}

module.exports = { QUEUE, redisUrl, withRedis, withoutCommand };
