// One instance of the WebAssembly module: its memory, the system's calls of its C library, and calls into it. Files are
// those of the object that it is given, see memory-files.js and disk-files.js.
'use strict';

const { errorNumber } = require('./error-numbers.js');

const PAGE = 65_536;
const GROWTH = 16 * PAGE;
const FIRST_FILE = 3;
const MESSAGES = 2;

// Flags of open(), of musl.
const O_ACCMODE = 3;
const O_RDONLY = 0;
const O_CREAT = 0o100;
const O_EXCL = 0o200;
const O_TRUNC = 0o1000;

const REMOVE_FOLDER = 0x200; // of unlinkat(), of musl

const NS_PER_S = 1_000_000_000n;

const SEEK_CUR = 1;
const SEEK_END = 2;

const encoder = new TextEncoder();
const decoder = new TextDecoder('utf-8', { ignoreBOM: true });

/** A text as the module takes it, up to its first zero byte as in C, and a zero byte behind it. */
function zeroTerminated(text) {
  const bytes = text instanceof Uint8Array ? text : encoder.encode(text);
  const end = bytes.indexOf(0);
  const whole = new Uint8Array((end < 0 ? bytes.length : end) + 1);
  whole.set(end < 0 ? bytes : bytes.subarray(0, end));
  return whole;
}

/** What an operation is called with: its name and its arguments as texts, or their UTF-8; lists with their length first. */
function textsOf(values) {
  const flat = values.flatMap((value) => (Array.isArray(value) ? [value.length, ...value] : [value]));
  const parts = flat.map((value) => zeroTerminated(value instanceof Uint8Array ? value : String(value)));
  const texts = new Uint8Array(parts.reduce((size, part) => size + part.length, 0));
  let at = 0;
  for (const part of parts) {
    texts.set(part, at);
    at += part.length;
  }
  return texts;
}

class Instance {
  /**
   * `files` has open, status, rename, link, remove, makeFolder, removeFolder, readLink and access, which throw errors
   * with a code as those of node:fs, path, which makes a path of its UTF-8, and message, which takes what is written on standard error. `look(watch)` is called every few milliseconds of an
   * operation with its four numbers, stop, stage, done and total, as an Int32Array.
   */
  constructor(files, look = () => {}, environment = {}) {
    Object.assign(this, { files, look });
    this.environment = Object.entries(environment).map(([name, value]) => zeroTerminated(`${name}=${value}`));
    this.handles = new Map();
  }

  /** For WebAssembly.Instance and WebAssembly.instantiate; attach() takes what they give. */
  importsFor(module) {
    const imports = { env: { ...this.runtime(), ...this.systemCalls() }, wasi_snapshot_preview1: this.wasi() };
    for (const { module: group, name, kind } of WebAssembly.Module.imports(module)) {
      if (kind === 'function') {
        imports[group][name] ??= this.unknown(group, name);
      }
    }
    return imports;
  }

  /** Releases of the C library name calls that this module never makes. Those of its runtime have no error to answer. */
  unknown(group, name) {
    if (group === 'env' && !name.startsWith('__syscall_')) {
      return () => {
        throw new WebAssembly.RuntimeError(`${name} is missing`);
      };
    }
    return () => (group === 'env' ? -errorNumber('ENOSYS') : errorNumber('ENOSYS'));
  }

  attach(instance) {
    this.exports = instance.exports;
    this.exports.__wasm_call_ctors();
    const layout = this.exports.vortena_status_layout() >>> 0;
    const [size, device, number, mode, links, user, group, bytes, seconds, nanoseconds] = new Uint32Array(
      this.buffer,
      layout,
      10,
    );
    this.layout = { size, device, number, mode, links, user, group, bytes, seconds, nanoseconds };
    return this;
  }

  get buffer() {
    return this.exports.memory.buffer;
  }

  get heap() {
    return new Uint8Array(this.buffer);
  }

  get view() {
    return new DataView(this.buffer);
  }

  /** The operation's answer: its text, its arrays as buffers of their own, or its failure. */
  run(...values) {
    return this.withBytes(textsOf(values), (at, size) => this.takeReply(this.exports.vortena_run(at, size)));
  }

  /** The same with its arrays as they are in the memory of this instance, which nothing else may be run on any more. */
  runLast(...values) {
    return this.withBytes(textsOf(values), (at, size) => this.readReply(this.exports.vortena_run(at, size) >>> 0, keptArray));
  }

  /** Pieces of the CSV of a file, called for with its path and an offset; the first step decodes the recording. */
  *csvPieces(values, onFraction = () => {}) {
    const { vortena_begin_csv: begin, vortena_next_csv: next, vortena_end_csv: end } = this.exports;
    const place = this.withBytes(new Uint8Array(4), (at) => {
      const reply = this.withBytes(textsOf(values), (texts, size) => begin(texts, size, at));
      return { stream: this.view.getUint32(at, true), reply };
    });
    try {
      this.takeReply(place.reply);
      for (let piece = this.nextPiece(next(place.stream)); piece; piece = this.nextPiece(next(place.stream))) {
        yield piece;
        onFraction(this.exports.vortena_csv_fraction(place.stream));
      }
    } finally {
      end(place.stream);
    }
  }

  nextPiece(reply) {
    const { json } = this.takeReply(reply);
    return json.length > 0 ? json : undefined;
  }

  /** Calls back with the place and size of a copy in the module's memory. */
  withBytes(bytes, callback) {
    const at = this.exports.malloc(bytes.length) >>> 0;
    if (at === 0) {
      throw noMemory();
    }
    try {
      this.heap.set(bytes, at);
      return callback(at, bytes.length);
    } finally {
      this.exports.free(at);
    }
  }

  takeReply(pointer) {
    const reply = pointer >>> 0;
    try {
      return this.readReply(reply, (at, size, k) => {
        const buffer = this.buffer.slice(at, at + size);
        this.exports.vortena_release_array(reply, k);
        return buffer;
      });
    } finally {
      this.exports.vortena_release(reply);
    }
  }

  /** `json` is bytes, as some are no text that JavaScript has. Throws the failure. */
  readReply(reply, takeArray) {
    if (reply === 0) {
      throw noMemory();
    }
    const [json, jsonSize, failure, failureSize, arrays, count] = new Uint32Array(this.buffer, reply, 6);
    if (failureSize > 0) {
      throw this.failureOf(JSON.parse(this.text(failure, failureSize)));
    }
    const buffers = Array.from({ length: count }, (_, k) => {
      const [at, size] = new Uint32Array(this.buffer, arrays + 8 * k, 2);
      return takeArray.call(this, at, size, k);
    });
    return { json: this.heap.slice(json, json + jsonSize), buffers };
  }

  /** As the native entry's failures: without what is empty. */
  failureOf(failure) {
    return Object.fromEntries(Object.entries(failure).filter(([, value]) => value !== ''));
  }

  text(at, size) {
    return decoder.decode(this.heap.subarray(at, at + size));
  }

  /** The zero-terminated path at an address, as the files take it. */
  pathAt(pointer) {
    const at = pointer >>> 0;
    return this.files.path(this.heap.slice(at, this.heap.indexOf(0, at)));
  }

  runtime() {
    const copy = (to, from, size) => void this.heap.copyWithin(to >>> 0, from >>> 0, (from >>> 0) + (size >>> 0));
    const abort = () => {
      throw new WebAssembly.RuntimeError('abort');
    };
    return {
      vortena_look: (watch) => this.look(new Int32Array(this.buffer, watch >>> 0, 4)),
      emscripten_resize_heap: (bytes) => this.grow(bytes >>> 0),
      emscripten_notify_memory_growth: () => {},
      emscripten_memcpy_big: copy,
      emscripten_memcpy_js: copy,
      _emscripten_memcpy_js: copy,
      emscripten_get_now: () => performance.now(),
      abort,
      _abort_js: abort,
      strftime_l: () => 0,
    };
  }

  grow(bytes) {
    const wanted = bytes - this.buffer.byteLength;
    for (const more of [Math.max(wanted, GROWTH), wanted]) {
      try {
        this.exports.memory.grow(Math.ceil(more / PAGE));
        return 1;
      } catch {
        // Less may do.
      }
    }
    return 0;
  }

  /** A call of the system: what it throws becomes its error number. */
  guard(call, sign) {
    return (...parameters) => {
      try {
        return call(...parameters) ?? 0;
      } catch (error) {
        return sign * errorNumber(error.code);
      }
    };
  }

  handle(descriptor) {
    const handle = this.handles.get(descriptor);
    if (!handle) {
      throw Object.assign(new Error('no such descriptor'), { code: 'EBADF' });
    }
    return handle;
  }

  open(path, flags, variable) {
    const access = flags & O_ACCMODE;
    const file = this.files.open(this.pathAt(path), {
      read: access !== 1,
      write: access !== O_RDONLY,
      create: (flags & O_CREAT) !== 0,
      exclusive: (flags & O_EXCL) !== 0,
      truncate: (flags & O_TRUNC) !== 0,
      mode: (flags & O_CREAT) !== 0 ? this.view.getUint32(variable, true) : 0,
    });
    let descriptor = FIRST_FILE;
    while (this.handles.has(descriptor)) {
      descriptor += 1;
    }
    this.handles.set(descriptor, { file, position: 0 });
    return descriptor;
  }

  /** `changed` is in nanoseconds. */
  putStatus({ device, number, mode, links, user, group, bytes, changed }, at) {
    this.heap.fill(0, at, at + this.layout.size);
    const { view } = this;
    view.setUint32(at + this.layout.device, Number(BigInt.asUintN(32, BigInt(device))), true);
    view.setBigUint64(at + this.layout.number, BigInt.asUintN(64, BigInt(number)), true);
    view.setUint32(at + this.layout.mode, mode, true);
    view.setUint32(at + this.layout.links, links, true);
    view.setUint32(at + this.layout.user, user, true);
    view.setUint32(at + this.layout.group, group, true);
    view.setBigInt64(at + this.layout.bytes, BigInt(bytes), true);
    // Seconds have 32 or 64 bits; the low ones come first.
    view.setInt32(at + this.layout.seconds, Number(BigInt.asIntN(32, changed / NS_PER_S)), true);
    view.setInt32(at + this.layout.nanoseconds, Number(changed % NS_PER_S), true);
  }

  putLink(target, at, room) {
    const bytes = target.subarray(0, room);
    this.heap.set(bytes, at);
    return bytes.length;
  }

  systemCalls() {
    const at = (pointer) => this.pathAt(pointer);
    const status = (path, buffer, follow) => this.putStatus(this.files.status(at(path), follow), buffer >>> 0);
    const NO_FOLLOW = 0x100;
    const calls = {
      __syscall_open: (path, flags, variable) => this.open(path, flags, variable >>> 0),
      __syscall_openat: (folder, path, flags, variable) => this.open(path, flags, variable >>> 0),
      __syscall_stat64: (path, buffer) => status(path, buffer, true),
      __syscall_lstat64: (path, buffer) => status(path, buffer, false),
      __syscall_fstatat64: (folder, path, buffer, flags) => status(path, buffer, (flags & NO_FOLLOW) === 0),
      __syscall_newfstatat: (folder, path, buffer, flags) => status(path, buffer, (flags & NO_FOLLOW) === 0),
      __syscall_fstat64: (descriptor, buffer) => this.putStatus(this.handle(descriptor).file.status(), buffer >>> 0),
      __syscall_rename: (from, to) => this.files.rename(at(from), at(to)),
      __syscall_renameat: (folder, from, other, to) => this.files.rename(at(from), at(to)),
      __syscall_unlink: (path) => this.files.remove(at(path)),
      __syscall_unlinkat: (folder, path, flags) =>
        flags & REMOVE_FOLDER ? this.files.removeFolder(at(path)) : this.files.remove(at(path)),
      __syscall_rmdir: (path) => this.files.removeFolder(at(path)),
      __syscall_mkdir: (path, mode) => this.files.makeFolder(at(path), mode),
      __syscall_mkdirat: (folder, path, mode) => this.files.makeFolder(at(path), mode),
      __syscall_link: (from, to) => this.files.link(at(from), at(to)),
      __syscall_linkat: (folder, from, other, to) => this.files.link(at(from), at(to)),
      __syscall_readlink: (path, buffer, room) => this.putLink(this.files.readLink(at(path)), buffer >>> 0, room),
      __syscall_readlinkat: (folder, path, buffer, room) => this.putLink(this.files.readLink(at(path)), buffer >>> 0, room),
      __syscall_faccessat: (folder, path, wanted) => this.files.access(at(path), wanted),
      __syscall_fchmod: (descriptor, mode) => this.handle(descriptor).file.changeMode(mode),
      __syscall_fchown32: (descriptor, user, group) => this.handle(descriptor).file.changeOwner(user, group),
      __syscall_fcntl64: () => 0,
    };
    return Object.fromEntries(Object.entries(calls).map(([name, call]) => [name, this.guard(call, -1)]));
  }

  /** Calls `step(bytes)` for each part of a vector of the module's memory, until one is short; the sum of its answers. */
  throughVector(vector, count, step) {
    let sum = 0;
    for (let k = 0; k < count; k += 1) {
      const start = this.view.getUint32(vector + 8 * k, true);
      const size = this.view.getUint32(vector + 8 * k + 4, true);
      const done = size > 0 ? step(this.heap.subarray(start, start + size)) : 0;
      sum += done;
      if (done < size) {
        break;
      }
    }
    return sum;
  }

  transfer(descriptor, vector, count, result, direction) {
    const handle = descriptor === MESSAGES ? undefined : this.handle(descriptor);
    const done = this.throughVector(vector >>> 0, count, (bytes) => {
      if (!handle) {
        this.files.message(decoder.decode(bytes));
        return bytes.length;
      }
      const moved = handle.file[direction](bytes, handle.position);
      handle.position += moved;
      return moved;
    });
    this.view.setUint32(result >>> 0, done, true);
  }

  seek(descriptor, offset, whence, result) {
    const handle = this.handle(descriptor);
    const base = whence === SEEK_END ? Number(handle.file.status().bytes) : whence === SEEK_CUR ? handle.position : 0;
    const position = base + Number(offset);
    if (position < 0) {
      throw Object.assign(new Error('in front of the file'), { code: 'EINVAL' });
    }
    handle.position = position;
    this.view.setBigInt64(result >>> 0, BigInt(position), true);
  }

  close(descriptor) {
    const { file } = this.handle(descriptor);
    this.handles.delete(descriptor);
    file.close();
  }

  putEnvironment(places, text) {
    let at = text >>> 0;
    this.environment.forEach((entry, k) => {
      this.view.setUint32((places >>> 0) + 4 * k, at, true);
      this.heap.set(entry, at);
      at += entry.length;
    });
  }

  wasi() {
    const calls = {
      fd_read: (descriptor, vector, count, result) => this.transfer(descriptor, vector, count, result, 'read'),
      fd_write: (descriptor, vector, count, result) => this.transfer(descriptor, vector, count, result, 'write'),
      fd_seek: (descriptor, offset, whence, result) => this.seek(descriptor, offset, whence, result),
      fd_close: (descriptor) => this.close(descriptor),
      fd_sync: (descriptor) => this.handle(descriptor).file.sync(),
      fd_fdstat_get: (descriptor, buffer) => void this.heap.fill(0, buffer >>> 0, (buffer >>> 0) + 24),
      environ_sizes_get: (count, size) => {
        this.view.setUint32(count >>> 0, this.environment.length, true);
        this.view.setUint32(
          size >>> 0,
          this.environment.reduce((sum, { length }) => sum + length, 0),
          true,
        );
      },
      environ_get: (places, text) => this.putEnvironment(places, text),
    };
    return Object.fromEntries(Object.entries(calls).map(([name, call]) => [name, this.guard(call, 1)]));
  }

  /** Closes what an operation that was cut off left open. */
  closeFiles() {
    for (const { file } of this.handles.values()) {
      try {
        file.close();
      } catch {
        // Nobody waits for it any more.
      }
    }
    this.handles.clear();
  }
}

function keptArray(at, size) {
  return new Uint8Array(this.buffer, at, size);
}

function noMemory() {
  return { code: 'ERR_NO_MEMORY' };
}

module.exports = { Instance };
