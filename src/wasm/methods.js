// The five methods over WebAssembly, for systems that no native entry was built for. They check and take their arguments
// as the native ones do.
'use strict';

const util = require('node:util');

const { compiledModule, instantiate } = require('./compiled.js');
const { diskFiles, modulePath } = require('./disk-files.js');

compiledModule(); // what keeps it from running comes out when this is loaded

const decoder = new TextDecoder('utf-8', { ignoreBOM: true });
const isString = (value) => typeof value === 'string';
const isArray = (value) => Array.isArray(value) && !util.types.isProxy(value);

/** Of Node.js; the native entries keep halves of surrogate pairs as they are in earlier ones. */
const FIRST_RELEASE_THAT_REPLACES = 24;
const replacesSurrogates = Number(process.versions.node.split('.')[0]) >= FIRST_RELEASE_THAT_REPLACES;

/** As in the native entries, in bytes: some 300,000 recordings. */
const LARGEST_PATH_LIST = 256 * 1024 * 1024;
const BYTES_OF_A_RECORDING = 640;
/** Of a list that is too long anyway, this many elements are still tested. */
const MOST_TESTED = 1 << 20;

function checkArguments(values, kinds) {
  if (values.length < kinds.length) {
    throw new TypeError('Wrong number of arguments');
  }
  if (!kinds.every((isOfKind, k) => isOfKind(values[k]))) {
    throw new TypeError('Wrong arguments');
  }
}

function fetchString(list, index) {
  const element = list[index];
  if (!isString(element)) {
    throw new TypeError('Wrong arguments');
  }
  return element;
}

function stringList(list) {
  const strings = [];
  const { length } = list;
  let held = 0;
  for (let index = 0; index < length; index += 1) {
    // Fetched once to test and once to take; a getter may answer differently, so both are tested.
    fetchString(list, index);
    if (held <= LARGEST_PATH_LIST) {
      strings.push(fetchString(list, index));
      held += BYTES_OF_A_RECORDING + strings.at(-1).length;
    } else if (index >= MOST_TESTED) {
      break;
    }
  }
  if (held > LARGEST_PATH_LIST) {
    throw new Error('The list of recordings is too long');
  }
  return strings;
}

function bytesOfHalf(half) {
  const unit = half.charCodeAt(0);
  return Buffer.from([0xe0 | (unit >> 12), 0x80 | ((unit >> 6) & 0x3f), 0x80 | (unit & 0x3f)]);
}

function utf8(text) {
  if (replacesSurrogates || text.isWellFormed()) {
    return text;
  }
  const parts = text.split(/(\p{Surrogate})/u);
  return Buffer.concat(parts.map((part, k) => (k % 2 === 1 ? bytesOfHalf(part) : Buffer.from(part))));
}

/** An instance that has no room, or cannot grow, is a RangeError. */
function messageOf(failure) {
  const isMemory = failure.code === 'ERR_NO_MEMORY' || failure instanceof RangeError;
  return isMemory ? 'Not enough memory for this call' : failure.message || 'The call failed';
}

/** The answer up to its first zero byte. */
function textOf({ json }) {
  const end = json.indexOf(0);
  return decoder.decode(end < 0 ? json : json.subarray(0, end));
}

function run(name, ...values) {
  let instance;
  try {
    instance = instantiate(diskFiles);
    return textOf(instance.run(name, ...values.map((value) => (isString(value) ? utf8(value) : value.map(utf8)))));
  } catch (failure) {
    throw new Error(messageOf(failure));
  } finally {
    instance?.closeFiles();
  }
}

exports.read = function read(...values) {
  checkArguments(values, [isString, isString]);
  return run('read method', modulePath(values[0]), modulePath(values[1]));
};

exports.readAndSync2 = function readAndSync2(...values) {
  checkArguments(values, [isArray, isString]);
  return run('readAndSync2 method', stringList(values[0]).map(modulePath), modulePath(values[1]));
};

exports.readConfig = function readConfig(...values) {
  checkArguments(values, [isString]);
  return run('readConfig method', modulePath(values[0]));
};

exports.writeConfig = function writeConfig(...values) {
  checkArguments(values, [isString, isString]);
  return run('writeConfig method', modulePath(values[0]), values[1]);
};

exports.readConfigDeviceId = function readConfigDeviceId(...values) {
  checkArguments(values, [isString]);
  return run('readConfigDeviceId method', modulePath(values[0]));
};
