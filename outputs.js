// For programs that write outputs of their own beside those of this package: a file or folder is written under a hidden
// name, and appears whole or not at all.
'use strict';

const args = require('./src/requests/arguments.js');
const { clearParts, partOf } = require('./src/promises/parts.js');
const { filePath } = require('./src/promises/paths.js');
const { native, run } = require('./src/promises/run.js');

/** Whether a file, or a folder, can appear at `output`; for asking before the work. */
async function requirePlace(output, options = {}) {
  const to = filePath(output, 'output');
  args.checkOptions(options);
  const flags = [
    args.flag(options, 'folder', false),
    args.flag(options, 'overwrite', true),
    args.flag(options, 'mayBeginLikeRecording', false),
  ];
  await run((done) => native.checkPlace(done, to, ...flags), options, { outputs: [to] });
}

/** Gives `part` its name: the path of the folder that it replaced, and which the caller removes; otherwise ''. */
async function publish(part, output, options = {}) {
  const from = filePath(part, 'part');
  const to = filePath(output, 'output');
  args.checkOptions(options);
  const flags = [
    args.flag(options, 'fsync', false),
    args.flag(options, 'overwrite', true),
    args.flag(options, 'mayBeginLikeRecording', false),
  ];
  const { result } = await run((done) => native.publish(done, from, to, ...flags), options, { outputs: [to] });
  return result.aside;
}

exports.partOf = partOf;
exports.clearParts = clearParts;
exports.requirePlace = requirePlace;
exports.publish = publish;
