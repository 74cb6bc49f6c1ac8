// Four at once, with the entries loaded in the main thread as well.
'use strict';

const { Worker, isMainThread } = require('node:worker_threads');

require('./require.cjs');
if (isMainThread) {
  for (let i = 0; i < 4; i += 1) {
    new Worker(__filename);
  }
}
