/** Conversions of recordings as jobs of a queue on a Redis server. README.md tells what happens when something dies. */

import type { Worker } from 'bullmq';

/** The name of the queue, for BullMQ's `Queue` and `QueueEvents`. */
export const QUEUE: 'vortena';

export interface EnqueueOptions {
  /**
   * URL of the server, or path of its socket. Default: the variable `REDIS_URL`, or `redis://127.0.0.1:6379`. What is
   * malformed is a `TypeError` of code `ERR_REDIS`.
   */
  redis?: string;
  /** Folder of the outputs; those of a folder of recordings mirror it. */
  out: string;
  /** A CSV, a compressed CSV, or a folder of Parquet tables, as `vortena convert --to` makes them. Default 'csv'. */
  to?: 'csv' | 'csv.gz' | 'parquet';
  /** Whether folders below a given one are searched as well. Default false. */
  recursive?: boolean;
  /** As of `convert`: `'smoothed'` looks both ways in time. Default `'filter'`. */
  orientation?: 'filter' | 'smoothed';
  /** Takes off the gyroscope's offset at rest; not with `orientation: 'smoothed'`, which estimates it itself. */
  gyroscopeOffset?: 'rest';
}

export interface Submitted {
  /** Of the job; the same for the same state of a recording, the same output and the same orientation. */
  id: string;
  recording: string;
  output: string;
  /** `known`: the job is under way or done. `exists`: the output is there, not older than the recording; no job was made. */
  state: 'queued' | 'known' | 'exists';
}

/**
 * Queues the conversion of recordings, or of all *.bin in folders. Rejects before anything is queued with
 * `ERR_OUTPUT_CLASH` when two recordings would be written to one output, or while the output is written with another
 * orientation, with the system's error when a path cannot be
 * looked at, with `ERR_REDIS` when the server cannot be reached or does not answer, and with a `TypeError` for wrong
 * arguments, options that it does not have among them.
 */
export function enqueue(paths: string | readonly string[], options: EnqueueOptions): Promise<Submitted[]>;

export interface WorkOptions {
  redis?: string;
  /** Most jobs at a time. Default: one for each processor. */
  concurrency?: number;
  /** For all jobs, MiB. Default: 60 % of what is free now. */
  memory?: number;
  /** Seconds that a job stays with a worker that is lost. Default 30. */
  lock?: number;
}

/** What a job says about itself. */
export interface ConversionJob {
  recording: string;
  output: string;
  to: 'csv' | 'csv.gz' | 'parquet';
  /** Bytes, and the time of the last change, ms since 1970, of the recording when it was submitted. */
  size: number;
  changed: number;
  /** The time of change of an output that was there then. */
  before: number | null;
  /** At most one of them: without, the orientation is that of `read`. */
  orientation?: 'smoothed';
  gyroscopeOffset?: 'rest';
}

/** `skipped`: an earlier start of the job had made the output. */
export type ConversionResult =
  | { output: string; rows: number; bytes: number; verdict: 'ok' | 'notes' | 'damaged'; notes: string[]; skipped?: undefined }
  | { output: string; skipped: 'exists' };

/**
 * Does jobs until it is closed. Their progress is that of `convert`: `{ stage, fraction }`, once a second. Throws a
 * `TypeError` for an option that is unknown or of a wrong kind.
 */
export function work(options?: WorkOptions): Worker<ConversionJob, ConversionResult>;
