// Numbers for people.
'use strict';

const { counted, durationText } = require('../../viewer/page/wording.js');

const UNITS = ['B', 'kB', 'MB', 'GB', 'TB'];

/** Three digits, in powers of 1000. */
function formatBytes(bytes) {
  const power = Math.min(UNITS.length - 1, Math.max(0, Math.floor(Math.log10(bytes || 1) / 3)));
  const value = bytes / 1000 ** power;
  return `${power === 0 ? value : value.toPrecision(3).replace(/e\+3$/, '')} ${UNITS[power]}`;
}

/** Nothing where the time is not known. */
const formatDuration = (seconds, decimals) => (Number.isFinite(seconds) ? durationText(seconds, decimals) : '');

/** Without a time base no time is known: `null`. */
const knownSeconds = (seconds, digits) => (seconds === null ? 'unknown' : `${seconds.toFixed(digits)} s`);

/** A path may hold what a terminal takes for a command. */
const printable = (text) =>
  text.replace(/[\x00-\x09\x0b-\x1f\x7f-\x9f]/g, (c) => `\\x${c.charCodeAt().toString(16).padStart(2, '0')}`);

module.exports = { counted, formatBytes, formatDuration, knownSeconds, printable };
