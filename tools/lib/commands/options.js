// Values of options, checked.
'use strict';

const { InvalidArgumentError, Option } = require('commander');
const { UsageError } = require('../telling/exit-status.js');

function wholeNumber(text) {
  if (!/^[1-9]\d{0,9}$/.test(text)) {
    throw new InvalidArgumentError('It is not a whole number from 1 on.');
  }
  return Number(text);
}

/** "i/n", the i-th of n parts. */
function shard(text) {
  const [, index, count] = /^([1-9]\d{0,5})\/([1-9]\d{0,5})$/.exec(text)?.map(Number) ?? [];
  if (!(index <= count)) {
    throw new InvalidArgumentError('It is not i/n with i from 1 to n, as in 2/8.');
  }
  return { index, count };
}

/** Options of the verbs that have a pool. */
const poolOptions = [
  new Option('-j, --jobs <n>', 'most jobs at a time (default: one for each processor)').argParser(wholeNumber),
  new Option('--memory <MiB>', 'memory for all jobs (default: 60 % of what is free)').argParser(wholeNumber),
];

/** How the orientation of an output is computed. */
const orientationOptions = [
  new Option('--orientation <method>', 'filter, as in read, or smoothed, which looks both ways in time')
    .choices(['filter', 'smoothed'])
    .default('filter'),
  new Option('--offset <kind>', "rest: take off the gyroscope's offset, as it is measured at rest").choices(['rest']),
];

/** As the reader takes them. Throws a UsageError for both at once. */
function orientationOf({ orientation, offset }) {
  if (orientation === 'smoothed' && offset) {
    throw new UsageError('--orientation smoothed estimates the offset itself: use it without --offset.');
  }
  return { orientation, gyroscopeOffset: offset };
}

module.exports = { orientationOf, orientationOptions, poolOptions, shard };
