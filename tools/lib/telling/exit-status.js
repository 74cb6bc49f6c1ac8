// What the process tells its caller; docs/command-line.md lists the numbers.
'use strict';

/** Something that the caller has to put right before anything can start. */
class UsageError extends Error {}

module.exports = {
  OK: 0,
  FAILED: 1, // at least one recording
  WRONG_USAGE: 2, // or nothing found
  DAMAGED: 3, // check found some
  INTERNAL_FAULT: 70, // as in sysexits.h
  UsageError,
};
