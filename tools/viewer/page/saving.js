// Files that the page saves: straight to the disk where the browser can, else as a download.
'use strict';

const REVOKED_AFTER_MS = 60_000;

function save(blob, name) {
  const link = document.createElement('a');
  link.href = URL.createObjectURL(blob);
  link.download = name;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), REVOKED_AFTER_MS);
}

/** Collects pieces as blobs, which browsers move out of the page's memory. */
class Download {
  constructor(name) {
    Object.assign(this, { name, blobs: [] });
  }

  async write(piece) {
    this.blobs.push(piece instanceof Blob ? piece : new Blob([piece]));
  }

  async close() {
    save(new Blob(this.blobs, { type: 'text/csv' }), this.name);
  }

  async abort() {
    this.blobs = [];
  }
}

/**
 * Where a file of that name goes: an object with `write(piece)`, `close()` and `abort()`; undefined when the person who was
 * asked wants none. To be called while the browser takes it for what that person does.
 */
async function openOutput(name) {
  if (!globalThis.showSaveFilePicker) {
    return new Download(name);
  }
  try {
    const types = [{ description: 'CSV', accept: { 'text/csv': ['.csv'] } }];
    const handle = await showSaveFilePicker({ suggestedName: name, types });
    return await handle.createWritable();
  } catch (error) {
    return error.name === 'AbortError' ? undefined : new Download(name);
  }
}

module.exports = { openOutput, save };
