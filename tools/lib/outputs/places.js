// Whether two paths lead to one place, as the file system sees it: through links, and by names that differ in case only.
'use strict';

const fs = require('node:fs/promises');
const path = require('node:path');

const MOST_LINKS = 40;

const swapCase = (name) =>
  name.replace(/\p{L}/gu, (letter) => (letter === letter.toLowerCase() ? letter.toUpperCase() : letter.toLowerCase()));

const isSame = (a, b) => a.dev === b.dev && a.ino === b.ino;

class Places {
  constructor() {
    this.folders = new Map();
  }

  /** A text that is the same for paths that lead to one place, whether or not anything is there. */
  async keyOf(output, links = 0) {
    const folder = await this.folderOf(path.dirname(path.resolve(output)));
    const name = path.basename(output);
    const target = await fs.readlink(path.join(folder.path, name)).catch(() => undefined);
    if (target !== undefined && links < MOST_LINKS) {
      return this.keyOf(path.resolve(folder.path, target), links + 1);
    }
    return path.join(folder.path, folder.foldsCase ? name.toLowerCase() : name);
  }

  folderOf(folder) {
    if (!this.folders.has(folder)) {
      this.folders.set(folder, this.resolve(folder));
    }
    return this.folders.get(folder);
  }

  /** A folder that is not there yet will be as the one in which it is made. */
  async resolve(folder) {
    const real = await fs.realpath(folder).catch(() => undefined);
    if (real !== undefined) {
      return { path: real, foldsCase: await this.foldsCase(real) };
    }
    const parent = path.dirname(folder);
    if (parent === folder) {
      return { path: folder, foldsCase: false };
    }
    const { path: above, foldsCase } = await this.folderOf(parent);
    const name = path.basename(folder);
    return { path: path.join(above, foldsCase ? name.toLowerCase() : name), foldsCase };
  }

  /** Asks for the folder by its own name in the other case; without letters in it, for the one above. */
  async foldsCase(folder) {
    for (let at = folder; at !== path.dirname(at); at = path.dirname(at)) {
      const other = path.join(path.dirname(at), swapCase(path.basename(at)));
      if (other !== at) {
        const [ours, theirs] = await Promise.all([at, other].map((each) => fs.stat(each).catch(() => undefined)));
        return Boolean(ours && theirs && isSame(ours, theirs));
      }
    }
    return process.platform === 'win32' || process.platform === 'darwin';
  }
}

module.exports = { Places };
