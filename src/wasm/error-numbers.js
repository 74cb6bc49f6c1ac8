// The numbers of errors in the module's C library, which are not those of any system.
'use strict';

const NUMBERS = {
  EACCES: 2,
  EAGAIN: 6,
  EBADF: 8,
  EBUSY: 10,
  EDQUOT: 19,
  EEXIST: 20,
  EFBIG: 22,
  EINTR: 27,
  EINVAL: 28,
  EIO: 29,
  EISDIR: 31,
  ELOOP: 32,
  EMFILE: 33,
  EMLINK: 34,
  ENAMETOOLONG: 37,
  ENFILE: 41,
  ENODEV: 43,
  ENOENT: 44,
  ENOLCK: 46,
  ENOMEM: 48,
  ENOSPC: 51,
  ENOSYS: 52,
  ENOTDIR: 54,
  ENOTEMPTY: 55,
  ENOTSUP: 138,
  ENXIO: 60,
  EOVERFLOW: 61,
  EPERM: 63,
  EPIPE: 64,
  EROFS: 69,
  ESPIPE: 70,
  ESTALE: 72,
  ETIMEDOUT: 73,
  ETXTBSY: 74,
  EXDEV: 75,
};
/** What has no number of its own is a fault of input or output. */
function errorNumber(name) {
  return NUMBERS[name] ?? NUMBERS.EIO;
}

module.exports = { errorNumber };
