// Compiled, not run: what the declarations must accept, and what they must refuse.
import { read, readAndSync2, readConfig, readConfigDeviceId, writeConfig } from '../../index.js';
import * as promises from '../../promises.js';
import { VortenaError } from '../../promises.js';
import * as wasm from '../../wasm.js';
import type { Configuration, ReadFailure, ReadSummary } from '../../index.js';

const answer: ReadSummary | ReadFailure = JSON.parse(read('a.bin', 'a.csv'));
const ticksPerSecond: number | string = 'error' in answer ? answer.error : answer.frequency;
const config: Configuration = JSON.parse(readConfig('a.bin'));
const range: number | undefined = config.gyro?.range;
const texts: string[] = [readAndSync2(['a.bin', 'b.bin'], 'out'), readConfigDeviceId('a.bin')];
const written: 'OK' | 'ERROR' = writeConfig('a.bin', 'radio,1,12');
export { range, texts, ticksPerSecond, written };

// @ts-expect-error a CSV path is needed
read('a.bin');
// @ts-expect-error a list is needed
readAndSync2('a.bin', 'out');
// @ts-expect-error absent settings are undefined
config.accel.offsetX.toFixed();

export async function usePromises() {
  const { rows, summary, report } = await promises.convert('a.bin', new URL('file:///a.csv'), {
    signal: AbortSignal.timeout(1000),
    onProgress: ({ stage, fraction }) => stage === 'decode' && fraction < 1,
    gyroscopeOffset: { x: 0, y: 0, z: 0 },
    fsync: true,
  });
  const rowsOf: [number, string] = [rows, summary.createdAt];
  const rate: number | null | undefined = report.channels.accel?.measuredRate;
  const wide: Float64Array | undefined = (await promises.readSamples('a.bin')).channels.gyro?.x;
  const narrow: Float32Array | undefined = (await promises.readSamples('a.bin', { precision: 'float32' })).channels.baro
    ?.pressure;
  const start: Date | null = (await promises.readConfig('a.bin', { timeZone: 'Europe/Berlin' })).start;
  const shift: number | null = (await promises.synchronise(['a.bin', 'b.bin'], 'out', { gyroscopeOffset: 'rest' })).units[0]
    .shift;
  await promises.writeConfig('a.cfg', await promises.readConfig('a.bin'));
  return { narrow, rate, rowsOf, shift, start, wide };
}
const full = (error: unknown) => error instanceof VortenaError && error.code === 'ERR_WRITE' && error.cause?.code === 'ENOSPC';
export { full };

const compiled = promises.backend().methods.kind === 'built';
export { compiled };

export async function useMemory(file: File, bytes: ArrayBuffer) {
  await wasm.initialise(new Uint8Array(8));
  await wasm.initialise(fetch('vortena.wasm'));
  const sizes: number[] = [(await wasm.convert(bytes, { orientation: 'smoothed' })).length];
  sizes.push((await wasm.convert(bytes, { gyroscopeOffset: 'rest' })).length);
  for await (const piece of wasm.csvPieces(file, { onProgress: ({ fraction }) => sizes.push(fraction) })) {
    sizes.push(piece.byteLength);
  }
  const narrow: Float32Array | undefined = (await wasm.readSamples(file, { precision: 'float32' })).channels.accel?.x;
  const { outputs, units } = await wasm.synchronise([file, bytes], { gyroscopeOffset: 'rest' });
  // @ts-expect-error there are no files
  units[0].output;
  return { first: outputs[0].length, narrow, sizes };
}
// @ts-expect-error no such option
promises.convert('a.bin', 'a.csv', { gyroscopeOfset: 'rest' });
// @ts-expect-error no such option of bytes in memory
wasm.convert(new ArrayBuffer(512), { overwrite: true });
// @ts-expect-error a path is no recording
wasm.inspect('a.bin');
// @ts-expect-error no such channel
promises.readSamples('a.bin', { channels: ['gps'] });
// @ts-expect-error no such code
full({} as VortenaError) && ({} as VortenaError).code === 'ERR_NONE';
// @ts-expect-error absent channels are undefined
promises.readSamples('a.bin').then(({ channels }) => channels.mag.x.length);
