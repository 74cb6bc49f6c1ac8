// Where the queue is: one name on the Redis server that a URL names.
'use strict';

const Redis = require('ioredis');

/** Its name for dashboards and for other programs that use BullMQ. */
const QUEUE = 'vortena';

const DEFAULT_URL = 'redis://127.0.0.1:6379';

const TRIES = 3;
const PAUSE_MS = 500;

const redisUrl = (given) => given ?? process.env.REDIS_URL ?? DEFAULT_URL;

/** The password that a URL may hold is not for messages. */
function withoutPassword(url) {
  return url.replace(/\/\/[^@/]*@/, '//');
}

function unreachable(url, cause) {
  const message = `Redis at ${withoutPassword(url)} cannot be reached: ${cause.message || cause.code}`;
  return Object.assign(new Error(message, { cause }), { code: 'ERR_REDIS' });
}

/** Calls `use(redis)` for someone who waits for the answer: gives up where a worker would try for ever. */
async function withRedis(given, use) {
  const url = redisUrl(given);
  const redis = new Redis(url, {
    lazyConnect: true,
    maxRetriesPerRequest: 1,
    retryStrategy: (times) => (times < TRIES ? PAUSE_MS : null),
  });
  let lastError;
  redis.on('error', (error) => {
    lastError = error;
  });
  try {
    await redis.connect();
    return await use(redis);
  } catch (error) {
    throw redis.status === 'ready' ? error : unreachable(url, lastError ?? error);
  } finally {
    redis.disconnect();
  }
}

module.exports = { QUEUE, redisUrl, withRedis };
