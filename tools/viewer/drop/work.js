// What the reader page is at: its dialog with progress and a way out, and what it tells of the end.
'use strict';

const { element } = require('../page/chart.js');
const { numberText } = require('../page/scales.js');

const STAGES = {
  decode: 'reading',
  orientation: 'orientation',
  synchronise: 'bringing onto one clock',
  levels: 'levels for drawing',
  write: 'CSV',
};
const ADVICE = {
  ERR_NO_MEMORY: '. In a terminal, “vortena view” reads recordings that are too large for a page.',
};

const byId = (id) => document.getElementById(id);

/** Messages of the reader say what they are about; those of the browser do not. */
function sentence({ message, code }, refused) {
  return `${typeof code === 'string' ? '' : `${refused}: `}${message}${ADVICE[code] ?? ''}`;
}

/** Failures, one a line, or news, in the place of what was told before. A failure is a text, or a list with a button in it. */
function tell(failures, news = '') {
  const paragraphs = failures.map((failure) => {
    const paragraph = element('p');
    paragraph.append(...[failure].flat());
    return paragraph;
  });
  byId('trouble').replaceChildren(...paragraphs);
  byId('news').textContent = news;
}

function tellProgress(name, { stage, fraction = 0 } = {}) {
  byId('work-name').textContent = name;
  byId('work-stage').textContent = stage ? `${STAGES[stage]}, ${numberText(100 * fraction, 0)} %` : 'beginning';
  byId('work-share').value = fraction;
}

/** One task at a time; the next one ends it. */
class Work {
  constructor() {
    byId('cancel').addEventListener('click', () => this.cancel());
    byId('work').addEventListener('cancel', () => this.cancel());
  }

  cancel() {
    this.running?.abort();
  }

  /** `task(signal)`. What it throws is told, begun with `refused` where it needs that, and gives undefined. */
  async run(task, refused) {
    this.cancel();
    const running = new AbortController();
    this.running = running;
    tell([]);
    tellProgress('');
    if (!byId('work').open) {
      byId('work').showModal();
    }
    try {
      return await task(running.signal);
    } catch (error) {
      if (!running.signal.aborted) {
        tell([sentence(error, refused)]);
      }
      return undefined;
    } finally {
      if (this.running === running) {
        byId('work').close();
      }
    }
  }
}

module.exports = { Work, sentence, tell, tellProgress };
