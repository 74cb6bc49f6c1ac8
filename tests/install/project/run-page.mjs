import fs from 'node:fs';
import { convert, csvPieces, initialise } from './page.bundle.mjs';
import { assertWebAssembly } from './same.cjs';

await initialise(fs.readFileSync('node_modules/vortena-reader/wasm/vortena.wasm'));
await assertWebAssembly({ convert, csvPieces });
