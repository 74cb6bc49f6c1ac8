// What the operations are asked for, and their answers as users see them; the same for files and for bytes in memory.
'use strict';

const args = require('./arguments.js');
const { channelBits, channelNames, channelObjects } = require('./channels.js');
const { configurationObject } = require('./configuration.js');
const { levelObjects } = require('./levels.js');

/** `values` behind the recording, and the answer made of what comes. */
function samplesRequest(options) {
  const { channels, precision = 'float64' } = options;
  args.check(['float64', 'float32'].includes(precision), "options.precision is neither 'float64' nor 'float32'");
  const { bits, hasQuaternion } = channelBits(channels);
  const orientation = args.flag(options, 'orientation', hasQuaternion);
  const required = options.orientation === true || (orientation && channels !== undefined);
  const formatter = args.formatter(options);
  return {
    values: [bits, orientation, required, precision === 'float32', ...args.gyroscopeOffset(options)],
    answer({ result, buffers }) {
      const config = configurationObject(result.config, formatter);
      return { config, channels: channelObjects(result.channels, buffers, config, precision), report: result.report };
    },
  };
}

function levelsRequest(options) {
  const synchronised = args.flag(options, 'synchronised', false);
  const { mostBins = 200_000, mostSamples = 0 } = options;
  const areCounts = [mostBins, mostSamples].every((count) => Number.isSafeInteger(count) && count >= 0);
  args.check(areCounts, 'options.mostBins or options.mostSamples is no count');
  return {
    values: [synchronised, mostBins, mostSamples],
    answer: ({ result, buffers }) => levelObjects(result, buffers),
  };
}

/** `paths` are the names of the recordings for the units. */
function setAnswer({ source, start, duration, keys, units: list }, paths) {
  const names = channelNames(keys);
  const units = list.map(({ shifts, ...unit }, i) => ({
    path: paths[i],
    ...unit,
    shift: shifts[0],
    shifts: Object.fromEntries(names.map((name, k) => [name, shifts[k]])),
  }));
  return { outputs: units.map(({ output }) => output), clock: { source, start, duration }, units };
}

module.exports = { levelsRequest, samplesRequest, setAnswer };
