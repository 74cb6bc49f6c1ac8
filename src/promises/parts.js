// Outputs that are not yet whole: NAME.part-HOST-PID-N, as the reader itself names them. NAME.old-HOST-PID-N is a whole
// one that stands aside while another takes its name.
'use strict';

const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const LONGEST_NAME = 255; // bytes
const LONGEST_CHARACTER = 4;
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

/** `{ kind, output, pid }` of a name that a process of this host gave. */
function parse(name) {
  const [, before, pid] = /^(.+)-([1-9]\d*)-\d+$/s.exec(name) ?? [];
  const kind = ['part', 'old'].find((each) => before?.endsWith(`.${each}-${os.hostname()}`));
  const output = kind && before.slice(0, -`.${kind}-${os.hostname()}`.length);
  return output ? { kind, output, pid: Number(pid) } : undefined;
}

async function namesIn(folder) {
  try {
    return await fs.promises.readdir(folder);
  } catch {
    return []; // whoever writes into it will say why
  }
}

/**
 * What stood aside when its process died comes back, unless another has its name. A name that may have been cut to its
 * length is left as it is: nobody knows the whole one.
 */
async function clear(folder, name, { kind, output }) {
  const [from, to] = [name, output].map((each) => path.join(folder, each));
  if (kind === 'old' && !fs.existsSync(to)) {
    if (Buffer.byteLength(name) <= LONGEST_NAME - LONGEST_CHARACTER) {
      await fs.promises.rename(from, to);
    }
  } else {
    await fs.promises.rm(from, { recursive: true, force: true });
  }
}

/** Clears, directly in `folders`, what processes of this host that are no more left unfinished. */
async function clearParts(folders) {
  for (const folder of new Set(folders)) {
    for (const name of await namesIn(folder)) {
      const parsed = parse(name);
      if (parsed && isDead(parsed.pid)) {
        await clear(folder, name, parsed).catch(() => {}); // of another user
      }
    }
  }
}

module.exports = { clearParts, partOf };
