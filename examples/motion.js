// What moves in a recording.
'use strict';

const STILL_DEG_S = 15;
const STILL_G = 0.1;

const lengths = (axes) => axes.map((v) => Math.hypot(...v));

/** The first row that is not still: turning, or accelerated by more than gravity. -1 when none is. */
function firstMovingRow(gyro, accel) {
  return gyro.findIndex((rate, row) => Math.hypot(...rate) > STILL_DEG_S || Math.abs(Math.hypot(...accel[row]) - 1) > STILL_G);
}

module.exports = { firstMovingRow, lengths };
