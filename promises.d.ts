/**
 * The reader's operations as promises: decoding off the calling thread, with progress, cancelling, reasons and the
 * samples themselves.
 *
 * Each call is a job on a thread of its own. At most `os.availableParallelism()` jobs run at a time in a thread of
 * JavaScript; the others wait in order. A promise rejects with a {@link VortenaError}, with the `reason` of the signal
 * that aborted it, with the exception of its own `onProgress`, or with a `TypeError` for wrong arguments, which touches no
 * file. docs/promises.md has an example of each function and a table of the errors.
 *
 * Paths are strings, taken as UTF-8, or `file:` URLs.
 */

import type { ReadSummary } from './index.js';

export type FilePath = string | URL;

/** Where a job is. A job of several recordings goes through decoding and orientation once for each of them. */
export interface Progress {
  stage: 'decode' | 'orientation' | 'synchronise' | 'levels' | 'write';
  /** Of the stage, 0 to 1. */
  fraction: number;
}

export interface JobOptions {
  /**
   * Ends the job when it aborts: the promise rejects with its `reason`, nothing is written, memory is given back. A job
   * that is done before it notices resolves.
   */
  signal?: AbortSignal | undefined;
  /** Called ten times a second while the job runs, and once at its end with a fraction of 1. Does not keep the process alive. */
  onProgress?: ((progress: Progress) => void) | undefined;
}

/** One offset for all recordings of a set, or one for each. */
export type SetOffset = 'rest' | Axes | readonly ('rest' | Axes | undefined)[] | undefined;

export interface OutputOptions {
  /** Whether the bytes and the name are on the disk before the promise resolves. Default false. */
  fsync?: boolean | undefined;
}

export interface ReplacingOptions {
  /**
   * Whether existing files at the paths of outputs may be replaced; recordings never are. False rejects with
   * `ERR_OUTPUT_EXISTS` when a file exists at the beginning or at the end. Default true. A file that did not exist at the
   * beginning is never replaced at the end.
   */
  overwrite?: boolean | undefined;
}

export interface DamageOptions {
  /**
   * When the system cannot read all of the recording, convert the blocks before the first unreadable one instead of
   * rejecting with `ERR_UNREADABLE`. The report names that block. For failing media. Default false.
   */
  keepReadable?: boolean | undefined;
}

export interface ThreadOptions {
  /**
   * Whether a second thread may write the CSV while the filter runs, as long as there are fewer jobs than processors.
   * Default true. Set it to false if you run jobs in several processes, which do not know of each other.
   */
  secondThread?: boolean | undefined;
}

/** Angular rate about each axis, deg/s. */
export interface Axes {
  x: number;
  y: number;
  z: number;
}

export interface GyroscopeOptions {
  /**
   * Subtracted from the gyroscope series before the orientation is computed, deg/s; the results carry the corrected
   * values, and the report says so. `'rest'` takes the mean of the stretches in which the unit is still; without enough
   * of them the promise rejects with `ERR_NO_REST`. Default: nothing is subtracted.
   */
  gyroscopeOffset?: 'rest' | Axes | undefined;
}

/** How the orientation is computed; docs/orientation.md says which to choose when. */
export type OrientationMethod = 'filter' | 'smoothed';

export interface OrientationOptions {
  /**
   * `'filter'`, the default, looks back alone: the CSV is that of `read`. `'smoothed'` looks both ways, estimates the
   * gyroscope's offset itself, bridges gaps and takes different rates of the two sensors; it cannot be combined with
   * `gyroscopeOffset`.
   */
  orientation?: OrientationMethod | undefined;
}

export type ErrorCode =
  | 'ERR_NOT_A_RECORDING'
  | 'ERR_UNREADABLE'
  | 'ERR_RECORDING_CHANGED'
  | 'ERR_WRITE'
  | 'ERR_SYNC'
  | 'ERR_ORIENTATION'
  | 'ERR_NO_REST'
  | 'ERR_CONFIG_TEXT'
  | 'ERR_OUTPUT_CLASH'
  | 'ERR_OUTPUT_EXISTS'
  | 'ERR_OUTPUT_IS_RECORDING'
  | 'ERR_NO_MEMORY'
  | 'ERR_INTERNAL';

export type ErrorReason =
  | 'too-short'
  | 'no-header'
  | 'no-accelerometer'
  | 'no-gyroscope'
  | 'different-rates'
  | 'no-times'
  | 'too-little-rest'
  | 'too-few'
  | 'no-master'
  | 'several-masters'
  | 'different-radio-channels'
  | 'no-radio-data'
  | 'no-common-channel'
  | 'no-samples';

/** A failure of the reader. `code` and `reason` are stable; the message is for people. */
export class VortenaError extends Error {
  readonly name: 'VortenaError';
  readonly code: ErrorCode;
  /** Which of the code's reasons it was, where it has several. */
  readonly reason?: ErrorReason;
  /** The file that it is about. */
  readonly path: string;
  /** The stage that it ended. */
  readonly stage?: Progress['stage'];
  /** The system's error, of `ERR_UNREADABLE` and `ERR_WRITE`: `cause.code` is `'ENOENT'`, `'EACCES'`, `'ENOSPC'` and so on. */
  readonly cause?: Error & { code: string; errno: number };
}

/** What is stored for a gap: `after` seconds since tick zero, `seconds` of missing samples. */
export interface Gap {
  after: number;
  seconds: number;
}

export interface ChannelReport {
  samples: number;
  /** Records in the file, the header block not counted. */
  records: number;
  /** Records that were dropped, as an earlier one of the file has their tick. */
  repeatedTicks: number;
  /** Records that come later in the file than one with a later tick. */
  outOfOrder: number;
  /** Samples that the header block alone holds. */
  fromHeaderBlock: number;
  /** Of the header, Hz. */
  nominalRate: number;
  /** Of the time stamps, Hz; null for channels without a clock. */
  measuredRate: number | null;
  gaps: { count: number; seconds: number; longest: number; where: Gap[] } | null;
  /** Share of samples at full scale, 0 to 1; null for channels without a range. */
  fullScaleShare: number | null;
}

export type ChannelName = 'accel' | 'gyro' | 'baro' | 'mag' | 'radioByte' | 'radioTime' | 'quaternion' | 'event';

/** How good a recording is; docs/quality-report.md explains each member. Times are s, rates Hz, angles degrees. */
export interface QualityReport {
  verdict: 'ok' | 'notes' | 'damaged';
  /** Worst first. */
  notes: { code: string; severity: 'damage' | 'note'; text: string }[];
  file: {
    bytes: number;
    blocks: number;
    cutOffBytes: number;
    blankBlocks: number;
    blocksBackInTime: number;
    firstUnreadableBlock: number | null;
    failure: { number: number; text: string } | null;
  };
  records: {
    decoded: number;
    repeatedTicks: number;
    outOfOrder: number;
    skipped: number;
    blank: number;
    /** Records of no channel in the header, by their identifier. */
    foreign: { [identifier: string]: number };
  };
  channels: { [channel in ChannelName]?: ChannelReport };
  clock: {
    ticksPerSecond: number;
    first: number | null;
    last: number | null;
    seconds: number | null;
    headerSeconds: number | null;
  };
  orientation: {
    method: OrientationMethod;
    available: boolean;
    reason: string | null;
    startsAfter: number | null;
    firstTilt: number | null;
    lastTilt: number | null;
    stillShare: number | null;
    /** Of a smoothed orientation: errors of the inclination to expect, degrees (rms), and what else was estimated. */
    smoothing: {
      typicalError: number;
      largestError: number;
      /** Of the gyroscope, deg/s, over time; used within the smoother alone. */
      meanOffset: Axes;
      restSeconds: number;
      /** Gaps of the gyroscope whose turn was guessed from both sides, and those too long for that. */
      bridgedGaps: number;
      openGaps: number;
    } | null;
  };
  header: { error: boolean; unknownFrames: { count: number; bytes: number } };
  /** What the gyroscope measures at rest, deg/s, and the accelerometer, g. */
  rest: {
    found: boolean;
    reason: string | null;
    seconds: number;
    offset: Axes | null;
    standardError: Axes | null;
    change: Axes | null;
    agrees: boolean | null;
    accelerometerNorm: number | null;
    accelerometerNormSpread: number | null;
    /** Degrees by which the vertical is off where the unit comes to rest after motion, root mean square of so many rests. */
    tilt: { rests: number; asRead: number; offsetTakenOff: number } | null;
  };
  /** What was subtracted, deg/s. */
  gyroscopeOffset: Axes | null;
}

export interface Conversion {
  /** Of samples, as the third line of the CSV says. */
  rows: number;
  /** Size of the CSV. */
  bytes: number;
  /** What `read` answers with. */
  summary: ReadSummary;
  report: QualityReport;
}

/**
 * Decodes one recording and writes all of its channels to one CSV file, byte by byte that of `read`, unless
 * `gyroscopeOffset` corrects it. The CSV is complete or not there: it is written under another name in the same folder and
 * renamed at the end, so that an existing one stays until then. A link stays a link and its target is replaced; mode
 * and, where allowed, owner of an existing file stay.
 */
export function convert(
  path: FilePath,
  csvPath: FilePath,
  options?: JobOptions & OutputOptions & ReplacingOptions & DamageOptions & GyroscopeOptions & OrientationOptions & ThreadOptions,
): Promise<Conversion>;

/** Calendar date and time of day as the unit's clock showed it; all 0 when unknown. No time zone is known. */
export interface WallTime {
  year: number;
  month: number;
  day: number;
  hour: number;
  minute: number;
  second: number;
}

export interface InertialSettings {
  present: boolean;
  /** First byte of the channel's records. */
  id: number;
  /** Hz. */
  frequency: number;
  /** Full scale, g or deg/s. */
  range: number;
  /** In the unit of the range. */
  offsetX: number;
  offsetY: number;
  offsetZ: number;
  /** Dimensionless divisors. */
  gainX: number;
  gainY: number;
  gainZ: number;
  auxiliary: number;
  parameter: number;
}

export interface ChannelSettings {
  present: boolean;
  id: number;
  /** Hz. */
  frequency: number;
}

export interface SensorSettings extends ChannelSettings {
  auxiliary: number;
  parameter: number;
}

export interface ScheduleGroup {
  b1: number;
  b2: number;
  b3: number;
  w: number;
  t: number;
}

/** `Buffer`, where the types of Node.js are there. */
type NodeBuffer = typeof globalThis extends { Buffer: { prototype: infer B extends Uint8Array } } ? B : Uint8Array;

/** The whole header of a recording, with fractions and unsigned numbers as they are. */
export interface RecordingConfig {
  /** A known header frame was too short; what it should have told is missing. */
  headerError: boolean;
  /** Header frames that the reader does not understand, whole and in file order. */
  unknownFrames: NodeBuffer;
  /** Time base, ticks per second. */
  frequency: number;
  /** 4294967295 when unknown. */
  deviceId: number;
  /** -1 when unknown, as the body location. */
  deviceType: number;
  bodyLocation: number;
  /** The header names the device or its firmware. */
  hasDevice: boolean;
  version: number;
  majorVersion: number;
  minorVersion: number;
  radioMode: number;
  radioChannel: number;
  radioParam1: number;
  radioParam2: number;
  extVersion: number;
  extMajorVersion: number;
  extMinorVersion: number;
  createdAt: WallTime;
  endDate: WallTime;
  accel: InertialSettings;
  gyro: InertialSettings;
  baro: SensorSettings;
  gps: SensorSettings & { mode: number };
  mag: SensorSettings;
  radioByte: ChannelSettings;
  radioTime: ChannelSettings & { option1: number; option2: number };
  event: ChannelSettings;
  auxA: { present: boolean; id: number; value1: number; value2: number };
  auxB: { present: boolean; id: number; value1: number; value2: number };
  schedule: { present: boolean; id: number; value: number; first: ScheduleGroup; second: ScheduleGroup };
  /** -1 when the recording has none. */
  measureId: number;
  /** `createdAt` as an instant, when a time zone was given and the date is one; otherwise null. */
  start: Date | null;
  /**
   * What a change of clocks makes of that wall time: `'skipped'`, it was never shown, and `start` is as if the clock had
   * not been changed; `'repeated'`, it was shown twice, and `start` is the earlier one. Null otherwise.
   */
  startNote: 'skipped' | 'repeated' | null;
}

export interface ZoneOptions {
  /** IANA name of the zone that the unit's clock was set to, such as `'Europe/Berlin'`; for `config.start`. */
  timeZone?: string | undefined;
}

/** Samples of one channel. All arrays have one element a sample. */
interface Series {
  /** Of the header, Hz. */
  rate: number;
  /** True time stamps, s since tick zero, strictly increasing. */
  time: Float64Array;
}

export interface InertialSeries<Values> extends Series {
  /** `'g'` or `'deg/s'`; `''` for the raw counts of `mag`. */
  unit: string;
  x: Values;
  y: Values;
  z: Values;
}

export interface BaroSeries<Values> extends Series {
  unit: { pressure: 'mBar'; temperature: 'degree C' };
  pressure: Values;
  temperature: Values;
}

export interface ValueSeries<Values> extends Series {
  /** `'s'` for `radioTime`, otherwise `''`. */
  unit: string;
  value: Values;
}

/** Rotation from the unit to the earth with z up. All zero where there is no orientation yet, and in the last sample. */
export interface QuaternionSeries<Values> extends Series {
  unit: '';
  w: Values;
  x: Values;
  y: Values;
  z: Values;
}

export interface Channels<Values> {
  accel?: InertialSeries<Values>;
  gyro?: InertialSeries<Values>;
  mag?: InertialSeries<Values>;
  baro?: BaroSeries<Values>;
  radioByte?: ValueSeries<Values>;
  radioTime?: ValueSeries<Values>;
  event?: ValueSeries<Values>;
  quaternion?: QuaternionSeries<Values>;
}

export interface SampleSet<Values> {
  config: RecordingConfig;
  /** Of the channels asked for, those that the recording has. */
  channels: Channels<Values>;
  report: QualityReport;
  /** What the smoother estimated besides a smoothed orientation; otherwise null. */
  smoothing: Smoothing | null;
}

/** Estimates over time, one for each element of `time`, a second or two apart, and of the whole recording. */
export interface Smoothing {
  /** s since tick zero. */
  time: Float64Array;
  /** Of the gyroscope, deg/s: what it reads too much. The series in `channels` are as read. */
  offset: { x: Float64Array; y: Float64Array; z: Float64Array };
  /** Of the inclination, the root mean square to expect, degrees. */
  inclinationError: Float64Array;
  /** When the unit was still, s. */
  rest: { from: number; to: number }[];
  /** Without samples of the gyroscope, s. `turned`: the turn meanwhile was guessed from both sides. */
  gaps: { from: number; to: number; turned: boolean }[];
  /** Errors of scale and alignment, row by row: the rate that is read, less the offset, is (1 + E) times the true one. */
  gyroscopeErrors: number[][];
  /** What the accelerometer reads too much, g. */
  accelerometerOffset: Axes;
}

export interface SampleOptions extends JobOptions, GyroscopeOptions, ZoneOptions {
  /** Default: all. A channel that the recording does not have is left out. */
  channels?: readonly ChannelName[] | undefined;
  /**
   * Whether, and how, to compute the orientation. True, `'filter'` and `'smoothed'` reject with `ERR_ORIENTATION` when it
   * is not possible, as does a list of channels with `'quaternion'`. Default: by the filter where it is possible, unless
   * the list of channels is without it. A smoothed one has an element for each sample of the gyroscope.
   */
  orientation?: boolean | OrientationMethod | undefined;
}

/**
 * Decodes one recording into typed arrays: views of the reader's own memory, not copies, where the runtime allows that.
 * They are freed with the last of them.
 *
 * Samples that come from the header block alone are left out and counted in the report, as they may lie days away; the
 * CSV of `read` and `convert` keeps them. The orientation is computed from the series without them and can therefore
 * differ from that of the CSV.
 */
export function readSamples(
  path: FilePath,
  options?: SampleOptions & { precision?: 'float64' | undefined },
): Promise<SampleSet<Float64Array>>;
/** Values as `Float32Array`s, in half the memory; times stay `Float64Array`s. */
export function readSamples(path: FilePath, options: SampleOptions & { precision: 'float32' }): Promise<SampleSet<Float32Array>>;

/** The quality report of a recording, without its samples. */
export function inspect(path: FilePath, options?: JobOptions): Promise<QualityReport>;

export interface SynchronisedUnit {
  path: string;
  output: string;
  rows: number;
  bytes: number;
  /** Added to the unit's time stamps, s; of the first common channel; null where a clock has no time base. */
  shift: number | null;
  /** The same for each common channel: they differ where radio parameters are the time source. */
  shifts: { [channel in ChannelName]?: number | null };
  summary: ReadSummary;
  report: QualityReport;
}

export interface SynchronisedSet {
  /** The CSV files, in the order of the recordings. */
  outputs: string[];
  clock: {
    /** What the units' clocks were compared by; the first recording decides. */
    source: 'schedule' | 'radio-parameters' | 'radio-times';
    /** Of the common span, s on the common clock. */
    start: number | null;
    /** s */
    duration: number | null;
  };
  units: SynchronisedUnit[];
}

/** Bins of equal width, s, one after another: a time t lies in bin (t - start) / width. */
export interface Bins {
  start: number;
  width: number;
  count: number;
}

export interface ChannelLevels {
  /** The channel's number in the C++ libraries. */
  key: number;
  name: ChannelName;
  /** Of the samples: one for all axes, or one for each by its name. */
  unit: string | { [axis: string]: string };
  /** Names, in the order of `kept.axes`. */
  axes: string[];
  samples: number;
  /** Start and end of each gap, s, one after another; of more than 5,000 the longest. */
  gaps: Float64Array;
  gapCount: number;
  /**
   * One for each curve: x, y, z and norm; pressure and temperature; roll, pitch and heading in degrees. A code c means
   * base + c * step, 65535 nothing. Empty for channels that are no curves.
   */
  scales: { base: number; step: number }[];
  /** The finest first; each further one has bins of twice the width. */
  levels: Bins[];
  /** Whether each level ends with w, x, y and z of each bin's first orientation: a code c means c / 32767 - 1. */
  attitudes: boolean;
  /** Per level: the lowest values of each bin, then the highest, of each curve. Angles that go round reach beyond 180. */
  codes: Uint16Array;
  /** The samples, where they are few. */
  kept?: { time: Float64Array; axes: Float64Array[] };
}

export interface UnitLevels {
  config: Omit<RecordingConfig, 'unknownFrames' | 'start' | 'startNote'>;
  report: QualityReport;
  /** Of the channels in the report, in words. */
  titles: { [channel in ChannelName]?: string };
  /** Of the first and the last sample, s. */
  start: number;
  end: number;
  /** Of a synchronised set: common time less the unit's own, s. */
  shift: number;
  channels: ChannelLevels[];
}

export interface LevelOptions extends JobOptions, GyroscopeOptions, OrientationOptions {
  /** The recordings on one clock, cut to their common span. Default false. */
  synchronised?: boolean | undefined;
  /** Bins of the finest levels, all recordings together. Default 200,000. */
  mostBins?: number | undefined;
  /** Samples are kept when all recordings together have no more. Default 0; events are always kept. */
  mostSamples?: number | undefined;
}

/**
 * Minimum and maximum of recordings over bins of time, from fine to coarse, for drawing them at any zoom without losing
 * a spike; `vortena view` draws with it. Samples of the header block are left out.
 */
export function levels(
  paths: readonly FilePath[],
  options?: LevelOptions,
): Promise<{ samplesKept: boolean; units: UnitLevels[] }>;

/**
 * Brings recordings that were made together onto one clock, cuts them to their common span and writes one CSV for each,
 * with the bytes and the names of `readAndSync2`. All CSVs appear or none does. Two recordings that would write one
 * CSV are refused before anything is written. `gyroscopeOffset: 'rest'` is estimated for each unit; a list has one offset
 * for each, or undefined for none.
 */
export function synchronise(
  paths: readonly FilePath[],
  outputFolder: FilePath,
  options?: JobOptions & OutputOptions & ReplacingOptions & OrientationOptions & { gyroscopeOffset?: SetOffset },
): Promise<SynchronisedSet>;

/** Reads the configuration header; a file that is shorter than a block will do. It tells no progress. */
export function readConfig(path: FilePath, options?: JobOptions & ZoneOptions): Promise<RecordingConfig>;

/** What a header is written from. Numbers are whole, and as large as docs/configuration-text.md allows. */
export interface WritableConfig {
  deviceId?: number;
  deviceType?: number;
  bodyLocation?: number;
  version?: number;
  majorVersion?: number;
  minorVersion?: number;
  radioMode?: number;
  radioChannel?: number;
  accel?: WritableSensor;
  gyro?: WritableSensor;
  baro?: { frequency: number; present?: boolean };
  unknownFrames?: Uint8Array | string;
}

export interface WritableSensor {
  present?: boolean;
  frequency: number;
  range: number;
  offsetX?: number;
  offsetY?: number;
  offsetZ?: number;
  gainX?: number;
  gainY?: number;
  gainZ?: number;
}

/**
 * Writes a file that holds the header frames of a configuration text, or of an object, and nothing else; whole or not at
 * all. An existing file of no more than 512 bytes is replaced, a longer one that begins like a recording is refused. It
 * tells no progress.
 */
export function writeConfig(path: FilePath, config: string | WritableConfig, options?: JobOptions & OutputOptions): Promise<void>;

/** What the package runs on. */
export interface Binary {
  /**
   * `'built'`: compiled on this machine. `'node-api'`: the binary on Node-API, which came with the package and serves every
   * release of Node.js. `'wasm'`: WebAssembly.
   */
  kind: 'built' | 'node-api' | 'wasm';
  /** Its path. */
  file: string;
}

/**
 * Of each entry the binary that was loaded, the first that could be. In answers and bytes they are alike. Throws
 * `ERR_ADDON_NOT_BUILT` where `vortena-reader` itself does not load. docs/promises.md tells more.
 */
export function backend(): { methods: Binary; promises: Binary };
