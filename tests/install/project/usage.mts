import { read } from 'vortena-reader';
import { readSamples, VortenaError } from 'vortena-reader/promises';
import { convert } from 'vortena-reader/wasm';

export const summary: string = read('a.bin', 'a.csv');
export const x: Promise<Float64Array | undefined> = readSamples('a.bin').then(({ channels }) => channels.gyro?.x);
export const csv: Promise<Uint8Array> = convert(new Uint8Array());
export const code: string = ({} as VortenaError).code;
// @ts-expect-error a CSV path is needed
read('a.bin');
