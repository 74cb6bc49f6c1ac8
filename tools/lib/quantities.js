// Numbers for people.
'use strict';

const UNITS = ['B', 'kB', 'MB', 'GB', 'TB'];

/** Three digits, in powers of 1000. */
function formatBytes(bytes) {
  const power = Math.min(UNITS.length - 1, Math.max(0, Math.floor(Math.log10(bytes || 1) / 3)));
  const value = bytes / 1000 ** power;
  return `${power === 0 ? value : value.toPrecision(3).replace(/e\+3$/, '')} ${UNITS[power]}`;
}

/** "41.6 s", "2:32 min", "23:57:00 h" */
function formatDuration(seconds) {
  if (!Number.isFinite(seconds)) {
    return '';
  }
  if (seconds < 100) {
    return `${seconds.toFixed(1)} s`;
  }
  const whole = Math.round(seconds);
  const two = (value) => String(value % 60).padStart(2, '0');
  const minutes = Math.floor(whole / 60);
  return minutes < 60 ? `${minutes}:${two(whole)} min` : `${Math.floor(minutes / 60)}:${two(minutes)}:${two(whole)} h`;
}

/** Without a time base no time is known: `null`. */
const knownSeconds = (seconds, digits) => (seconds === null ? 'unknown' : `${seconds.toFixed(digits)} s`);

const counted = (count, thing) => `${count} ${thing}${count === 1 ? '' : 's'}`;

/** A path may hold what a terminal takes for a command. */
const printable = (text) => text.replace(/[\x00-\x09\x0b-\x1f\x7f-\x9f]/g, (c) => `\\x${c.charCodeAt().toString(16).padStart(2, '0')}`);

module.exports = { counted, formatBytes, formatDuration, knownSeconds, printable };
