// Conversions as jobs of a queue: enqueue() hands them in, work() does them, on as many machines as share a folder and a
// Redis server.
'use strict';

const { QUEUE } = require('./lib/connection.js');
const { enqueue } = require('./lib/enqueue.js');
const { work } = require('./lib/work.js');

module.exports = { QUEUE, enqueue, work };
