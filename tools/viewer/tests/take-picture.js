// node take-picture.js PAGE PICTURE.png [FROM TO CURSOR]: a page as it stands on a screen; for the documentation.
'use strict';

const path = require('node:path');
const { pathToFileURL } = require('node:url');
const { open, startBrowser } = require('./support.js');

const SIZE = { width: 1240, height: 860 };

async function main([page, picture, from, to, cursor]) {
  const browser = await startBrowser();
  const fragment = from === undefined ? '' : `#t=${from}-${to}&c=${cursor}`;
  const tab = await open(browser, pathToFileURL(path.resolve(page)).href + fragment);
  await tab.setViewportSize(SIZE);
  await tab.waitForTimeout(500);
  await tab.screenshot({ path: picture });
  await browser.close();
}

main(process.argv.slice(2));
