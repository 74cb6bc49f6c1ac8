// The recording as the page has it: levels and samples of each channel, and what of them is to be drawn between two
// times. Times are seconds on the recording's clock.
'use strict';

const { anglesOf } = require('./attitude.js');
const { byRank } = require('./channels.js');
const { MOST, NONE } = require('./packing.js');

/** More samples than these in a column of the screen are drawn from a level. */
const SAMPLES_PER_COLUMN = 24;
/** Up to these, a line from sample to sample is drawn. */
const SAMPLES_PER_COLUMN_OF_LINES = 3;
const PITCH = 1; // among the angles of an orientation

/** First place in an ascending array whose element is not below `value`. */
function lowerBound(array, value) {
  let [low, high] = [0, array.length];
  while (low < high) {
    const middle = (low + high) >> 1;
    [low, high] = array[middle] < value ? [middle + 1, high] : [low, middle];
  }
  return low;
}

/** The bounds of a level, by curve and bin. */
class Level {
  constructor({ start, width, count }, codes, scales, attitudes) {
    Object.assign(this, { start, width, count, codes, scales, attitudes });
  }

  value(row, bin, { base, step }) {
    const code = this.codes[row * this.count + bin];
    return code === NONE ? NaN : base + code * step;
  }

  low(curve, bin) {
    return this.value(2 * curve, bin, this.scales[curve]);
  }

  high(curve, bin) {
    return this.value(2 * curve + 1, bin, this.scales[curve]);
  }

  attitude(bin) {
    const row = 2 * this.scales.length;
    const q = [0, 1, 2, 3].map((k) => this.codes[(row + k) * this.count + bin] / 32767 - 1);
    return this.attitudes && this.codes[row * this.count + bin] !== NONE ? q : undefined;
  }

  binAt(time) {
    return Math.floor((time - this.start) / this.width);
  }
}

/** Samples with the curves that are made of them. */
class Samples {
  constructor({ attitudes, scales }, { time, axes }) {
    Object.assign(this, { time, axes });
    const hasNorm = scales.length > axes.length;
    this.curves = attitudes ? Samples.angles(axes) : hasNorm ? [...axes, Samples.norms(axes)] : axes;
  }

  static norms([x, y, z]) {
    return x.map((value, i) => Math.hypot(value, y[i], z[i]));
  }

  static angles([w, x, y, z]) {
    const curves = [0, 1, 2].map(() => new Float64Array(w.length).fill(NaN));
    for (let i = 0; i < w.length; i += 1) {
      anglesOf([w[i], x[i], y[i], z[i]])?.forEach((angle, k) => {
        curves[k][i] = angle;
      });
    }
    return curves;
  }

  covers(from, to) {
    return this.time.length > 0 && this.from <= from && this.to >= to;
  }

  /** The sample at or just before a time. */
  placeAt(time) {
    return Math.max(0, lowerBound(this.time, time + 1e-9) - 1);
  }
}

class Channel {
  /** `levels` are the finest first; `codes` are of the last `coarse` of them. */
  constructor(description, codes) {
    Object.assign(this, description);
    this.readyLevels = this.readLevels(this.levels.slice(-this.coarse), codes);
  }

  addFineLevels(codes) {
    this.readyLevels.unshift(...this.readLevels(this.levels.slice(0, -this.coarse), codes));
  }

  /** Lowest and highest value of a curve that its levels can say. */
  range(curve) {
    const { base, step } = this.scales[curve];
    return [base, base + MOST * step];
  }

  /** Here or on their way; pages without them show bounds. */
  get hasSamples() {
    return this.loaded !== undefined || this.sampleData !== undefined;
  }

  /** Holes in a curve: where an interval is longer than two usual ones. */
  get longestInterval() {
    return 2.5 / this.rate;
  }

  /** Roll and heading go on at -180 degrees behind 180; pitch does not. */
  isCircular(curve) {
    return this.attitudes && curve !== PITCH;
  }

  readLevels(levels, codes) {
    let at = 0;
    return levels.map((bins) => {
      const rows = 2 * this.scales.length + (this.attitudes ? 4 : 0);
      const level = new Level(bins, codes.subarray(at, at + rows * bins.count), this.scales, this.attitudes);
      at += rows * bins.count;
      return level;
    });
  }

  setSamples(unpacked, from, to) {
    this.loaded = Object.assign(new Samples(this, unpacked), { from, to });
  }

  samplesIn(from, to) {
    return (to - from) * this.rate;
  }

  /** Samples would be drawn, and are not all there. */
  wantsSamples(from, to, columns) {
    return this.samplesIn(from, to) <= SAMPLES_PER_COLUMN * columns && !this.loaded?.covers(from, to);
  }

  /** What draws this span: { samples } or { level }. */
  sourceFor(from, to, columns) {
    if (this.samplesIn(from, to) <= SAMPLES_PER_COLUMN * columns && this.loaded?.covers(from, to)) {
      return { samples: this.loaded };
    }
    const width = (to - from) / columns;
    const fine = this.readyLevels.filter((level) => level.width <= width);
    return { level: fine.at(-1) ?? this.readyLevels[0] };
  }

  /** The curve between two times: { points }, one by one, or { bars }, bounds over spans of time. */
  shapes(curve, from, to, columns) {
    const { samples, level } = this.sourceFor(from, to, columns);
    if (samples && this.samplesIn(from, to) <= SAMPLES_PER_COLUMN_OF_LINES * columns) {
      return { points: this.points(samples, curve, from, to) };
    }
    return samples
      ? { bars: this.columnsOfSamples(samples, curve, from, to, columns) }
      : { bars: this.columnsOfLevel(level, curve, from, to, columns) };
  }

  points({ time, curves }, curve, from, to) {
    const first = Math.max(0, lowerBound(time, from) - 1);
    const last = Math.min(time.length, lowerBound(time, to) + 1);
    const points = [];
    for (let i = first; i < last; i += 1) {
      const hole = i > first && time[i] - time[i - 1] > this.longestInterval;
      points.push({ time: time[i], value: curves[curve][i], joined: i > first && !hole });
    }
    return points;
  }

  columnsOfSamples({ time, curves }, curve, from, to, columns) {
    const bars = new Bars(from, to, columns, this.isCircular(curve));
    const last = Math.min(time.length, lowerBound(time, to) + 1);
    for (let i = Math.max(0, lowerBound(time, from) - 1); i < last; i += 1) {
      bars.include(time[i], time[i], curves[curve][i], curves[curve][i]);
    }
    return bars.list(this.longestInterval);
  }

  columnsOfLevel(level, curve, from, to, columns) {
    const first = Math.max(0, level.binAt(from));
    const last = Math.min(level.count - 1, level.binAt(to));
    if (level.width > (to - from) / columns) {
      return this.wideBars(level, curve, first, last);
    }
    const bars = new Bars(from, to, columns, this.isCircular(curve));
    for (let bin = first; bin <= last; bin += 1) {
      const start = level.start + bin * level.width;
      bars.include(start, start + level.width * 0.999, level.low(curve, bin), level.high(curve, bin));
    }
    return bars.list(level.width);
  }

  wideBars(level, curve, first, last) {
    const bars = [];
    for (let bin = first; bin <= last; bin += 1) {
      const [low, high] = [level.low(curve, bin), level.high(curve, bin)];
      if (low <= high) {
        const start = level.start + bin * level.width;
        bars.push({ start, end: start + level.width, low, high });
      }
    }
    return bars;
  }

  /** Seconds that one drawn value stands for; 0 for single samples. */
  resolution(from, to, columns) {
    const { samples, level } = this.sourceFor(from, to, columns);
    return samples
      ? this.samplesIn(from, to) <= SAMPLES_PER_COLUMN_OF_LINES * columns
        ? 0
        : (to - from) / columns
      : Math.max(level.width, (to - from) / columns);
  }

  /** [low, high] of a curve at a time, alike where it is one sample's value; undefined where there is none. */
  valueAt(curve, time) {
    if (this.loaded?.covers(time, time)) {
      const place = this.loaded.placeAt(time);
      const value = this.loaded.curves[curve][place];
      return time - this.loaded.time[place] <= this.longestInterval && value === value ? [value, value] : undefined;
    }
    const level = this.readyLevels[0];
    const bin = level.binAt(time);
    const low = bin >= 0 && bin < level.count ? level.low(curve, bin) : NaN;
    return low === low ? [low, level.high(curve, bin)] : undefined;
  }

  /** The attitude, from the orientation channel. */
  attitudeAt(time) {
    if (this.loaded?.covers(time, time)) {
      const place = this.loaded.placeAt(time);
      const q = this.loaded.axes.map((axis) => axis[place]);
      return time - this.loaded.time[place] <= this.longestInterval && anglesOf(q) ? q : undefined;
    }
    const level = this.readyLevels[0];
    const bin = level.binAt(time);
    return bin >= 0 && bin < level.count ? level.attitude(bin) : undefined;
  }

  /** The time of a curve's lowest and highest values. */
  timeOfExtreme() {
    const level = this.readyLevels[0];
    let best = { value: -1, time: level.start };
    for (let curve = 0; curve < Math.min(3, this.scales.length); curve += 1) {
      for (let bin = 0; bin < level.count; bin += 1) {
        const value = Math.max(Math.abs(level.low(curve, bin)), Math.abs(level.high(curve, bin)));
        best = value > best.value ? { value, time: level.start + (bin + 0.5) * level.width } : best;
      }
    }
    return best.time;
  }
}

/** A channel's description with times from `origin` on. */
function channelFrom({ levels, gaps, samples, ...description }, origin) {
  return {
    ...description,
    levels: levels.map((bins) => ({ ...bins, start: bins.start - origin })),
    gaps: gaps.map(([start, end]) => [start - origin, end - origin]),
    ...(samples ? { samples: { ...samples, first: samples.first - origin } } : {}),
  };
}

/** A unit's description, its times from `origin` of its clock on, its channels in the order of the page. */
function unitFrom(unit, origin) {
  const channels = unit.channels.map((channel) => channelFrom(channel, origin));
  return {
    ...unit,
    origin,
    channels: channels.sort(byRank),
    toOwnClock: origin - unit.shift,
    events: unit.events.map(([time, value]) => [time - origin, value]),
  };
}

/** Bounds by column of the screen. */
class Bars {
  constructor(from, to, columns, circular) {
    Object.assign(this, { from, columns, circular, width: (to - from) / columns });
    this.low = new Float64Array(columns).fill(NaN);
    this.high = new Float64Array(columns).fill(NaN);
  }

  columnOf(time) {
    return Math.floor((time - this.from) / this.width);
  }

  /** What reaches over several columns counts in each. */
  include(start, end, low, high) {
    if (!(low <= high)) {
      return;
    }
    const last = Math.min(this.columns - 1, this.columnOf(end));
    for (let column = Math.max(0, this.columnOf(start)); column <= last; column += 1) {
      this.join(column, low, high);
    }
  }

  /** A circular angle's way between two bounds is the shorter one: what it takes to enclose both. */
  join(column, low, high) {
    const present = this.low[column];
    const turns =
      this.circular && present === present ? 360 * Math.round(((present + this.high[column]) / 2 - (low + high) / 2) / 360) : 0;
    this.low[column] = present <= low + turns ? present : low + turns;
    this.high[column] = this.high[column] >= high + turns ? this.high[column] : high + turns;
  }

  /** Bars reach to their neighbours, unless there is a hole between them, so that curves are whole. */
  list(longestInterval) {
    const bars = [];
    let before = -Infinity;
    for (let column = 0; column < this.columns; column += 1) {
      const bar = this.bar(column);
      if (bar) {
        const last = bars.at(-1);
        if (last && (column - before - 1) * this.width <= longestInterval) {
          this.connect(last, bar);
        }
        bars.push(bar);
        before = column;
      }
    }
    return bars;
  }

  bar(column) {
    let [low, high] = [this.low[column], this.high[column]];
    if (low !== low) {
      return undefined;
    }
    if (this.circular) {
      const turned = 360 * Math.floor((low + 180) / 360);
      [low, high] = [low - turned, Math.min(high - turned, low - turned + 360)];
    }
    const start = this.from + column * this.width;
    return { start, end: start + this.width, low, high };
  }

  /** An angle that jumps by more than a half turn went round: no line is drawn across. */
  connect(last, bar) {
    last.end = Math.max(last.end, bar.start);
    const [below, above] = [bar.low - last.high, last.low - bar.high];
    if (this.circular && Math.max(below, above) > 180) {
      return;
    }
    bar.low = below > 0 ? last.high : bar.low;
    bar.high = above > 0 ? last.low : bar.high;
  }
}

module.exports = { Channel, lowerBound, unitFrom };
