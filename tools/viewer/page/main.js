// A page that holds its recordings: unpacks and shows them.
'use strict';

const { Page } = require('./page.js');
const { Channel, unitFrom } = require('./recording.js');
const { fromPlanes, inflate, unpackSamples } = require('./packing.js');

const byId = (id) => document.getElementById(id);

/** Bytes that the page holds under a number. */
async function blob(number) {
  const holder = byId(`data-${number}`);
  const bytes = await inflate(holder.textContent);
  holder.remove();
  return bytes;
}

/** With what the first view needs. */
async function loadChannel(description) {
  return new Channel(description, fromPlanes(await blob(description.coarseData)));
}

/** The finer levels and the samples, which nobody sees before. */
async function loadRest(channel) {
  if (channel.fineData !== undefined) {
    channel.addFineLevels(fromPlanes(await blob(channel.fineData)));
  }
  if (channel.sampleData !== undefined) {
    channel.setSamples(unpackSamples(channel.samples, await blob(channel.sampleData)), -Infinity, Infinity);
  }
}

async function loadUnit(description, origin) {
  const unit = unitFrom(description, origin);
  return { ...unit, channels: await Promise.all(unit.channels.map(loadChannel)) };
}

/** Drawn first from what is quickly there. */
async function main() {
  const { origin, served, method, units: descriptions } = JSON.parse(byId('description').textContent);
  const units = await Promise.all(descriptions.map((description) => loadUnit(description, origin)));
  const page = new Page(units, { served, method });
  globalThis.vortenaPage = page;
  page.start();
  await new Promise((resolve) => {
    requestAnimationFrame(() => setTimeout(resolve)); // painted
  });
  await Promise.all(units.flatMap(({ channels }) => channels.map(loadRest)));
  page.complete();
}

main().catch((error) => {
  byId('view').textContent = `This page cannot show the recording: ${error.message}. It needs a browser of 2023 or newer.`;
  throw error;
});
