// Errors of the system, by name, and which of them may be gone another time or on another machine.
'use strict';

const os = require('node:os');

const PASSING = new Set([
  'EAGAIN', // a thread, a lock or memory is not to be had right now
  'EBUSY', // somebody else uses the file or the device
  'ECONNABORTED', // the program behind a mounted file system has ended
  'ECONNREFUSED', // a file server is starting
  'ECONNRESET', // a file server has started again
  'EDEADLK', // two clients of a network drive wait for each other's locks
  'EDQUOT', // a share of the disk is used up: its owner makes room
  'EHOSTDOWN', // a file server is off
  'EHOSTUNREACH', // the way to a file server is cut
  'EINTR', // a signal came while a network drive was waited for
  'EIO', // a device or a network drive failed; another machine has its own way to it
  'EMFILE', // this process has too many open files
  'ENETDOWN', // the network of this machine is down
  'ENETRESET', // the network dropped the connection
  'ENETUNREACH', // the network of a file server is cut off
  'ENFILE', // this machine has too many open files
  'ENOBUFS', // the network has no memory left
  'ENODEV', // the device is unplugged, or not mounted on this machine
  'ENOENT', // a folder that is not mounted has no files
  'ENOLCK', // a network drive has no locks left, or its lock service is starting
  'ENOLINK', // the link to a network drive is cut
  'ENOMEM', // the system has no memory left
  'ENOSPC', // the disk is full: somebody makes room
  'ENOTCONN', // the program behind a mounted file system is starting
  'ENXIO', // the device is gone for the moment
  'EPIPE', // the connection to a file server was closed
  'EROFS', // a disk is mounted read-only after an error, or on this machine alone
  'ESHUTDOWN', // a file server is shutting down
  'ESTALE', // a network drive has replaced the file, or its server has started again
  'ETIME', // a device has not answered in time
  'ETIMEDOUT', // a file server has not answered in time
]);

const NAMES = new Map(Object.entries(os.constants.errno).map(([name, number]) => [number, name]));

/** Node.js has no names for the errors of quotas and of some network drives: their code is "Unknown system error -122". */
const nameOf = ({ code, errno }) => (/^Unknown/.test(code) ? (NAMES.get(-errno) ?? code) : code);

/** Of an error of node:fs, or of the reader; undefined for what is none of the system's. */
function systemCode(error) {
  const system = error?.cause?.code ? error.cause : error;
  return system === error?.cause || error?.syscall ? nameOf(system) : undefined;
}

const mayPass = (error) => error?.code === 'ERR_NO_MEMORY' || PASSING.has(systemCode(error));

module.exports = { mayPass, systemCode };
