#!/usr/bin/env node
'use strict';

require('../lib/cli.js').main(process.argv);
