// Counts and lengths of time in words, as the notes of quality reports have them. Pages and the command line share this
// file.
'use strict';

const MINUTE = 60;
const HOUR = 3600;
const SECONDS_ALONE_BELOW = 120;

/** "1 gap", "2 gaps"; `digits` writes the count. */
const counted = (count, thing, digits = String) => `${digits(count)} ${thing}${count === 1 ? '' : 's'}`;

/** Milliseconds matter in short times; what is shorter still would be zero. */
const decimalsOf = (seconds) => (seconds >= 10 ? 1 : seconds >= 0.001 || seconds === 0 ? 3 : 6);

/** "0.290 s", "41.6 s", "2 min 15 s", "5 h 4 min" */
function durationText(signedSeconds, decimals) {
  const seconds = Math.abs(signedSeconds);
  const sign = signedSeconds < 0 ? '-' : '';
  if (seconds < SECONDS_ALONE_BELOW) {
    return `${sign}${seconds.toFixed(decimals ?? decimalsOf(seconds))} s`;
  }
  const whole = Math.floor(seconds);
  const minutes = Math.floor(whole / MINUTE);
  return sign + (whole < HOUR ? `${minutes} min ${whole % MINUTE} s` : `${Math.floor(whole / HOUR)} h ${minutes % 60} min`);
}

module.exports = { counted, durationText };
