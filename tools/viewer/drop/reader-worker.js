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

/** Another orientation than the filter's takes the whole recording. */
async function* piecesOf(file, options) {
  if (Object.keys(options).length > 0) {
    yield await reader.convert(file, { ...options, onProgress });
  } else {
    yield* reader.csvPieces(file, { onProgress });
  }
}

/** One piece is on its way at a time, so that a slow disk fills no memory. */
async function csv([file], options) {
  for await (const piece of piecesOf(file, options)) {
    const next = new Promise((resolve) => {
      taken = resolve;
    });
    postMessage({ piece }, [piece.buffer]);
    await next;
  }
  postMessage({ answer: undefined });
}

async function synchronise(files, options) {
  const { outputs } = await reader.synchronise(files, { ...options, onProgress });
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
