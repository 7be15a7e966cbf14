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
    processorShare: spliced(run.processorShare, from, update.processorShare),
    names: update.names.map((name) => updatedName(known.get(name.name), name, from)),
  };
}

const INFINITIES = {'Infinity': Infinity, '-Infinity': -Infinity};

// JSON has texts in place of infinite numbers.
export function withInfinities(run) {
  const mend = (numbers, key) => {
    if (typeof numbers[key] === 'string') numbers[key] = INFINITIES[numbers[key]];
  };
  for (const {figures, course, cumulative} of run.names) {
    for (const field of Object.keys(figures)) mend(figures, field);
    for (const series of [...Object.values(course ?? {}), cumulative ?? []]) for (let i = 0; i < series.length; ++i) mend(series, i);
  }
  return run;
}

export const jsonOf = (run) => JSON.stringify(run, (_, value) => (Math.abs(value) === Infinity && typeof value === 'number' ? String(value) : value));

// The moments at which the buckets end, in seconds.
export function times(run, axis) {
  const {first, width, slices} = run.grid;
  const begin = originOf(run, axis);
  return slices.map((_, i) => begin + Math.min((first + (i + 1) * width) * run.run.sliceLength, run.elapsed));
}

// When the first bucket begins and the last one ends, in seconds.
export function wholeSpan(run, axis) {
  const begin = originOf(run, axis);
  const first = begin + run.grid.first * run.run.sliceLength;
  return [first, Math.max(begin + run.elapsed, first + run.run.sliceLength)];
}

const perSlice = (values, slices) => slices.map((count, i) => (count > 0 ? (values[i] ?? null) : null));
const scaled = (values, factor) => values.map((value) => (value === null ? null : value * factor));

// When the axis begins, in seconds since 1970 or since the start of the run.
export const originOf = (run, axis) => (axis === 'clock' ? run.run.startTime : 0);

// When a bucket begins and ends, in seconds of the axis.
export function bucketBegin(run, axis, bucket) {
  const {first, width} = run.grid;
  return originOf(run, axis) + (first + bucket * width) * run.run.sliceLength;
}

export function bucketEnd(run, axis, bucket) {
  return Math.min(bucketBegin(run, axis, bucket + 1), originOf(run, axis) + run.elapsed);
}

// When a column of the heat maps begins, in seconds.
export const columnBegin = (run, axis, column) => bucketBegin(run, axis, column * run.grid.columnWidth);

// The buckets [from, to) of a span of seconds of the run: whole columns of the heat maps, at least one. All
// buckets if the span is null.
export function bucketsOf(run, span) {
  const {slices, columnWidth} = run.grid;
  if (!span) return [0, slices.length];
  const seconds = columnBegin(run, 'elapsed', 1) - columnBegin(run, 'elapsed', 0);
  const columns = span.map((moment) => (moment - columnBegin(run, 'elapsed', 0)) / seconds);
  const last = Math.max(0, Math.ceil(slices.length / columnWidth) - 1);
  const from = Math.min(Math.max(0, Math.floor(columns[0] + 1e-6)), last);
  const to = Math.max(from + 1, Math.ceil(columns[1] - 1e-6));
  return [from * columnWidth, Math.min(to * columnWidth, slices.length)];
}

// The buckets that the figures of a view are of, as far as whole buckets can be.
export function bucketsOfFigures({run, zoom, buckets: [from, to]}) {
  if (zoom) return [from, to];
  const slicesBefore = Math.ceil(run.figuresFrom / run.run.sliceLength - 1e-6) - run.grid.first;
  return [Math.max(from, Math.floor(slicesBefore / run.grid.width)), to];
}

// The seconds of the run that these buckets cover.
export const spanOf = (run, [from, to]) => [bucketBegin(run, 'elapsed', from), bucketBegin(run, 'elapsed', to)];

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

// The same of what flows through a slice, per second, or of a level, which comes as its mean. Buckets of one slice
// come without extremes.
export function flowSeries(run, course, isLevel) {
  if (!course.flow) return null;
  const {slices} = run.grid;
  const factor = isLevel ? 1 : 1 / run.run.sliceLength;
  const flow = perSlice(course.flow, slices);
  const extremes = (field) => perSlice(slices.map((_, i) => course[field]?.[i] ?? course.flow[i]), slices);
  const mean = isLevel ? flow : flow.map((sum, i) => (sum === null ? null : sum * factor / slices[i]));
  return {
    least: scaled(extremes('leastFlow'), factor),
    mean,
    most: scaled(extremes('mostFlow'), factor),
  };
}

export function loadSeries(run) {
  const series = flowSeries(run, run.load, true);
  return series.mean.some((value) => value !== null) ? series.mean : null;
}
