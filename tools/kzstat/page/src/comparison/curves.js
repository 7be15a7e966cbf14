// What is drawn of a name in each of the runs: lines of {run, values}, a value for each of the run's times.

import {flowSeries} from '../run.js';

const hasValues = (values) => values.some((value) => value !== null);

function lines(runs, valuesOf) {
  return runs.map((run) => ({run, values: valuesOf(run)})).filter(({values}) => values && hasValues(values));
}

const padded = ({times}, values) => times.map((_, i) => values[i] ?? null);

// Per second, or the level.
export function flowOf(run, name) {
  const course = run.curveOf.get(name.name)?.course;
  return course?.flow ? padded(run, flowSeries(run.curves, course, name.isLevel).mean) : null;
}

export const flowLines = (runs, name) => lines(runs, (run) => flowOf(run, name));

// The 95th percentile where a run has some, else the mean; {label, lines}.
export function valueLines(runs, name) {
  const courses = new Map(runs.map((run) => [run, run.curveOf.get(name.name)?.course ?? {}]));
  const hasPercentiles = [...courses.values()].some(({p95}) => p95);
  const label = hasPercentiles ? 'p95' : 'mean';
  return {label, lines: lines(runs, (run) => courses.get(run)[label] && padded(run, courses.get(run)[label]))};
}

const added = (one, other) => one.map((value, i) => (value === null ? (other?.[i] ?? null) : value + (other?.[i] ?? 0)));

// Per second, of names that a run may lack: 0 then, unless it has no slice.
function filledFlow(run, name) {
  const values = name ? flowOf(run, name) : null;
  return run.times.map((_, i) => (run.curves.grid.slices[i] > 0 ? (values?.[i] ?? 0) : null));
}

// How often work was done, and how often in vain.
export const attemptLines = (runs, {times, failed}) => lines(runs, (run) => added(filledFlow(run, times), filledFlow(run, failed)));
export const rateLines = (runs, name) => lines(runs, (run) => filledFlow(run, name));

export function loadLines(runs) {
  return lines(runs, (run) => padded(run, flowSeries(run.curves, run.curves.load, true).mean));
}
