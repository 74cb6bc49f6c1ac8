/**
 * The reader on recordings in memory, over WebAssembly: in pages, in their workers, and in Node.js. Nothing is sent or
 * stored anywhere.
 *
 * What comes is what `vortena-reader/promises` gives of the same recordings as files. Each call has memory of its own,
 * which goes with it. The work is done on the calling thread: a page that must not stand still meanwhile calls from a
 * worker. docs/wasm.md has examples, and how much memory each function needs.
 */

import type {
  GyroscopeOptions,
  LevelOptions,
  OrientationOptions,
  Progress,
  QualityReport,
  RecordingConfig,
  SampleOptions,
  SampleSet,
  SetOffset,
  SynchronisedSet,
  SynchronisedUnit,
  UnitLevels,
  ZoneOptions,
} from './promises.js';

export { VortenaError } from './promises.js';
// By name: a star would let functions be imported that are not here, those for files.
export type {
  Axes,
  BaroSeries,
  Bins,
  ChannelLevels,
  ChannelName,
  ChannelReport,
  Channels,
  ChannelSettings,
  ErrorCode,
  ErrorReason,
  Gap,
  GyroscopeOptions,
  InertialSeries,
  InertialSettings,
  JobOptions,
  LevelOptions,
  OrientationMethod,
  OrientationOptions,
  Progress,
  QualityReport,
  QuaternionSeries,
  RecordingConfig,
  SampleOptions,
  SampleSet,
  ScheduleGroup,
  SensorSettings,
  Smoothing,
  SynchronisedUnit,
  UnitLevels,
  ValueSeries,
  WallTime,
  ZoneOptions,
} from './promises.js';

/**
 * The bytes of a recording, which stay as they are. A Blob, or a File that was picked or dropped, is read piece by piece
 * and need not fit into memory; browsers allow that in workers only. Its name is what errors call it.
 */
export type RecordingBytes = Uint8Array | ArrayBuffer | Blob;

export interface CallOptions {
  /** Looked at every few milliseconds; as the call holds its thread, only `onProgress` can abort it on the way. */
  signal?: AbortSignal | undefined;
  /** Called some ten times a second, from within the work. What it throws ends the call. */
  onProgress?: ((progress: Progress) => void) | undefined;
}

export type WasmSource = WebAssembly.Module | BufferSource | Response | URL | string;

/**
 * Readies the module, for those who do not want its default, the `vortena.wasm` beside this file: a compiled module, its
 * bytes, a Response, a URL to fetch, or a promise of one of these. Later calls use it. Other functions call it when nobody
 * did.
 */
export function initialise(wasm?: WasmSource | PromiseLike<WasmSource>): Promise<void>;

/**
 * The CSV of a recording, UTF-8, byte by byte that of `read`, or, with an offset or a smoothed orientation, that of `convert`
 * for files. A smoothed one takes as much memory as `readSamples`.
 */
export function convert(
  recording: RecordingBytes,
  options?: CallOptions & GyroscopeOptions & OrientationOptions,
): Promise<Uint8Array>;

/**
 * The same in pieces of a quarter of a megabyte, made while they are taken: never more than two to three times the
 * recording is in memory, and up to six times while an offset of `'rest'` is estimated. Between pieces other tasks of the
 * thread get their turn; whoever stops taking them ends it. A smoothed orientation is for `convert` alone.
 */
export function csvPieces(
  recording: RecordingBytes,
  options?: CallOptions & GyroscopeOptions,
): AsyncGenerator<Uint8Array, void, undefined>;

export interface MemoryOptions {
  /**
   * Whether the arrays are copied into memory of their own, which may be transferred to another thread. By default they
   * are views of the memory of the call, all of one buffer, which no thread can hand on: half the memory.
   */
  transferable?: boolean | undefined;
}

/** The samples as typed arrays; the memory is freed with the last of them. */
export function readSamples(
  recording: RecordingBytes,
  options?: SampleOptions & MemoryOptions & { precision?: 'float64' | undefined },
): Promise<SampleSet<Float64Array>>;
export function readSamples(
  recording: RecordingBytes,
  options: SampleOptions & MemoryOptions & { precision: 'float32' },
): Promise<SampleSet<Float32Array>>;

/** The quality report. */
export function inspect(recording: RecordingBytes, options?: CallOptions): Promise<QualityReport>;

/** The header. Reads the first block only. */
export function readConfig(recording: RecordingBytes, options?: CallOptions & ZoneOptions): Promise<RecordingConfig>;

/** What `vortena view` and the reader page draw from. */
export function levels(
  recordings: readonly RecordingBytes[],
  options?: LevelOptions,
): Promise<{ samplesKept: boolean; units: UnitLevels[] }>;

export interface SynchronisedBytes {
  /** The CSVs, UTF-8, in the order of the recordings. */
  outputs: Uint8Array[];
  clock: SynchronisedSet['clock'];
  /** `path` is the name of a File, otherwise `recordings[i]`. */
  units: Omit<SynchronisedUnit, 'output'>[];
}

/** Brings the recordings of several units onto one clock, cut to their common span. */
export function synchronise(
  recordings: readonly RecordingBytes[],
  options?: CallOptions &
    OrientationOptions & {
      /** As of `synchronise` in `vortena-reader/promises`. */
      gyroscopeOffset?: SetOffset;
    },
): Promise<SynchronisedBytes>;
