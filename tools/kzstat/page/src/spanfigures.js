// The figures of a part of a run, which consists of whole buckets.

import {boundsOfRow, cellsOf} from './heatmap.js';
import {atMost} from './run.js';

const PERCENTILES = {p50: 0.5, p95: 0.95, p99: 0.99};

const isThere = (value) => value !== null && value !== undefined;

function sum(values, [from, to]) {
  return (values ?? []).slice(from, to).reduce((total, value) => total + (value ?? 0), 0);
}

function extreme(values, [from, to], better) {
  const those = (values ?? []).slice(from, to).filter(isThere);
  return those.length === 0 ? null : those.reduce((best, value) => (better(value, best) ? value : best));
}

// NaN is no value.
const numberOrNull = (value) => (Number.isNaN(value) ? null : value);

const least = (values, range) => extreme(values, range, (a, b) => a < b);
const most = (values, range) => extreme(values, range, (a, b) => a > b);

export const secondsIn = ({grid, run}, range) => sum(grid.slices, range) * run.sliceLength;
export const slicesIn = ({grid}, range) => sum(grid.slices, range);
export const peakIn = ({load}, range) => most(load.mostFlow ?? load.flow, range);

// Of values without a sum, which are infinities of both signs, there is none.
function mean({count, sum: sums}, range) {
  const isKnown = (_, i) => i < range[0] || i >= range[1] || !(count[i] > 0) || isThere(sums[i]);
  const number = sum(count, range);
  return sums && number > 0 && count.every(isKnown) ? numberOrNull(sum(sums, range) / number) : null;
}

function meanLevel({flow}, {slices}, [from, to]) {
  let [total, weight] = [0, 0];
  for (let i = from; i < to; ++i) {
    if (!isThere(flow[i])) continue;
    total += flow[i] * slices[i];
    weight += slices[i];
  }
  return weight > 0 ? total / weight : null;
}

// How many values each row of the heat map has within the range.
function rowsIn({heat}, {columnWidth}, [from, to]) {
  const rows = new Map();
  for (const column of heat.columns.slice(Math.floor(from / columnWidth), Math.ceil(to / columnWidth)))
    for (const [row, count] of cellsOf(column)) rows.set(row, (rows.get(row) ?? 0) + count);
  return [...rows].sort(([a], [b]) => a - b);
}

// The bounds of the row that a percentile lies in. They are as wide as a row of the heat map.
function boundsOfPercentile(rows, rowHeight, share) {
  const wanted = share * rows.reduce((total, [, count]) => total + count, 0);
  let below = 0;
  for (const [row, count] of rows) {
    below += count;
    if (below >= wanted && below > 0) return boundsOfRow(row, rowHeight);
  }
  return null;
}

// Between which values each rank of the run lies among the values of the range; null if it has none.
export function boundsOfRanks(run, name, range) {
  const rows = rowsIn(name, run.grid, range);
  if (rows.length === 0) return null;
  const maximum = most(name.course.maximum, range);
  return run.ranks.map((rank) => {
    const [low, high] = boundsOfPercentile(rows, name.heat.rowHeight, rank);
    return [low, atMost(high, maximum)];
  });
}

// Between which values the percentiles and the least value lie.
function boundsIn(run, name, range, maximum) {
  if (!name.heat) return {};
  const rows = rowsIn(name, run.grid, range);
  if (rows.length === 0) return {};
  const bounds = Object.entries(PERCENTILES).map(([field, share]) => [field, boundsOfPercentile(rows, name.heat.rowHeight, share)]);
  const all = [['min', boundsOfRow(rows[0][0], name.heat.rowHeight)], ...bounds.filter(([, found]) => found)];
  return Object.fromEntries(all.map(([field, [low, high]]) => [field, [low, atMost(high, maximum)]]));
}

export const middle = ([low, high]) => (low === high ? low : (low + high) / 2);

function flowFigures(course, type, range, seconds) {
  if (!course.flow) return {};
  const total = sum(course.flow, range);
  return {sum: total, rate: seconds > 0 ? total / seconds : null};
}

function levelFigures({course}, grid, range) {
  return {mean: meanLevel(course, grid, range), max: most(course.mostFlow ?? course.flow, range), min: least(course.leastFlow ?? course.flow, range)};
}

function valueFigures(run, name, range) {
  const {course} = name;
  if (!course.count) return {};
  const count = sum(course.count, range);
  const max = most(course.maximum, range);
  const bounds = boundsIn(run, name, range, max);
  return {
    count,
    max,
    min: course.minimum ? least(course.minimum, range) : null,
    mean: mean(course, range),
    ...Object.fromEntries(Object.entries(bounds).map(([field, each]) => [field, middle(each)])),
    bounds: Object.fromEntries(Object.entries(bounds).filter(([, [low, high]]) => low !== high)),
  };
}

// Those that the courses tell of the buckets [from, to). `bounds` has those between which a percentile lies.
// What the whole run has no figure of, a part has none of either; a part without slices has none at all.
function figuresIn(run, name, range) {
  const found = slicesIn(run, range) === 0 ? {} : name.isLevel ? levelFigures(name, run.grid, range)
    : {...flowFigures(name.course, name.type, range, secondsIn(run, range)), ...valueFigures(run, name, range)};
  const told = Object.keys(name.figures).map((field) => [field, isThere(name.figures[field]) ? (found[field] ?? null) : null]);
  return {...Object.fromEntries(told), bounds: found.bounds ?? {}};
}

// The figures of all names in the range; those of the whole run if it is null.
export function figuresOver(run, range) {
  if (!range) return (name) => name.figures;
  const known = new Map();
  return (name) => {
    if (!known.has(name)) known.set(name, figuresIn(run, name, range));
    return known.get(name);
  };
}
