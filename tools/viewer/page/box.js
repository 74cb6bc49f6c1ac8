// The unit as a box with its axes, as its orientation has it, seen from the side and from above.
'use strict';

const { anglesOf, toEarth } = require('./attitude.js');

const HALF = [1, 0.65, 0.28]; // along x, y and z
const ELEVATION = Math.PI / 7;
const AZIMUTH = -Math.PI / 5;
const AXIS_LENGTH = 1.65;
const GRID = 2;
const FACES = [
  { axis: 0, colour: '--curve-x' },
  { axis: 1, colour: '--curve-y' },
  { axis: 2, colour: '--curve-z' },
].flatMap(({ axis, colour }) => [
  { axis, side: 1, colour },
  { axis, side: -1, colour },
]);

/** Right and up on the screen, and towards the viewer. Earth x points away to the right, y to the left, z up. */
function toScreen([x, y, z]) {
  const right = x * Math.cos(AZIMUTH) - y * Math.sin(AZIMUTH);
  const away = x * Math.sin(AZIMUTH) + y * Math.cos(AZIMUTH);
  return [right, z * Math.cos(ELEVATION) + away * Math.sin(ELEVATION), z * Math.sin(ELEVATION) - away * Math.cos(ELEVATION)];
}

function corners({ axis, side }) {
  const [a, b] = [0, 1, 2].filter((each) => each !== axis);
  return [
    [1, 1],
    [1, -1],
    [-1, -1],
    [-1, 1],
  ].map(([u, v]) => {
    const corner = [0, 0, 0];
    corner[axis] = side * HALF[axis];
    corner[a] = u * HALF[a];
    corner[b] = v * HALF[b];
    return corner;
  });
}

/** Points on the screen: faces towards the viewer, and the ends of the axes. */
function projectBox(q) {
  const project = (point) => toScreen(toEarth(q, point));
  const unitVector = (axis, length) => [0, 1, 2].map((each) => (each === axis ? length : 0));
  const faces = FACES.map((face) => ({
    ...face,
    points: corners(face).map(project),
    towards: project(unitVector(face.axis, face.side))[2],
  }));
  return {
    faces: faces.filter(({ towards }) => towards > 0),
    axes: [0, 1, 2].map((axis) => ({
      end: project(unitVector(axis, AXIS_LENGTH)),
      start: project(unitVector(axis, HALF[axis])),
    })),
  };
}

class Box {
  constructor(canvas, page) {
    Object.assign(this, { canvas, page });
  }

  draw(q) {
    const { canvas } = this;
    const { clientWidth: width, clientHeight: height } = canvas;
    canvas.width = width * devicePixelRatio;
    canvas.height = height * devicePixelRatio;
    this.ctx = canvas.getContext('2d');
    const scale = (Math.min(width, height * 1.2) / 5) * devicePixelRatio;
    this.place = ([right, up]) => [canvas.width / 2 + right * scale, canvas.height * 0.52 - up * scale];
    this.drawGround();
    const angles = q && anglesOf(q);
    if (angles) {
      this.drawBody(projectBox(q));
    } else {
      this.text('no orientation', canvas.width / 2, canvas.height / 2, '--text');
    }
    return angles;
  }

  path(points, close) {
    this.ctx.beginPath();
    points.map(this.place).forEach(([x, y], i) => (i === 0 ? this.ctx.moveTo(x, y) : this.ctx.lineTo(x, y)));
    if (close) {
      this.ctx.closePath();
    }
  }

  stroke(points, colour, width) {
    this.ctx.strokeStyle = this.page.colour(colour);
    this.ctx.lineWidth = width * devicePixelRatio;
    this.path(points, false);
    this.ctx.stroke();
  }

  drawGround() {
    for (let k = -GRID; k <= GRID; k += 1) {
      this.stroke(
        [
          [k, -GRID, -1.2],
          [k, GRID, -1.2],
        ].map(toScreen),
        '--grid',
        1,
      );
      this.stroke(
        [
          [-GRID, k, -1.2],
          [GRID, k, -1.2],
        ].map(toScreen),
        '--grid',
        1,
      );
    }
  }

  drawBody({ faces, axes }) {
    const isBehind = ({ end }) => end[2] < 0;
    axes.forEach((axis, k) => isBehind(axis) && this.drawAxis(axis, k));
    for (const { points, colour, side } of faces) {
      this.path(points, true);
      this.ctx.fillStyle = this.page.colour('--ground');
      this.ctx.fill();
      this.ctx.fillStyle = this.page.colour(colour, side > 0 ? 0.85 : 0.35);
      this.ctx.fill();
      this.stroke([...points, points[0]], '--ground', 1);
    }
    axes.forEach((axis, k) => !isBehind(axis) && this.drawAxis(axis, k));
  }

  drawAxis({ start, end }, k) {
    const colour = ['--curve-x', '--curve-y', '--curve-z'][k];
    this.stroke([start, end], colour, 2);
    const [x, y] = this.place(end.map((value) => value * 1.12));
    this.text('XYZ'[k], x, y, colour);
  }

  text(words, x, y, colour) {
    Object.assign(this.ctx, {
      fillStyle: this.page.colour(colour),
      textAlign: 'center',
      textBaseline: 'middle',
      font: `bold ${13 * devicePixelRatio}px system-ui, sans-serif`,
    });
    this.ctx.fillText(words, x, y);
  }
}

module.exports = { Box, projectBox, toScreen };
