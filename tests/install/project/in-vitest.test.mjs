import { test } from 'vitest';
import * as methods from 'vortena-reader';
import * as promises from 'vortena-reader/promises';
import { assertMethods, assertPromises } from './same.cjs';

test('the methods', () => assertMethods(methods));
test('the promises', () => assertPromises(promises));
