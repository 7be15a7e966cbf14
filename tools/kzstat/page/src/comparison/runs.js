// The runs that are compared, by side: what they are called, how they are coloured, and when each of them begins.

import {times} from '../run.js';

const LETTERS = 'ABCDEFGHIJKLMNOPQRSTUVWXYZ';
const COLOURS = 6;
export const COLOURS_OF_RUNS = Array.from({length: COLOURS}, (_, i) => `run-${i + 1}`);

const letterOf = (i) => LETTERS[i] ?? `R${i + 1}`;
const fileOf = (path) => path.split('/').at(-1);

// The names of files, unless two are alike.
function titlesOf(paths) {
  const files = paths.map(fileOf);
  return new Set(files).size === files.length ? files : paths;
}

// Sides beyond the last colour begin with the first one again, dashed.
const lookOf = (side) => ({colour: COLOURS_OF_RUNS[side % COLOURS], isDashed: side >= COLOURS});

// Those of the time that is compared, in seconds since its begin.
function interruptionsOf({interruptions}, begin, seconds) {
  const within = interruptions.map((each) => ({...each, from: Math.max(each.from - begin, 0), to: Math.min(each.to - begin, seconds)}));
  return within.filter(({from, to}) => from < to);
}

// `interruptionLines` have the times of the run, as all commands tell them.
function runOf({path, completeness, begin, end, interruptions: interruptionLines, curves}, side, letter) {
  const seconds = (end ?? curves.elapsed) - begin;
  return {
    ...lookOf(side),
    side,
    letter,
    path,
    completeness,
    begin,
    curves,
    times: times(curves, 'elapsed').map((moment) => moment - begin),
    seconds,
    interruptions: interruptionsOf(curves, begin, seconds),
    interruptionLines,
    curveOf: new Map(curves.names.map((name) => [name.name, name])),
  };
}

function sideOf({names, runs}, i) {
  const letter = letterOf(i);
  return {
    ...lookOf(i),
    letter,
    names,
    nameOf: new Map(names.map((name) => [name.name, name])),
    runs: runs.map((run, j) => runOf(run, i, runs.length > 1 ? `${letter}${j + 1}` : letter)),
  };
}

// `only` has the side of each name that the other one lacks.
function comparisonOf(comparison, before, after) {
  const namesOf = ({only_here: names}, side) => names.map((name) => [name, side]);
  const only = new Map([...namesOf(comparison.first, before), ...namesOf(comparison.second, after)]);
  return {...comparison, before, after, only};
}

// {sides, runs, comparisons}: each side but the first has a comparison with it.
export function comparedRuns({sides: told, comparisons}) {
  const sides = told.map(sideOf);
  const runs = sides.flatMap((side) => side.runs);
  const titles = titlesOf(runs.map(({path}) => path));
  runs.forEach((run, i) => { run.title = titles[i]; });
  return {
    sides,
    runs,
    comparisons: comparisons.map((comparison, i) => comparisonOf(comparison, sides[0], sides[i + 1])),
  };
}

// The name as the first side that has it tells it.
export function namesOf(sides) {
  const all = new Map();
  for (const {names} of sides) for (const name of names) if (!all.has(name.name)) all.set(name.name, name);
  return [...all.values()];
}
