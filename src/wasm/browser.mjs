// The reader for pages and their workers; vortena.wasm is expected beside the bundle that is made of this.
import { makeReader } from './reader.js';

export const { VortenaError, initialise, convert, csvPieces, readSamples, inspect, readConfig, levels, synchronise } = makeReader(
  () => new URL('./vortena.wasm', import.meta.url),
);
