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

const redisUrl = (given) => given ?? process.env.REDIS_URL ?? DEFAULT_URL;

/** The password that a URL may hold is not for messages. */
function withoutPassword(url) {
  return url.replace(/\/\/[^@/]*@/, '//');
}

function unreachable(url, cause) {
  const message = `Redis at ${withoutPassword(url)} cannot be reached: ${cause.message || cause.code}`;
  return Object.assign(new Error(message, { cause }), { code: 'ERR_REDIS' });
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

module.exports = { QUEUE, redisUrl, withRedis };
