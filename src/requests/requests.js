// What the operations are asked for, and their answers as users see them; the same for files and for bytes in memory.
'use strict';

const args = require('./arguments.js');
const { arrayIn, channelObjects, wantedChannels } = require('./channels.js');
const { configurationObject } = require('./configuration.js');
const { levelObjects } = require('./levels.js');

/** What the smoother estimated besides the orientation; `smoothing` has the places of its arrays among `buffers`. */
function smoothingObject(smoothing, buffers) {
  if (!smoothing) {
    return null;
  }
  const {
    points,
    time,
    offset,
    inclinationError,
    gyroscopeErrors: errors,
    accelerometerOffset: [x, y, z],
    ...rest
  } = smoothing;
  const axis = (k) => arrayIn(buffers[offset], Float64Array, k * points, points);
  return {
    time: arrayIn(buffers[time], Float64Array, 0, points),
    offset: { x: axis(0), y: axis(1), z: axis(2) },
    inclinationError: arrayIn(buffers[inclinationError], Float64Array, 0, points),
    gyroscopeErrors: [0, 3, 6].map((first) => errors.slice(first, first + 3)),
    accelerometerOffset: { x, y, z },
    ...rest,
  };
}

/** `values` behind the recording, and the answer made of what comes. */
function samplesRequest(options) {
  const { channels, precision = 'float64' } = options;
  args.check(['float64', 'float32'].includes(precision), "options.precision is neither 'float64' nor 'float32'");
  const names = wantedChannels(channels);
  const isMethod = typeof options.orientation === 'string';
  const orientation = isMethod || args.flag(options, 'orientation', names.includes('quaternion'));
  const method = args.orientationMethod(isMethod ? options : { ...options, orientation: undefined });
  const required = isMethod || options.orientation === true || (orientation && channels !== undefined);
  const formatter = args.formatter(options);
  return {
    values: [names, orientation, required, precision === 'float32', method, ...args.gyroscopeOffset(options)],
    answer({ result, buffers }) {
      const config = configurationObject(result.config, formatter);
      const channels = channelObjects(result.channels, buffers, precision);
      return { config, channels, report: result.report, smoothing: smoothingObject(result.smoothing, buffers) };
    },
  };
}

function levelsRequest(options) {
  const synchronised = args.flag(options, 'synchronised', false);
  const { mostBins = 200_000, mostSamples = 0 } = options;
  const areCounts = [mostBins, mostSamples].every((count) => Number.isSafeInteger(count) && count >= 0);
  args.check(areCounts, 'options.mostBins or options.mostSamples is no count');
  return {
    values: [synchronised, mostBins, mostSamples, args.orientationMethod(options), ...args.gyroscopeOffset(options)],
    answer: ({ result, buffers }) => levelObjects(result, buffers),
  };
}

/** `paths` are the names of the recordings for the units. */
function setAnswer({ source, start, duration, channels, units: list }, paths) {
  const units = list.map(({ shifts, ...unit }, i) => ({
    path: paths[i],
    ...unit,
    shift: shifts[0],
    shifts: Object.fromEntries(channels.map((name, k) => [name, shifts[k]])),
  }));
  return { outputs: units.map(({ output }) => output), clock: { source, start, duration }, units };
}

module.exports = { levelsRequest, samplesRequest, setAnswer };
