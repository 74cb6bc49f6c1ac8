import { read, readAndSync2, readConfig, readConfigDeviceId, writeConfig } from 'vortena-reader';
import { backend, convert, inspect, readSamples, synchronise, VortenaError } from 'vortena-reader/promises';
import { assertMethods, assertPromises } from './same.cjs';

assertMethods({ read, readAndSync2, readConfig, readConfigDeviceId, writeConfig });
await assertPromises({ backend, convert, inspect, readSamples, synchronise, VortenaError });
