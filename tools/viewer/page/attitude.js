// Orientation: quaternions w, x, y, z that take body to earth, with z up; angles in degrees.
'use strict';

const DEGREES = 180 / Math.PI;

/** Roll, pitch and heading; undefined for four zeros, which are no orientation, and for what is no number. */
function anglesOf([w, x, y, z]) {
  if (!(w * w + x * x + y * y + z * z > 0)) {
    return undefined;
  }
  return [
    DEGREES * Math.atan2(2 * (w * x + y * z), 1 - 2 * (x * x + y * y)),
    DEGREES * Math.asin(Math.max(-1, Math.min(1, 2 * (w * y - x * z)))),
    DEGREES * Math.atan2(2 * (w * z + x * y), 1 - 2 * (y * y + z * z)),
  ];
}

/** A vector of the body, seen from the earth. */
function toEarth([w, x, y, z], [vx, vy, vz]) {
  return [
    (1 - 2 * (y * y + z * z)) * vx + 2 * (x * y - w * z) * vy + 2 * (x * z + w * y) * vz,
    2 * (x * y + w * z) * vx + (1 - 2 * (x * x + z * z)) * vy + 2 * (y * z - w * x) * vz,
    2 * (x * z - w * y) * vx + 2 * (y * z + w * x) * vy + (1 - 2 * (x * x + y * y)) * vz,
  ];
}

module.exports = { anglesOf, toEarth };
