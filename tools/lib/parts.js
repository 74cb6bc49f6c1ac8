// Outputs that are not yet whole: NAME.part-HOST-PID-N, as the reader itself names them.
'use strict';

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const LONGEST_NAME = 255; // bytes
let made = 0;

/** Cut to `bytes`, not within a character. */
function cutTo(bytes, name) {
  return new TextDecoder().decode(Buffer.from(name).subarray(0, bytes)).replace(/\uFFFD$/, '');
}

/** A name beside `output` that no other process takes. */
function partOf(output) {
  made += 1;
  const ending = `.part-${os.hostname()}-${process.pid}-${made}`;
  return path.join(path.dirname(output), cutTo(LONGEST_NAME - Buffer.byteLength(ending), path.basename(output)) + ending);
}

/** It has ended, and nobody has asked how: in containers that can last. */
function isZombie(pid) {
  try {
    return /\) [ZX] [^)]*$/.test(fs.readFileSync(`/proc/${pid}/stat`, 'latin1'));
  } catch {
    return false; // no such thing as /proc here
  }
}

function isDead(pid) {
  try {
    process.kill(pid, 0);
    return isZombie(pid);
  } catch (error) {
    return error.code === 'ESRCH';
  }
}

/** The process that a part of this host belongs to. */
function ownerOf(name) {
  const [, before, pid] = /^(.+)-([1-9]\d*)-\d+$/s.exec(name) ?? [];
  const ending = `.part-${os.hostname()}`;
  return before?.endsWith(ending) && before.length > ending.length ? Number(pid) : undefined;
}

async function namesIn(folder) {
  try {
    return await fs.promises.readdir(folder);
  } catch {
    return []; // whoever writes into it will say why
  }
}

/** Removes, directly in `folders`, what processes of this host that are no more left unfinished. */
async function clearParts(folders) {
  for (const folder of new Set(folders)) {
    for (const name of await namesIn(folder)) {
      const owner = ownerOf(name);
      if (owner !== undefined && isDead(owner)) {
        await fs.promises.rm(path.join(folder, name), { recursive: true, force: true }).catch(() => {}); // of another user
      }
    }
  }
}

module.exports = { clearParts, partOf };
