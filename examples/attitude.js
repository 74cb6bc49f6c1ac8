// Angles of quaternions, in degrees, row by row. docs/orientation.md defines them. Rows without orientation are NaN.
'use strict';

const degrees = (radians) => (radians * 180) / Math.PI;

/** Roll about body x, pitch about y, yaw about earth z. */
function anglesOf({ w, x, y, z }) {
  const each = (angle) => w.map((_, i) => degrees(angle(w[i], x[i], y[i], z[i])));
  return {
    roll: each((a, b, c, d) => Math.atan2(2 * (a * b + c * d), 1 - 2 * (b * b + c * c))),
    pitch: each((a, b, c, d) => Math.asin(Math.min(1, Math.max(-1, 2 * (a * c - b * d))))),
    yaw: each((a, b, c, d) => Math.atan2(2 * (a * d + b * c), 1 - 2 * (c * c + d * d))),
  };
}

/** The one turn that takes p to q. From sine and cosine: a cosine near 1 alone has lost the small angles. */
function angleBetween(p, q) {
  return p.w.map((w, i) => {
    const [x, y, z] = [p.x[i], p.y[i], p.z[i]];
    const [a, b, c, d] = [q.w[i], q.x[i], q.y[i], q.z[i]];
    const sine = Math.hypot(w * b - x * a - y * d + z * c, w * c + x * d - y * a - z * b, w * d - x * c + y * b - z * a);
    return degrees(2 * Math.atan2(sine, Math.abs(w * a + x * b + y * c + z * d)));
  });
}

/** The same curve with a gap where its angle goes round from 180 to -180 degrees. */
function brokenWhereRound({ y, ...curve }) {
  return { ...curve, y: y.map((angle, i) => (i > 0 && Math.abs(angle - y[i - 1]) > 180 ? NaN : angle)) };
}

/** The same curve gone on beyond 180 degrees. */
function unrolled(angles) {
  let turns = 0;
  return angles.map((angle, i) => {
    const jump = i > 0 ? angle - angles[i - 1] : 0;
    turns += jump > 180 ? -1 : jump < -180 ? 1 : 0;
    return angle + 360 * turns;
  });
}

module.exports = { anglesOf, angleBetween, brokenWhereRound, unrolled };
