// The one class of errors, and how the native entry's failures become such errors.
'use strict';

const SENTENCES = {
  ERR_NOT_A_RECORDING: 'is not a recording',
  ERR_UNREADABLE: 'cannot be read',
  ERR_RECORDING_CHANGED: 'was changed while it was read: nothing was made of it',
  ERR_WRITE: 'cannot be written',
  ERR_SYNC: 'cannot be synchronised',
  ERR_ORIENTATION: 'gives no orientation',
  ERR_NO_REST: "gives no estimate of the gyroscope's offset",
  ERR_CONFIG_TEXT: 'cannot be written from this configuration',
  ERR_OUTPUT_EXISTS: 'is there already',
  ERR_OUTPUT_CLASH: 'would be the output of more than one recording',
  ERR_OUTPUT_IS_RECORDING: 'is a recording and is not replaced',
  ERR_NO_MEMORY: 'needs more memory or threads than there are',
  ERR_INTERNAL: 'met a fault of the reader',
};

const REASONS = {
  'too-short': 'shorter than a block of 512 bytes',
  'no-header': 'no header in its first block',
  'no-accelerometer': 'no samples of the accelerometer',
  'no-gyroscope': 'no samples of the gyroscope',
  'different-rates': 'accelerometer and gyroscope differ in rate',
  'no-times': 'no times to count stillness by',
  'too-little-rest': 'not enough stillness',
  'too-few': 'a set has two recordings or more',
  'no-master': 'no unit is the master',
  'several-masters': 'more than one unit is the master',
  'different-radio-channels': 'the units are on different radio channels',
  'no-radio-data': 'a unit without radio times',
  'no-common-channel': 'no channel is in all recordings',
  'no-samples': 'a common channel without samples',
};

/** A failure of the reader. `code` and `reason` are stable; the message is for people. */
class VortenaError extends Error {
  constructor(message, { code, reason, path, stage, cause }) {
    super(message, cause && { cause });
    Object.assign(this, { code, reason, path, stage });
  }
}
Object.defineProperty(VortenaError.prototype, 'name', { value: 'VortenaError', writable: true, configurable: true });

/** As the node:fs functions would report it; pages have names of errors, and no numbers. */
function systemCause({ systemName: code, systemError, message }) {
  if (!code) {
    return undefined;
  }
  return Object.assign(new Error(`${code}: ${message}`), { code, ...(systemError ? { errno: -systemError } : {}) });
}

/** `failure` is the native entry's; `path` is the file that it is about. */
function vortenaError(failure, path) {
  const { code, reason, stage } = failure;
  const cause = code === 'ERR_OUTPUT_EXISTS' ? undefined : systemCause(failure);
  const details = cause?.message ?? REASONS[reason] ?? failure.message;
  const sentence = `${path} ${SENTENCES[code]}`;
  return new VortenaError(details ? `${sentence}: ${details}` : sentence, { code, reason, stage, path, cause });
}

module.exports = { VortenaError, vortenaError };
