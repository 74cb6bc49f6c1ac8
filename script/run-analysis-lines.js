// node run-analysis-lines.js PAGE FOLDER: runs the code blocks of a page in FOLDER, where they read recording.csv, and
// compares four figures of what each read with those that the text of the file gives.
'use strict';

const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const [page, folder] = process.argv.slice(2);
const FIGURES = ['rows', 'mean of Gyro Y', 'rows with an orientation', 'pressures'];

const JS_FIGURES = `
const mean = (name) => table.reduce((sum, row) => sum + row[name], 0) / table.length;
console.log(JSON.stringify([table.length, mean('Gyro Y'), oriented.length, table.filter((row) => row.Pressure !== null).length]));`;

const SQL_RUNNER = `
const { DuckDBInstance } = require('@duckdb/node-api');
(async () => {
  const connection = await (await DuckDBInstance.create(':memory:')).connect();
  await connection.run(require('node:fs').readFileSync(0, 'utf8'));
  const figures = await connection.runAndReadAll(\`SELECT count(*), avg("Gyro Y"), (SELECT count(*) FROM oriented),
    count(Pressure) FROM recording\`);
  console.log(JSON.stringify(figures.getRows()[0].map(Number)));
})();`;

const RUNNERS = {
  python: (lines) => [
    '/usr/bin/python3',
    ['-'],
    `${lines}
print([len(table), float(table['Gyro Y'].mean()), len(oriented), int(table['Pressure'].count())])`,
  ],
  r: (lines) => [
    'Rscript',
    ['-'],
    `${lines}
cat(sprintf('[%d, %.12g, %d, %d]', nrow(table), mean(table[['Gyro Y']]), nrow(oriented), sum(!is.na(table$Pressure))))`,
  ],
  js: (lines) => [process.execPath, ['-'], lines + JS_FIGURES],
  sql: (lines) => [process.execPath, ['-e', SQL_RUNNER], lines],
};

/** By the layout of the file alone: names in line 6, rows from line 8 on. */
function expected(text) {
  const lines = text.split('\n').slice(0, -1);
  const at = (name) => lines[5].split(',').indexOf(name);
  const rows = lines.slice(7).map((line) => line.split(','));
  const isOriented = (cells) => cells.slice(at('Quat W'), at('Quat Z') + 1).some((cell) => /[1-9]/.test(cell));
  const sum = rows.reduce((total, cells) => total + Number(cells[at('Gyro Y')]), 0);
  return [rows.length, sum / rows.length, rows.filter(isOriented).length, rows.filter((cells) => cells[at('Pressure')]).length];
}

const wanted = expected(fs.readFileSync(path.join(folder, 'recording.csv'), 'utf8'));
console.log(`recording.csv: ${FIGURES.map((figure, i) => `${figure} ${wanted[i]}`).join(', ')}`);
const blocks = [...fs.readFileSync(page, 'utf8').matchAll(/^### (.*)\n\n```(\w+)\n([^]*?)^```$/gm)];
const run = blocks.filter(([, , language]) => RUNNERS[language]);
for (const [, title, language, lines] of run) {
  const [command, options, input] = RUNNERS[language](lines);
  const { stdout, stderr } = spawnSync(command, options, { cwd: folder, input, encoding: 'utf8' });
  const figures = stdout?.trim().startsWith('[') ? JSON.parse(stdout) : [];
  const agrees = figures.length === wanted.length && figures.every((figure, i) => Math.abs(figure - wanted[i]) < 1e-9);
  console.log(`${title}: ${agrees ? 'the same' : `${stdout}${stderr}`}`);
  process.exitCode = agrees ? process.exitCode : 1;
}
console.log(`${run.length} of ${blocks.length} ways were run`);
if (run.length < 5) process.exitCode = 1;
