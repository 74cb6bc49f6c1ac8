// What a run over many recordings tells: results on standard output, words for people on standard error, or each as one
// JSON object a line.
'use strict';

const { Bars } = require('./progress.js');
const { printable } = require('./quantities.js');

const INDENT = ' '.repeat(9);

/** `{ event, … }` on standard output; members without a value are left out. docs/command-line.md lists them. */
function printEvent(event, members) {
  process.stdout.write(`${JSON.stringify({ event, ...members })}\n`);
}

function failureText({ message, advice }) {
  return `failed   ${[message, advice].filter(Boolean).map(printable).join('\n').replaceAll('\n', `\n${INDENT}`)}`;
}

/** The worst note of a report, where it is damage. */
function damageText(recording, { verdict, notes }) {
  return verdict === 'damaged' ? `damaged  ${printable(`${recording}: ${notes[0].text}`)}` : undefined;
}

class JsonReport {
  started({ recording, output, size }, pid) {
    printEvent('started', { recording, output, bytes: size, pid });
  }

  event(name, members) {
    printEvent(name, members);
  }

  begin() {}
  progressed() {}
  settled() {}
  result() {}
  say() {}
  end() {}
}

class TextReport {
  constructor({ quiet }) {
    this.quiet = quiet;
  }

  begin(slots, jobs) {
    if (process.stderr.isTTY && !this.quiet && jobs.length > 0) {
      const bytes = jobs.reduce((sum, { size }) => sum + size, 0);
      this.bars = new Bars(process.stderr, slots, { bytes, count: jobs.length });
    }
  }

  started(job) {
    this.bars?.started(job);
  }

  progressed(job, progress) {
    this.bars?.progressed(job, progress);
  }

  event(name, members) {
    if (name === 'failed') {
      this.print(process.stderr, failureText(members));
    }
  }

  /** What another program may read. */
  result(line) {
    this.print(process.stdout, line);
  }

  /** What only people read. */
  say(line) {
    if (line && !this.quiet) {
      this.print(process.stderr, line);
    }
  }

  /** In a pipe paths stay as they are: another program may read them. */
  print(stream, line) {
    if (this.bars && stream.isTTY) {
      this.bars.print(printable(line));
    } else {
      stream.write(`${stream.isTTY || stream === process.stderr ? printable(line) : line}\n`);
    }
  }

  settled(job) {
    this.bars?.settled(job);
  }

  end() {
    this.bars?.stop();
    this.bars = undefined;
  }
}
const makeReport = (options) => (options.json ? new JsonReport() : new TextReport(options));

module.exports = { damageText, failureText, makeReport };
