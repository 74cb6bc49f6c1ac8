// Levels as typed arrays over the buffers that the native entry hands out.
'use strict';

const AXES = { 1: 3, 2: 3, 3: 2, 5: 3, 6: 1, 7: 1, 10: 4, 11: 1 };

/** Buffers come in the order of the channels: codes, gaps, and, of those that are kept, values and time stamps. */
function levelObjects({ units, ...result }, buffers) {
  const next = () => buffers.shift();
  const channelObject = ({ kept, ...channel }) => {
    const codes = new Uint16Array(next());
    const gaps = new Float64Array(next());
    return { ...channel, codes, gaps, ...(kept ? { kept: samplesOf(channel, next(), next()) } : {}) };
  };
  return { ...result, units: units.map((unit) => ({ ...unit, channels: unit.channels.map(channelObject) })) };
}

function samplesOf({ key, samples }, values, time) {
  const all = new Float64Array(values);
  const axes = Array.from({ length: AXES[key] }, (_, k) => all.subarray(k * samples, (k + 1) * samples));
  return { time: new Float64Array(time), axes };
}

module.exports = { levelObjects };
