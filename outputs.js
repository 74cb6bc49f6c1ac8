// For programs that write outputs of their own beside those of this package: a file or folder is written under a hidden
// name, and appears whole or not at all.
'use strict';

const { optionsTaker } = require('./src/requests/arguments.js');
const { clearParts, partOf } = require('./src/promises/parts.js');
const { filePath } = require('./src/promises/paths.js');
const { valuesOf } = require('./src/requests/requests.js');
const { native, run } = require('./src/promises/run.js');

const optionsOf = optionsTaker('outputs');

/** Whether a file, or a folder, can appear at `output`; for asking before the work. */
async function requirePlace(output, given = {}) {
  const to = filePath(output, 'output');
  const options = optionsOf('requirePlace', given);
  await run((done) => native.checkPlace(done, to, ...valuesOf.checkPlace(options)), options, { outputs: [to] });
}

/** Gives `part` its name: the path of the folder that it replaced, and which the caller removes; otherwise ''. */
async function publish(part, output, given = {}) {
  const from = filePath(part, 'part');
  const to = filePath(output, 'output');
  const options = optionsOf('publish', given);
  const { result } = await run((done) => native.publish(done, from, to, ...valuesOf.publish(options)), options, {
    outputs: [to],
  });
  return result.aside;
}

exports.partOf = partOf;
exports.clearParts = clearParts;
exports.requirePlace = requirePlace;
exports.publish = publish;
