// Paths of files as users hand them in.
'use strict';

const { fileURLToPath } = require('node:url');

const { check } = require('../requests/arguments.js');

function filePath(value, name) {
  const path = value instanceof URL ? fileURLToPath(value) : value;
  check(typeof path === 'string', `${name} is neither a string nor a file URL`);
  check(!path.includes('\0'), `${name} contains a zero character`);
  return path;
}

function pathList(values) {
  check(Array.isArray(values), 'paths is not an array');
  return values.map((value, k) => filePath(value, `paths[${k}]`));
}

module.exports = { filePath, pathList };
