// What moves in a recording.
'use strict';

const STILL_DEG_S = 15;
const STILL_G = 0.1;

const lengths = ({ x, y, z }) => x.map((_, row) => Math.hypot(x[row], y[row], z[row]));

/** The first row that is not still: it turns, or is accelerated by more than gravity. -1 when none is. */
function firstMovingRow(gyro, accel) {
  const rates = gyro ? lengths(gyro) : [];
  const accelerations = accel ? lengths(accel) : [];
  const moves = (_, row) => rates[row] > STILL_DEG_S || Math.abs(accelerations[row] - 1) > STILL_G;
  return (gyro ? rates : accelerations).findIndex(moves);
}

module.exports = { firstMovingRow, lengths };
