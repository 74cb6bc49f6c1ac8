// What a terminal shows while jobs run.
'use strict';

const assert = require('node:assert/strict');
const test = require('node:test');
const { Bars } = require('../lib/telling/progress.js');

/** A terminal's lines, of what cli-progress writes: text, line feeds, and the cursor's moves. */
class Screen {
  constructor() {
    Object.assign(this, { isTTY: true, columns: 80, rows: 24, lines: [''], row: 0, column: 0 });
  }

  write(text) {
    for (const [, argument, command, piece] of text.matchAll(/\x1b\[\??(\d*)([A-Za-z])|(\n|[^\x1b\n]+)/g)) {
      this.lines[this.row] ??= '';
      if (piece === '\n') Object.assign(this, { row: this.row + 1, column: 0 });
      else if (piece) this.put(piece);
      else if (command === 'A') this.row -= Number(argument);
      else if (command === 'G') this.column = Number(argument) - 1;
      else if (command === 'K') this.lines[this.row] = argument === '2' ? '' : this.lines[this.row].slice(0, this.column);
      else if (command === 'J') this.lines.splice(this.row, Infinity);
    }
    return true;
  }

  put(piece) {
    const line = this.lines[this.row].padEnd(this.column);
    this.lines[this.row] = line.slice(0, this.column) + piece + line.slice(this.column + piece.length);
    this.column += piece.length;
  }

  /** The first word of each line. */
  get words() {
    return this.lines.map((line) => line.split(' ')[0]);
  }
}

test('bars of jobs that ended leave no line', (t) => {
  const screen = new Screen();
  const bars = new Bars(screen, 2, { bytes: 300, count: 3 });
  t.after(() => bars.stop());
  const [first, second, third] = ['first', 'second', 'third'].map((recording) => ({ recording, operation: 'csv', size: 100 }));
  const shown = () => {
    bars.bars.update();
    return screen.words;
  };
  bars.started(first);
  bars.started(second);
  bars.progressed(first, { stage: 'write', fraction: 0.5 });
  assert.deepEqual(shown(), ['all', 'first', 'second']);
  bars.settled(first);
  bars.print('first.csv');
  assert.deepEqual(shown(), ['first.csv', 'all', 'second']);
  bars.started(third);
  bars.settled(second);
  bars.print('second.csv');
  assert.deepEqual(shown(), ['first.csv', 'second.csv', 'all', 'third']);
  bars.settled(third);
  bars.print('third.csv');
  bars.stop();
  assert.deepEqual(screen.words, ['first.csv', 'second.csv', 'third.csv']);
});
