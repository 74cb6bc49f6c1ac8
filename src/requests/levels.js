// Levels as typed arrays over the buffers that the native entry hands out.
'use strict';

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

function samplesOf({ axes, samples }, values, time) {
  const all = new Float64Array(values);
  return { time: new Float64Array(time), axes: axes.map((_, k) => all.subarray(k * samples, (k + 1) * samples)) };
}

module.exports = { levelObjects };
