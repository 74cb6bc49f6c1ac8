// One job of the reader page, away from its thread: reads the files that it is handed with the reader as WebAssembly.
'use strict';

const reader = require('vortena-reader/wasm');

let taken; // called when the page has taken a piece

const onProgress = (progress) => postMessage({ progress });

/** Each buffer once, to be moved and not copied. */
function buffersOf({ units }) {
  const arrays = units.flatMap(({ channels }) =>
    channels.flatMap(({ codes, gaps, kept }) => [codes, gaps, ...(kept ? [kept.time, ...kept.axes] : [])]),
  );
  return [...new Set(arrays.map(({ buffer }) => buffer))];
}

async function levels(files, options) {
  const answer = await reader.levels(files, { ...options, onProgress });
  postMessage({ answer }, buffersOf(answer));
}

/** One piece is on its way at a time, so that a slow disk fills no memory. */
async function csv([file]) {
  for await (const piece of reader.csvPieces(file, { onProgress })) {
    const next = new Promise((resolve) => {
      taken = resolve;
    });
    postMessage({ piece }, [piece.buffer]);
    await next;
  }
  postMessage({ answer: undefined });
}

async function synchronise(files) {
  const { outputs } = await reader.synchronise(files, { onProgress });
  postMessage({ answer: outputs }, [...new Set(outputs.map(({ buffer }) => buffer))]);
}

const jobs = { levels, csv, synchronise };

async function start({ module, job, files, options }) {
  try {
    await reader.initialise(module);
    await jobs[job](files, options);
  } catch ({ message, code }) {
    postMessage({ failure: { message, code } });
  }
}

addEventListener('message', ({ data }) => (data === 'taken' ? taken() : start(data)));
