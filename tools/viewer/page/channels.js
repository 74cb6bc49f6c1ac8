// How channels are shown: their charts from top to bottom, with titles, units and colours.
'use strict';

const COLOURS = ['--curve-x', '--curve-y', '--curve-z', '--curve-norm'];
const DECIMALS = 2;

/** In the order of the page, what it words or draws otherwise than the reader's answers. Other channels come below. */
const SHOWN = {
  accel: { title: 'Acceleration', decimals: 3 },
  gyro: { title: 'Angular rate', unit: '°/s' },
  quaternion: { title: 'Orientation', unit: '°', decimals: 1, curves: ['roll', 'pitch', 'heading'] },
  baro: { axes: { pressure: { unit: 'mbar', colour: '--curve-z' }, temperature: { unit: '°C', colour: '--curve-x' } } },
  mag: { decimals: 0 },
};
const ORDER = Object.keys(SHOWN);

const rankOf = (name) => (ORDER.includes(name) ? ORDER.indexOf(name) : ORDER.length);
const byRank = (a, b) => rankOf(a.name) - rankOf(b.name);

const unitText = (unit) => unit || 'counts';
const capital = (text) => text.charAt(0).toUpperCase() + text.slice(1);

/** A chart for each axis, as they have units of their own. */
function chartsOfAxes({ name, axes, unit }) {
  return axes.map((axis, index) => {
    const { unit: shownUnit = unitText(unit[axis]), colour = COLOURS[index] } = SHOWN[name]?.axes?.[axis] ?? {};
    const curves = [{ index, name: axis, colour, shown: true, alpha: 1 }];
    return { title: capital(axis), unit: shownUnit, decimals: DECIMALS, curves };
  });
}

/** All curves in one chart: those of the axes, and their norm where the levels have it. */
function chartOfAll({ name, title, axes, unit, scales }) {
  const names = SHOWN[name]?.curves ?? [...axes.map((axis) => (axis.length === 1 ? capital(axis) : axis)), 'norm'];
  const curves = names
    .slice(0, scales.length)
    .map((curve, index) => ({ index, name: curve, colour: COLOURS[index], shown: curve !== 'norm' }));
  return { title: capital(title), unit: unitText(unit), decimals: DECIMALS, ...SHOWN[name], curves };
}

/**
 * What a unit's charts are made of; with the unit's name in the titles where there are several, and behind them what
 * `addition(channel, unit)` gives.
 */
function chartsOf(unit, several, addition) {
  const prefix = several ? `${unit.name} · ` : '';
  return unit.channels.flatMap((channel) => {
    const charts = typeof channel.unit === 'string' ? [chartOfAll(channel)] : chartsOfAxes(channel);
    return charts.map((chart) => ({
      ...chart,
      title: prefix + chart.title + addition(channel, unit),
      channel,
      gaps: channel.gaps,
      events: unit.events,
    }));
  });
}

module.exports = { byRank, chartsOf };
