// Compiled, not run: what the declarations must accept, and what they must refuse.
import { read, readAndSync2, readConfig, readConfigDeviceId, writeConfig } from '../../index.js';
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
