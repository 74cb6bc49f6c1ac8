// What the operations are asked for, and their answers as users see them; the same for files and for bytes in memory.
'use strict';

const { CHANNEL_NAMES, arrayIn, channelObjects } = require('./channels.js');
const { configurationObject } = require('./configuration.js');
const { levelObjects } = require('./levels.js');
const { zoneFormatter } = require('./wall-time.js');

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

/** An orientation is needed when it is asked for, by itself or among channels; otherwise it may be missing. */
function samplesValues({ channels, orientation, precision, gyroscopeOffset }) {
  const isMethod = typeof orientation === 'string';
  const names = channels ?? CHANNEL_NAMES;
  const isComputed = isMethod || (orientation ?? names.includes('quaternion'));
  const isNeeded = isMethod || orientation === true || (isComputed && channels !== undefined);
  const method = isMethod ? orientation : 'filter';
  return [names, isComputed, isNeeded, precision === 'float32', method, ...gyroscopeOffset];
}

/**
 * The values of options that each operation takes behind its paths, in the order of src/bindings-shared/operations.h. In
 * memory `synchronise` has no options for files.
 */
const valuesOf = {
  convert: ({ fsync, overwrite, keepReadable, secondThread, orientation, gyroscopeOffset }) => [
    fsync,
    overwrite,
    keepReadable,
    secondThread,
    orientation,
    ...gyroscopeOffset,
  ],
  csvPieces: ({ gyroscopeOffset }) => gyroscopeOffset,
  readSamples: samplesValues,
  levels: ({ synchronised, mostBins, mostSamples, orientation, gyroscopeOffset }) => [
    synchronised,
    mostBins,
    mostSamples,
    orientation,
    ...gyroscopeOffset,
  ],
  synchronise: ({ fsync = false, overwrite = true, orientation, gyroscopeOffset }) => [
    fsync,
    overwrite,
    orientation,
    ...gyroscopeOffset,
  ],
  writeConfig: ({ fsync }) => [fsync],
  checkPlace: ({ folder, overwrite, mayBeginLikeRecording }) => [folder, overwrite, mayBeginLikeRecording],
  publish: ({ fsync, overwrite, mayBeginLikeRecording }) => [fsync, overwrite, mayBeginLikeRecording],
};

function samplesAnswer({ result, buffers }, { timeZone, precision }) {
  const config = configurationObject(result.config, zoneFormatter(timeZone));
  const channels = channelObjects(result.channels, buffers, precision);
  return { config, channels, report: result.report, smoothing: smoothingObject(result.smoothing, buffers) };
}

function levelsAnswer({ result, buffers }) {
  return levelObjects(result, buffers);
}

function configAnswer({ result }, { timeZone }) {
  return configurationObject(result, zoneFormatter(timeZone));
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

module.exports = { configAnswer, levelsAnswer, samplesAnswer, setAnswer, valuesOf };
