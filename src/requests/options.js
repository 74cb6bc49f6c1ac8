// The options of a function, taken from what its caller hands in. Nothing passes unnoticed: a member that is unknown or of
// a wrong kind is a TypeError that names it.
'use strict';

/** How many letters have to be added, taken away or changed to make one name of the other. */
function distance(one, other) {
  let row = Array.from({ length: other.length + 1 }, (_, k) => k);
  for (const [i, letter] of [...one].entries()) {
    const above = row;
    row = [i + 1];
    for (let k = 0; k < other.length; k += 1) {
      row.push(Math.min(row[k] + 1, above[k + 1] + 1, above[k] + (letter === other[k] ? 0 : 1)));
    }
  }
  return row.at(-1);
}

/** The one of `names` that was probably meant. */
function nearest(given, names) {
  const misses = names.map((name) => ({ name, letters: distance(given.toLowerCase(), name.toLowerCase()) }));
  const [best] = misses.sort((a, b) => a.letters - b.letters);
  return best && best.letters <= Math.ceil(Math.max(given.length, best.name.length) / 3) ? best.name : undefined;
}

function refuseUnknown(name, names, called) {
  const meant = nearest(name, names);
  const advice = meant ? `did you mean ${meant}?` : `these are: ${names.join(', ')}`;
  throw new TypeError(`options.${name} is no option of ${called}; ${advice}`);
}

/**
 * All options by their names. `described` has those that `called`, the name of a function, takes: each a `test` of a value
 * that is given, the `sentence` for one that fails, and a `fallback`. `take`, where there is one, makes what counts of a
 * value, given or not. Tests, sentences and takes get `context` as well.
 */
function takeOptions(called, described, given, context) {
  if (typeof given !== 'object' || given === null) {
    throw new TypeError('options is not an object');
  }
  const names = Object.keys(described);
  const unknown = Object.keys(given).find((name) => !names.includes(name));
  if (unknown !== undefined) {
    refuseUnknown(unknown, names, called);
  }
  const takeOne = ([name, { test, sentence, fallback, take = (value) => value ?? fallback }]) => {
    const value = given[name];
    if (value !== undefined && !test(value, context)) {
      throw new TypeError(`options.${name} ${typeof sentence === 'function' ? sentence(value, context) : sentence}`);
    }
    return [name, take(value, context)];
  };
  return Object.fromEntries(Object.entries(described).map(takeOne));
}

module.exports = { takeOptions };
