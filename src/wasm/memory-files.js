// Files that are in memory, for where there are no others: recordings that a page was given, and what is written.
'use strict';

const REGULAR = 0o100644;
const WINDOW = 1 << 20;

const decoder = new TextDecoder('utf-8', { ignoreBOM: true });

function fault(code, path) {
  return Object.assign(new Error(`${code}: ${path}`), { code });
}

/** Bytes of a recording, wherever they are: `read(target, position)` fills what it can. */
function bytesSource(bytes) {
  return {
    size: bytes.length,
    read(target, position) {
      const part = bytes.subarray(position, position + target.length);
      target.set(part);
      return part.length;
    },
  };
}

/** A Blob or File, read a window at a time; pages let only workers do that. */
function blobSource(blob) {
  let start = 0;
  let held = new Uint8Array(0);
  const hold = (position) => {
    start = position;
    held = new Uint8Array(new FileReaderSync().readAsArrayBuffer(blob.slice(position, position + WINDOW)));
  };
  return {
    size: blob.size,
    read(target, position) {
      if (position < start || position >= start + held.length) {
        try {
          hold(position);
        } catch (error) {
          throw fault('EIO', error.message); // the file was changed or taken away since it was picked
        }
      }
      const part = held.subarray(position - start, position - start + target.length);
      target.set(part);
      return part.length;
    },
  };
}

/** Also of objects from another frame, or from the globals that some test runners give to tests. */
function kindOf(input) {
  return Object.prototype.toString.call(input).slice('[object '.length, -1);
}

/** `input` is a Uint8Array, an ArrayBuffer or a Blob. */
function sourceOf(input) {
  if (typeof Blob !== 'undefined' && input instanceof Blob) {
    if (typeof FileReaderSync === 'undefined') {
      throw new TypeError('A Blob can be read in a worker of a page only; elsewhere hand in its bytes');
    }
    return blobSource(input);
  }
  const kind = kindOf(input);
  if (kind === 'Uint8Array') {
    return bytesSource(input);
  }
  if (kind === 'ArrayBuffer') {
    return bytesSource(new Uint8Array(input));
  }
  throw new TypeError('A recording is neither a Uint8Array nor an ArrayBuffer nor a Blob');
}

/** What is written comes in order: nothing that the module writes goes back. */
class WrittenFile {
  constructor() {
    this.pieces = [];
    this.size = 0;
  }

  write(bytes, position) {
    if (position !== this.size) {
      throw fault('ESPIPE', 'written file');
    }
    this.append(bytes.slice());
    return bytes.length;
  }

  /** Keeps the piece itself. */
  append(piece) {
    this.pieces.push(piece);
    this.size += piece.length;
  }

  read() {
    return 0;
  }

  /** All of it; the pieces are let go as they are copied. */
  take() {
    const whole = new Uint8Array(this.size);
    let at = 0;
    for (let piece = this.pieces.shift(); piece; piece = this.pieces.shift()) {
      whole.set(piece, at);
      at += piece.length;
    }
    return whole;
  }
}

class MemoryFiles {
  constructor() {
    this.entries = new Map();
    this.messages = '';
  }

  path(bytes) {
    return decoder.decode(bytes);
  }

  add(path, input) {
    this.entries.set(path, sourceOf(input));
  }

  /** What was written under a name. */
  take(path) {
    const written = this.entries.get(path);
    this.entries.delete(path);
    return written;
  }

  find(path) {
    const entry = this.entries.get(path);
    if (!entry) {
      throw fault('ENOENT', path);
    }
    return entry;
  }

  statusOf(entry) {
    const number = [...this.entries.values()].indexOf(entry) + 1;
    return { device: 1, number, mode: REGULAR, links: 1, user: 0, group: 0, bytes: entry.size, changed: 0n };
  }

  status(path) {
    return this.statusOf(this.find(path));
  }

  open(path, { write, create, exclusive, truncate }) {
    if (exclusive && this.entries.has(path)) {
      throw fault('EEXIST', path);
    }
    if (create && (truncate || !this.entries.has(path))) {
      this.entries.set(path, new WrittenFile());
    }
    const entry = this.find(path);
    if (write && !(entry instanceof WrittenFile)) {
      throw fault('EACCES', path);
    }
    return {
      read: (target, position) => entry.read(target, position),
      write: (bytes, position) => entry.write(bytes, position),
      status: () => this.statusOf(entry),
      changeMode() {},
      changeOwner() {},
      sync() {},
      close() {},
    };
  }

  rename(from, to) {
    this.entries.set(to, this.find(from));
    this.entries.delete(from);
  }

  /** There is nobody else who could take the name meanwhile. */
  link(from, to) {
    throw fault(this.entries.has(to) ? 'EEXIST' : 'EPERM', from);
  }

  makeFolder(path) {
    throw fault('EPERM', path);
  }

  removeFolder(path) {
    throw fault('ENOENT', path);
  }

  remove(path) {
    this.find(path);
    this.entries.delete(path);
  }

  readLink(path) {
    this.find(path);
    throw fault('EINVAL', path);
  }

  access(path) {
    this.find(path);
  }

  message(text) {
    this.messages += text;
  }
}

module.exports = { MemoryFiles, WrittenFile };
