// The files of the system, for an instance in Node.js.
'use strict';

const fs = require('node:fs');
const path = require('node:path');

/** A path as the module takes it: its C library divides paths at "/" alone, which Windows takes as well. */
function modulePath(text) {
  return path.sep === '/' ? text : text.replaceAll(path.sep, '/');
}

function statusOf({ dev, ino, mode, nlink, uid, gid, size, mtimeNs }) {
  const [permissions, links, user, group] = [mode, nlink, uid, gid].map(Number);
  return { device: dev, number: ino, mode: permissions, links, user, group, bytes: size, changed: mtimeNs };
}

/** Where the system's own position is, nothing is told: pipes and terminals have no other. */
class DiskFile {
  constructor(descriptor) {
    this.descriptor = descriptor;
    this.position = 0;
  }

  move(call, bytes, position) {
    if (position !== this.position) {
      return call(this.descriptor, bytes, 0, bytes.length, position);
    }
    const moved = call(this.descriptor, bytes, 0, bytes.length, null);
    this.position += moved;
    return moved;
  }

  read(target, position) {
    return this.move(fs.readSync, target, position);
  }

  write(bytes, position) {
    return this.move(fs.writeSync, bytes, position);
  }

  status() {
    return statusOf(fs.fstatSync(this.descriptor, { bigint: true }));
  }

  changeMode(mode) {
    fs.fchmodSync(this.descriptor, mode);
  }

  changeOwner(user, group) {
    fs.fchownSync(this.descriptor, user, group);
  }

  sync() {
    fs.fsyncSync(this.descriptor);
  }

  close() {
    fs.closeSync(this.descriptor);
  }
}

function openFlags({ read, write, create, exclusive, truncate }) {
  const { O_RDONLY, O_WRONLY, O_RDWR, O_CREAT, O_EXCL, O_TRUNC } = fs.constants;
  const access = write ? (read ? O_RDWR : O_WRONLY) : O_RDONLY;
  return access | (create ? O_CREAT : 0) | (exclusive ? O_EXCL : 0) | (truncate ? O_TRUNC : 0);
}

const diskFiles = {
  path: (bytes) => Buffer.from(bytes), // as they are, as some names are no UTF-8
  open: (path, options) => new DiskFile(fs.openSync(path, openFlags(options), options.mode)),
  status: (path, follow) => statusOf((follow ? fs.statSync : fs.lstatSync)(path, { bigint: true })),
  rename: fs.renameSync,
  link: fs.linkSync,
  remove: fs.unlinkSync,
  makeFolder: (path, mode) => fs.mkdirSync(path, mode),
  removeFolder: fs.rmdirSync,
  readLink: (path) => fs.readlinkSync(path, 'buffer'),
  access: fs.accessSync,
  message(text) {
    try {
      fs.writeSync(process.stderr.fd ?? 2, text);
    } catch {
      // As in C, where nobody asks whether a message was written.
    }
  },
};

module.exports = { diskFiles, modulePath };
