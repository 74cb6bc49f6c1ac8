// node bundle-page.js: makes the script of the pages for the package, which is packed without esbuild.
'use strict';

const fs = require('node:fs');
const path = require('node:path');
const { BUNDLED, bundle } = require('./frame.js');

fs.writeFileSync(path.join(__dirname, BUNDLED), bundle('page/main.js'));
