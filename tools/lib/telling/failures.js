// Failures as plain objects that cross processes and become JSON, and what a user can do about each.
'use strict';

const os = require('node:os');

/** By the system's reason, which says more than the code of the reader. */
const SYSTEM_ADVICE = {
  EBUSY: 'It is in use: close the program that has it open.',
  ENOENT: 'Check the spelling; the file may have been moved or renamed since.',
  EACCES: 'Ask whoever owns it for permission.',
  EPERM: 'Ask whoever owns it for permission.',
  EISDIR: 'A folder stands where a file is wanted: name a file, or move the folder away.',
  ENOTDIR: 'A part of the path is a file: move it away, or choose another folder with -o.',
  ENOSPC: 'The disk is full: make room, then run the same command again with --skip-existing.',
  EDQUOT: 'Your share of the disk is used up: make room, then run the same command again with --skip-existing.',
  EROFS: 'The disk cannot be written to: choose another folder with -o.',
  EIO: 'The disk or card reports an error: copy the recording elsewhere and try the copy; convert --keep-readable saves what comes before the error.',
  ESTALE: 'The network drive has lost the file: try again.',
  ENAMETOOLONG: 'The name is too long for the file system: rename the recording.',
  EMFILE: 'Too many files are open: use fewer jobs with -j.',
};

const ADVICE = {
  ERR_NOT_A_RECORDING: 'Copy it from the unit again; if it is no recording, take it out of the folder.',
  ERR_UNREADABLE: 'Copy it from the unit again, or try a copy on another disk.',
  ERR_RECORDING_CHANGED: 'Wait until it is copied or recorded to its end, then run the same command again.',
  ERR_WRITE: 'Look at the output folder, or choose another one with -o.',
  ERR_OUTPUT_EXISTS: 'Use --skip-existing to keep what is there, or --overwrite to replace it.',
  ERR_OUTPUT_FOREIGN: 'Move it away, or choose another folder with -o.',
  ERR_OUTPUT_IS_RECORDING: 'Choose another folder with -o; recordings are never replaced.',
  ERR_OUTPUT_CLASH: 'Rename one of them, or convert them into folders of their own.',
  ERR_SYNC: 'Take recordings that were made together, of units set to one radio channel and one of them master.',
  ERR_NO_REST: 'Take --orientation smoothed, which needs no rest, or leave --offset out.',
  ERR_CONFIG_TEXT: 'docs/configuration-text.md has the form of the text.',
  ERR_NO_MEMORY: 'Use fewer jobs with -j, or close other programs.',
  ERR_WORKER_DIED: 'If it was killed for want of memory, use -j 1 or a lower --memory. If it dies again, report the fault.',
  ERR_INTERRUPTED: 'Nothing of it is left; the same command with --skip-existing does the rest.',
  ERR_INTERNAL: 'This is a fault of the program: please report it, with the recording if that may leave the house.',
};

/** By the reader's reason. */
const REASON_ADVICE = {
  'too-few': 'Name the recordings of all units of the set.',
};

const NAMES = new Map(Object.entries(os.constants.errno).map(([name, number]) => [number, name]));

/** Node.js has no names for the errors of quotas and of some network drives. */
const nameOf = ({ code, errno }) => (/^Unknown/.test(code) ? (NAMES.get(-errno) ?? code) : code);

const systemCode = (error) => error?.cause?.code ?? (error?.syscall ? nameOf(error) : undefined);

/** The reader's errors have codes of their own; those of node:fs are about `output`, or the file that they name. */
function failureOf(error, output) {
  const details = { reason: error?.reason, stage: error?.stage, systemCode: systemCode(error) };
  if (error?.syscall) {
    return failure('ERR_WRITE', `${output ?? error.path} cannot be written: ${error.message}`, details);
  }
  const known = error?.code in ADVICE;
  return failure(known ? error.code : 'ERR_INTERNAL', known ? error.message : (error?.stack ?? String(error)), details);
}

/** Members that are not known are left out. */
function failure(code, message, { reason, stage, systemCode: system } = {}) {
  const advice = SYSTEM_ADVICE[system] ?? REASON_ADVICE[reason] ?? ADVICE[code];
  return { code, reason, stage, systemCode: system, message, advice };
}

module.exports = { failure, failureOf };
