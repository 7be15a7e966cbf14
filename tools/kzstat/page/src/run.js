// The data of a run, and what is drawn of it. Buckets of neighbouring slices carry the least and
// the most of their slices, so that nothing that stood out is lost.

// Puts the buckets of an update in place of those that it begins with.
function spliced(old, from, fresh) {
  const kept = old.slice(0, from);
  while (kept.length < from) kept.push(null);
  return kept.concat(fresh);
}

function splicedCourse(old, from, fresh) {
  const course = {};
  for (const [field, values] of Object.entries(fresh)) course[field] = spliced(old?.[field] ?? [], from, values);
  return course;
}

// A name without new values comes without these.
function updatedDistributions(old, {heat, cumulative}) {
  if (!heat) return {heat: old?.heat, cumulative: old?.cumulative};
  return {heat: {...heat, columns: spliced(old?.heat?.columns ?? [], heat.from, heat.columns)}, cumulative};
}

function updatedName(old, name, from) {
  return {...name, course: splicedCourse(old?.course, from, name.course), ...updatedDistributions(old, name)};
}

// The run with an update applied to it. An update from the first bucket on is a whole run.
export function updated(run, update) {
  const {from} = update.grid;
  if (from === 0) return update;
  const known = new Map(run.names.map((name) => [name.name, name]));
  return {
    ...update,
    grid: {...update.grid, from: 0, slices: spliced(run.grid.slices, from, update.grid.slices)},
    load: splicedCourse(run.load, from, update.load),
    names: update.names.map((name) => updatedName(known.get(name.name), name, from)),
  };
}

// The moments at which the buckets end, in seconds.
export function times(run, axis) {
  const {first, width, slices} = run.grid;
  const begin = axis === 'clock' ? run.run.startTime : 0;
  return slices.map((_, i) => begin + Math.min((first + (i + 1) * width) * run.run.sliceLength, run.elapsed));
}

// When the first bucket begins and the last one ends, in seconds.
export function wholeSpan(run, axis) {
  const begin = axis === 'clock' ? run.run.startTime : 0;
  const first = begin + run.grid.first * run.run.sliceLength;
  return [first, Math.max(begin + run.elapsed, first + run.run.sliceLength)];
}

const perSlice = (values, slices) => slices.map((count, i) => (count > 0 ? (values[i] ?? null) : null));
const scaled = (values, factor) => values.map((value) => (value === null ? null : value * factor));

// When a column of the heat maps begins, in seconds.
export function columnBegin(run, axis, column) {
  const {first, width, columnWidth} = run.grid;
  const begin = axis === 'clock' ? run.run.startTime : 0;
  return begin + (first + column * columnWidth * width) * run.run.sliceLength;
}

// Percentiles come rounded, the maximum does not.
export const atMost = (value, maximum) => (value > maximum && maximum !== null ? maximum : value);

// Percentiles and the maximum of the values reported.
export function percentileSeries(run, course) {
  const maximum = perSlice(course.maximum, run.grid.slices);
  const [p50, p95, p99] = ['p50', 'p95', 'p99'].map((field) => perSlice(course[field], run.grid.slices).map((value, i) => atMost(value, maximum[i])));
  return {p50, p95, p99, maximum};
}

// Least, mean and most of the values reported; null where the kind has none.
export function valueSeries(run, course) {
  if (!course.count) return null;
  const {slices} = run.grid;
  const mean = slices.map((_, i) => (course.count[i] > 0 && course.sum[i] !== null ? course.sum[i] / course.count[i] : null));
  return {least: perSlice(course.minimum, slices), mean, most: perSlice(course.maximum, slices)};
}

// The same of what flows through a slice, per second, or of a level, which comes as its mean.
export function flowSeries(run, course, isLevel) {
  if (!course.flow) return null;
  const {slices} = run.grid;
  const factor = isLevel ? 1 : 1 / run.run.sliceLength;
  const flow = perSlice(course.flow, slices);
  const mean = isLevel ? flow : flow.map((sum, i) => (sum === null ? null : sum * factor / slices[i]));
  return {
    least: scaled(perSlice(course.leastFlow, slices), factor),
    mean,
    most: scaled(perSlice(course.mostFlow, slices), factor),
  };
}

export function loadSeries(run) {
  const series = flowSeries(run, run.load, true);
  return series.mean.some((value) => value !== null) ? series.mean : null;
}

export function peakLoad(run) {
  return run.load.mostFlow.reduce((peak, value) => (value !== null && !(peak >= value) ? value : peak), null);
}
