// A unit's clock shows a time of day and no zone. Given the zone, this finds the instant.
'use strict';

const DAY_MS = 86_400_000;
const FIELDS = ['year', 'month', 'day', 'hour', 'minute', 'second'];

/** Milliseconds that a clock of UTC would show, or undefined for what is no date. */
function utcMs({ year, month, day, hour, minute, second }) {
  const date = new Date(0);
  date.setUTCFullYear(year, month - 1, day);
  date.setUTCHours(hour, minute, second);
  const shown = [date.getUTCMonth() + 1, date.getUTCDate(), date.getUTCHours(), date.getUTCMinutes(), date.getUTCSeconds()];
  return year > 0 && [month, day, hour, minute, second].every((field, k) => field === shown[k]) ? date.getTime() : undefined;
}

/** The instants at which the clocks of a zone show a time: none, one or two, in order. */
function instantsOf(wall, formatter) {
  const wanted = utcMs(wall);
  const shownAt = (instant) => {
    const parts = Object.fromEntries(formatter.formatToParts(instant).map(({ type, value }) => [type, Number(value)]));
    return utcMs(Object.fromEntries(FIELDS.map((field) => [field, parts[field]])));
  };
  // No zone is further from UTC than a day, and none changes its clocks twice within two.
  const offsets = [wanted - DAY_MS, wanted + DAY_MS].map((instant) => shownAt(instant) - instant);
  const candidates = [...new Set(offsets)].map((offset) => wanted - offset).sort((a, b) => a - b);
  return { before: wanted - offsets[0], instants: candidates.filter((instant) => shownAt(instant) === wanted) };
}

/** `start` and `startNote` of a configuration. */
function startOf(wall, formatter) {
  if (!formatter || utcMs(wall) === undefined) {
    return { start: null, startNote: null };
  }
  const { before, instants } = instantsOf(wall, formatter);
  const startNote = instants.length === 0 ? 'skipped' : instants.length === 2 ? 'repeated' : null;
  return { start: new Date(instants[0] ?? before), startNote };
}

/** Undefined without a zone; throws a RangeError for a zone that is not known. */
function zoneFormatter(timeZone) {
  const numeric = Object.fromEntries(FIELDS.map((field) => [field, 'numeric']));
  return timeZone === undefined
    ? undefined
    : new Intl.DateTimeFormat('en-US', { ...numeric, timeZone, hourCycle: 'h23', calendar: 'gregory' });
}

module.exports = { startOf, zoneFormatter };
