// The five methods over a boundary that calls one of them by name: they check and take their arguments as
// src/bindings-js.cpp does.
'use strict';

const util = require('node:util');

/** A release of Node.js; earlier ones keep halves of surrogate pairs as they are, in bytes that are no UTF-8. */
const FIRST_RELEASE_THAT_REPLACES = 24;
const replacesSurrogates = Number(process.versions.node.split('.')[0]) >= FIRST_RELEASE_THAT_REPLACES;

/** In bytes: some 300,000 recordings, each with its path and what it takes before it is read. */
const LARGEST_PATH_LIST = 256 * 1024 * 1024;
const BYTES_OF_A_RECORDING = 592;
const LEAST_BYTES_OF_A_PATH = 15;
/** How many elements of a list that is too long anyway are still tested: a wrong kind is the error that counts. */
const MOST_TESTED = 1 << 20;

const isString = (value) => typeof value === 'string';
const isArray = (value) => !util.types.isProxy(value) && Array.isArray(value);

function checkArguments(values, kinds) {
  if (values.length < kinds.length) {
    throw new TypeError('Wrong number of arguments');
  }
  if (!kinds.every((isOfKind, k) => isOfKind(values[k]))) {
    throw new TypeError('Wrong arguments');
  }
}

/** As UTF-8, but that halves of surrogate pairs follow its rule as well. */
function bytesWithHalves(text) {
  const bytes = Buffer.from(text); // with three bytes for each half
  let at = 0;
  for (let k = 0; k < text.length; k += 1) {
    const code = text.codePointAt(k);
    if (code >= 0xd800 && code <= 0xdfff) {
      bytes[at] = 0xe0 | (code >> 12);
      bytes[at + 1] = 0x80 | ((code >> 6) & 0x3f);
      bytes[at + 2] = 0x80 | (code & 0x3f);
    }
    k += code > 0xffff ? 1 : 0;
    at += code < 0x80 ? 1 : code < 0x800 ? 2 : code > 0xffff ? 4 : 3;
  }
  return bytes;
}

/** A boundary's lack of memory has a code; the engine's is a RangeError, maybe of another frame. */
function messageOf(failure) {
  const isMemory = failure.code === 'ERR_NO_MEMORY' || failure.name === 'RangeError';
  return isMemory ? 'Not enough memory for this call' : failure.message || 'The call failed';
}

/** What keeps a step from its end becomes an Error with nothing but a message. */
function guarded(step) {
  try {
    return step();
  } catch (failure) {
    throw new Error(messageOf(failure));
  }
}

function fetchString(list, index) {
  const element = list[index];
  if (!isString(element)) {
    throw new TypeError('Wrong arguments');
  }
  return element;
}

function takeList(list, take) {
  const texts = [];
  const { length } = list;
  let held = 0;
  for (let index = 0; index < length && (held <= LARGEST_PATH_LIST || index <= MOST_TESTED); index += 1) {
    // Fetched once to test and once to take; a getter may answer differently, so both are tested.
    fetchString(list, index);
    if (held <= LARGEST_PATH_LIST) {
      texts.push(take(fetchString(list, index)));
      held += BYTES_OF_A_RECORDING + Math.max(LEAST_BYTES_OF_A_PATH, Buffer.byteLength(texts.at(-1)));
    }
  }
  if (held > LARGEST_PATH_LIST) {
    throw new Error('The list of recordings is too long');
  }
  return texts;
}

/** Up to its first zero character. The engine would end the process where it has no room to look at a text. */
function takeText(text, requireMemory) {
  requireMemory(text.length);
  const end = text.indexOf('\0');
  const whole = end < 0 ? text : text.slice(0, end);
  return replacesSurrogates || whole.isWellFormed() ? whole : bytesWithHalves(whole);
}

/**
 * `callMethod(name, ...values)` takes texts as strings or their bytes, and lists of texts. `requireMemory(units)` throws
 * where there is no room for a string of so many units, and `modulePath(path)` is a path as the boundary takes it.
 */
function methodsOver({ callMethod, requireMemory, modulePath = (path) => path }) {
  const call = (...parameters) => guarded(() => callMethod(...parameters));
  const text = (value) => guarded(() => takeText(value, requireMemory));
  const path = (value) => text(modulePath(value));

  return {
    read: function read(...values) {
      checkArguments(values, [isString, isString]);
      return call('read', path(values[0]), path(values[1]));
    },

    readAndSync2: function readAndSync2(...values) {
      checkArguments(values, [isArray, isString]);
      return call('readAndSync2', takeList(values[0], path), path(values[1]));
    },

    readConfig: function readConfig(...values) {
      checkArguments(values, [isString]);
      return call('readConfig', path(values[0]));
    },

    writeConfig: function writeConfig(...values) {
      checkArguments(values, [isString, isString]);
      return call('writeConfig', path(values[0]), text(values[1]));
    },

    readConfigDeviceId: function readConfigDeviceId(...values) {
      checkArguments(values, [isString]);
      return call('readConfigDeviceId', path(values[0]));
    },
  };
}

module.exports = { methodsOver };
