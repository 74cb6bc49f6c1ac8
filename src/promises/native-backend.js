// The native entry as a backend of jobs: its arrays come into ArrayBuffers that JavaScript has made.
'use strict';

/** A system without memory throws a RangeError. */
function makeBuffers(sizes) {
  try {
    return sizes.map((size) => new ArrayBuffer(size));
  } catch {
    return undefined;
  }
}

/** `native` with collect(arrays, done(failure, buffers), started(handle)). */
function nativeBackend(native) {
  function collect(arrays, done, started) {
    if (!arrays) {
      done(undefined, []);
      return;
    }
    const buffers = makeBuffers(native.arraySizes(arrays));
    if (!buffers) {
      done({ code: 'ERR_NO_MEMORY' });
      return;
    }
    try {
      started(native.takeArrays(arrays, buffers, (failure) => done(failure, buffers)));
    } catch (error) {
      done(error);
    }
  }
  return { ...native, collect };
}

module.exports = { nativeBackend };
