// Ticks of axes, and times and numbers as text.
'use strict';

const MINUTE = 60;
const HOUR = 3600;
const TIME_STEPS = [
  0.001,
  0.002,
  0.005,
  0.01,
  0.02,
  0.05,
  0.1,
  0.2,
  0.5,
  1,
  2,
  5,
  10,
  15,
  30,
  MINUTE,
  2 * MINUTE,
  5 * MINUTE,
  15 * MINUTE,
  30 * MINUTE,
  HOUR,
  2 * HOUR,
  3 * HOUR,
  6 * HOUR,
  12 * HOUR,
  24 * HOUR,
];

function multiples(step, from, to) {
  const ticks = [];
  for (let k = Math.ceil(from / step - 1e-9); k * step <= to + step * 1e-9; k += 1) {
    ticks.push(k * step);
  }
  return ticks;
}

/** At most `most` of them, at times that people like. */
function timeTicks(from, to, most) {
  const days = Math.ceil((to - from) / most / (24 * HOUR)) * 24 * HOUR;
  const step = TIME_STEPS.find((each) => (to - from) / each <= most) ?? days;
  return { step, ticks: multiples(step, from, to) };
}

function valueTicks(from, to, most) {
  const least = (to - from) / most;
  const power = 10 ** Math.floor(Math.log10(least));
  const step = power * ([1, 2, 5, 10].find((factor) => factor * power >= least * (1 - 1e-9)) ?? 10);
  return { step, ticks: multiples(step, from, to) };
}

/** Steps for circular angles: whole parts of a turn. */
function angleTicks(from, to, most) {
  const step = [15, 30, 45, 90, 180, 360].find((each) => (to - from) / each <= most);
  return to - from <= 15 * most && to - from < 60 ? valueTicks(from, to, most) : { step, ticks: multiples(step, from, to) };
}

const decimalsOf = (step) => Math.max(0, Math.min(6, -Math.floor(Math.log10(step) + 1e-9)));
const twoDigits = (value) => String(value).padStart(2, '0');

/** "0:04:59.6": rounded first, so that no part ever shows 60. */
function timeText(seconds, decimals = 0) {
  const unit = 10 ** decimals;
  const parts = Math.round(Math.abs(seconds) * unit);
  const whole = Math.floor(parts / unit);
  const fraction = decimals > 0 ? `.${String(parts % unit).padStart(decimals, '0')}` : '';
  const sign = seconds < 0 && parts > 0 ? '−' : '';
  return `${sign}${Math.floor(whole / HOUR)}:${twoDigits(Math.floor(whole / MINUTE) % 60)}:${twoDigits(whole % 60)}${fraction}`;
}

/** What the unit's own clock showed: no zone is known, so none is applied. Empty where `date` is no date. */
function clockText(date, seconds, decimals = 0) {
  if (!date || !(date.year > 0) || !(date.month > 0) || !(date.day > 0)) {
    return '';
  }
  const unit = 10 ** decimals;
  const rounded = Math.round(seconds * unit) / unit;
  const start = Date.UTC(date.year, date.month - 1, date.day, date.hour, date.minute, date.second);
  const text = new Date(start + Math.round(rounded * 1000)).toISOString();
  return `${text.slice(0, 10)} ${text.slice(11, 19)}${decimals > 0 ? text.slice(19, 20 + Math.min(3, decimals)) : ''}`;
}

/** With a true minus, and a thin space between thousands. */
function numberText(value, decimals) {
  if (!Number.isFinite(value)) {
    return '–';
  }
  const [whole, fraction] = Math.abs(value).toFixed(decimals).split('.');
  const grouped = whole.length > 4 ? whole.replace(/\B(?=(\d{3})+$)/g, '\u2009') : whole;
  const sign = value < 0 && Number(value.toFixed(decimals)) !== 0 ? '−' : '';
  return `${sign}${grouped}${fraction ? `.${fraction}` : ''}`;
}

module.exports = { angleTicks, clockText, decimalsOf, numberText, timeText, timeTicks, valueTicks };
