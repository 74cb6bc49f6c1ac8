// Pauses by the server's clock: BullMQ takes the time from each machine, and machines differ by more than any pause.
'use strict';

const { createRedisBackend } = require('bullmq');

/** In those scripts of a worker that compare times with what others have written: which argument is the present time. */
const NOW_IN = { moveToActive: 12, moveToDelayed: 12, retryJob: 12, moveToFinished: 15 };

/** In what they answer with: when the next job is due. */
const NEXT = 3;

const isTime = (value) => value > 0; // 0 stands for "at once" or "none"

/** Makes the backend of a worker. Its scripts get the server's time, the worker's own waiting gets its machine's. */
function serverClockBackend(name, options, wants) {
  const backend = createRedisBackend(name, options, wants);
  const [execCommand, waitForJob] = [backend.execCommand.bind(backend), backend.waitForJob.bind(backend)];
  let ahead = 0; // this machine's clock, ms

  const toHere = (time) => (isTime(time) ? time + ahead : time);

  async function execNow(client, command, values) {
    const [seconds, microseconds] = (await client.time()).map(Number);
    const now = 1000 * seconds + Math.trunc(microseconds / 1000);
    ahead = Date.now() - now;
    const answer = await execCommand(client, command, values.with(NOW_IN[command], now));
    return Array.isArray(answer) ? answer.map((value, i) => (i === NEXT ? toHere(value) : value)) : answer;
  }

  backend.execCommand = (client, command, values) => (command in NOW_IN ? execNow : execCommand)(client, command, values);
  backend.waitForJob = async (seconds) => {
    const found = await waitForJob(seconds);
    return found && { ...found, score: toHere(found.score) };
  };
  return backend;
}

module.exports = { serverClockBackend };
