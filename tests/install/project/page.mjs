// Goes through esbuild as for a page; the result runs in Node.js, with the module handed in as a page may do.
import { convert, csvPieces, initialise } from 'vortena-reader/wasm';

export { convert, csvPieces, initialise };
