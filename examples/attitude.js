// Angles of quaternions (w, x, y, z), in degrees. docs/orientation.md defines them.
'use strict';

const degrees = (radians) => (radians * 180) / Math.PI;

/** Roll about body x, pitch about y, yaw about earth z. */
function anglesOf([w, x, y, z]) {
  return {
    roll: degrees(Math.atan2(2 * (w * x + y * z), 1 - 2 * (x * x + y * y))),
    pitch: degrees(Math.asin(Math.min(1, Math.max(-1, 2 * (w * y - x * z))))),
    yaw: degrees(Math.atan2(2 * (w * z + x * y), 1 - 2 * (y * y + z * z))),
  };
}

/** The one turn that takes one attitude to the other. From the vector part: a cosine near 1 has lost the small angles. */
function angleBetween([w, x, y, z], [a, b, c, d]) {
  const cosine = w * a + x * b + y * c + z * d;
  const sine = Math.hypot(w * b - x * a - y * d + z * c, w * c + x * d - y * a - z * b, w * d - x * c + y * b - z * a);
  return degrees(2 * Math.atan2(sine, Math.abs(cosine)));
}

/** The same curve with a gap where an angle goes round from 180 to -180 degrees. */
const brokenWhereRound = (angles) => angles.map((a, i) => (i > 0 && Math.abs(a - angles[i - 1]) > 180 ? NaN : a));

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
