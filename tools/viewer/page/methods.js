// The ways to compute an orientation that pages offer. Those who make pages and pages that read themselves share this file.
'use strict';

/** Name of the channel. */
const ORIENTATION = 'quaternion';

/** `label` stands in the choice, `title` behind the names of curves; `options` are those of levels() and convert(). */
const METHODS = {
  filter: { label: 'filter', title: '', options: {} },
  rest: { label: 'filter, offset at rest off', title: ', offset at rest off', options: { gyroscopeOffset: 'rest' } },
  smoothed: { label: 'smoothed', title: ', smoothed', options: { orientation: 'smoothed' } },
};

const methodOf = ({ orientation, gyroscopeOffset }) =>
  orientation === 'smoothed' ? 'smoothed' : gyroscopeOffset === 'rest' ? 'rest' : 'filter';

/** The orientation of a unit of `levels()`, as a list, its method and what the report says about it beside it. */
function orientationsOf({ channels, report }, method) {
  const { typicalError } = report.orientation.smoothing ?? {};
  return channels.filter(({ name }) => name === ORIENTATION).map((channel) => ({ ...channel, method, typicalError }));
}

/** A unit of `levels()` whose orientation has its method beside it. */
function withMethod(unit, method) {
  const others = unit.channels.filter(({ name }) => name !== ORIENTATION);
  return { ...unit, channels: [...others, ...orientationsOf(unit, method)] };
}

module.exports = { METHODS, ORIENTATION, methodOf, orientationsOf, withMethod };
