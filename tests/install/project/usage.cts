import reader = require('vortena-reader');
import promises = require('vortena-reader/promises');

export const summary: string = reader.read('a.bin', 'a.csv');
export const rows: Promise<number> = promises.convert('a.bin', 'a.csv').then((answer) => answer.rows);
