// Plots over time: lines, and the heat map.

import uPlot from 'uplot';
import {clockTick, elapsed, momentOf, number, tick, withUnit} from './format.js';
import {HeatMap} from './heatmap.js';
import {columnBegin, flowSeries, percentileSeries, valueSeries} from './run.js';
import {offerTooltip} from './tooltip.js';

const VALUE_HEIGHT = 190;
const FLOW_HEIGHT = 120;
const HEAT_HEIGHT = 170;
export const LEFT_AXIS = 58;
const LABEL_ROOM = 30;  // half of the last label of the time axis
const TICK_DISTANCE = 24;
const CLOCK_LABEL = 70;

const ELAPSED_STEPS = [0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800];

// Those that are too long for an axis.
const SHORT_UNITS = {bytes: 'B'};

// The uppermost mark has the unit.
export function ticksWith(fullUnit) {
  const unit = SHORT_UNITS[fullUnit] ?? fullUnit;
  return (_, splits) => {
    const last = splits.findLastIndex((value) => value !== null);
    return splits.map((value, i) => (i === last && unit ? `${tick(value)} ${unit}` : tick(value)));
  };
}

export function axisLook(colours) {
  const lines = {stroke: colours.grid, width: 1};
  return {stroke: colours.faint, grid: lines, ticks: lines, font: '11px system-ui, sans-serif'};
}

export function fromZero(_, least, most) {
  if (least === null || (least >= 0 && most === 0)) return [0, 1];
  const [low, high] = uPlot.rangeNum(Math.min(least, 0), Math.max(most, 0), 0.1, true);
  return [least >= 0 ? 0 : low, high];
}

// No mark lies within a slice.
function elapsedSteps({run: {sliceLength}}) {
  const steps = ELAPSED_STEPS.filter((step) => step >= sliceLength);
  return steps.length > 0 ? steps : [sliceLength];
}

export function timeAxis({axis, colours, run}) {
  const elapsedTicks = {incrs: elapsedSteps(run), values: (_, splits) => splits.map(elapsed)};
  const clockTicks = {space: CLOCK_LABEL, values: (_, splits, axisIndex, space, step) => splits.map((moment) => clockTick(moment, step))};
  return {...axisLook(colours), size: 26, ...(axis === 'clock' ? clockTicks : elapsedTicks)};
}

// A drag over the plot chooses what all charts show.
function zoomed(chart, onZoom) {
  const {left, width} = chart.select;
  chart.setSelect({left: 0, top: 0, width: 0, height: 0}, false);
  if (width > 0) onZoom([chart.posToVal(left, 'x'), chart.posToVal(left + width, 'x')]);
}

// What all plots over time have in common.
export function timeOptions(height, view, room = LABEL_ROOM) {
  return {
    width: view.width,
    height,
    padding: [8, room, 0, 0],
    scales: {x: {time: view.axis === 'clock'}},
    cursor: {sync: {key: 'time'}, drag: {x: true, y: false, setScale: false}, y: false},
    hooks: {setSelect: [(chart) => zoomed(chart, view.onZoom)]},
  };
}

// The values of what is looked at: a point is at the end of its slices, so that the one before is at the edge. A line
// that begins behind a gap begins where its slices do, since it would leave out more than is missing otherwise. Infinite
// values have no place.
export function withinSpan(values, {buckets: [from, to], run: {grid: {slices}}}) {
  const drawn = values.map((value, i) => (i >= from && i < to && Number.isFinite(value) ? value : null));
  return drawn.map((value, i) => (i > 0 && i >= from && slices[i] === 0 ? (drawn[i + 1] ?? null) : value));
}

// Series of a plot of `withinSpan`. Where a line begins behind a gap is no value of its own, and after a single missing
// slice nothing is left between the lines to part them.
export function partedSeries(series, plot) {
  const isMissing = (i) => plot.view.run.grid.slices[i] === 0;
  const gaps = (chart, at, from, to, wide) => {
    const isThere = (i) => chart.data[at][i] !== null && chart.data[at][i] !== undefined;
    const place = (i) => chart.valToPos(chart.data[0][i], 'x', true);
    const single = [...chart.data[0].keys()].slice(from + 1, to + 1).filter((i) => isMissing(i) && isThere(i) && isThere(i - 1));
    return [...wide, ...single.map((i) => [place(i - 1), place(i)])].sort(([a], [b]) => a - b);
  };
  return [{}, ...series.map((each) => ({...each, gaps, points: {...each.points, ...(each.points.filter ? {filter: pointsOf(isMissing)} : {})}}))];
}

// The point of what is looked at that is next to this place of the chart.
export const indexAt = (chart, {buckets: [from, to]}, left) => Math.min(Math.max(chart.posToIdx(left), from), to - 1);

// A plot has: `title`, `height`, `show(name, view)`, `options(view)` and `data(view)`.
export class TimePlot {
  draw(place, name, view) {
    this.show(name, view);
    this.chart = new uPlot(this.options(view), this.data(view), place);
    this.chart.over.addEventListener('dblclick', () => this.view.onZoom(null));
    this.showSpan(view);
    offerTooltip(this.chart.over, (left, top) => this.describe(left, top));
  }

  // From the beginning of the first slice on, not from its end, where its point is.
  showSpan({span: [min, max]}) {
    this.chart.setScale('x', {min, max});
  }

  // New data in the chart that is there; the reader's cursor stays. False if it does not fit.
  update(name, view) {
    this.show(name, view);
    const data = this.data(view);
    if (this.chart.series.length !== data.length) return false;
    this.chart.setData(data, false);
    this.showSpan(view);
    return true;
  }
}

// Lines of {kind, label, values}, the values of which have the unit.
class LinePlot extends TimePlot {
  constructor(title, height, unit, linesOf) {
    super();
    this.title = title;
    this.height = height;
    this.unit = unit;
    this.linesOf = linesOf;
  }

  show(name, view) {
    this.name = name;
    this.view = view;
    this.lines = this.linesOf(view.run, name);
  }

  data(view) {
    return [view.times, ...this.lines.map(({values}) => withinSpan(values, view))];
  }

  options(view) {
    const common = timeOptions(this.height, view);
    const max = this.lines.findIndex(({kind}) => kind === 'edge') + 1;
    return {
      ...common,
      scales: {...common.scales, y: {range: fromZero}},
      legend: {show: this.lines.length > 1, live: false},
      series: partedSeries(this.lines.map((line) => seriesOf(line, view.colours)), this),
      bands: max > 0 ? [{series: [max, max + 1], fill: view.colours.band}] : [],
      axes: [timeAxis(view), {...axisLook(view.colours), size: LEFT_AXIS, values: ticksWith(this.unit)}],
    };
  }

  describe(left) {
    const i = indexAt(this.chart, this.view, left);
    if (!(this.view.run.grid.slices[i] > 0)) return null;
    const rows = this.lines.map(({kind, label, values}) => [label, withUnit(values[i], this.unit), looksOf(kind, this.view.colours).stroke]);
    return {title: momentOf(this.view.axis, this.view.times[i]), rows: [...rows, ...this.rowsBeside(i)]};
  }

  rowsBeside(i) {
    const {load} = this.view;
    return load && !this.name.isLevel ? [['load', number(load[i])]] : [];
  }
}

// Values between gaps, which no line shows. What is undefined is the time of another line.
function loneValues(chart, series, isMissing) {
  const own = chart.data[series].map((value, i) => [isMissing(i) ? null : value, i]).filter(([value]) => value !== undefined);
  const isNothing = (i) => (own[i]?.[0] ?? null) === null;
  return own.filter((_, i) => !isNothing(i) && isNothing(i - 1) && isNothing(i + 1)).map(([, i]) => i);
}

const valuesThere = (chart, series, isMissing) => [...chart.data[series].keys()].filter((i) => (chart.data[series][i] ?? null) !== null && !isMissing(i));

// Every value is a point where there is room for them.
const pointsOf = (isMissing) => (chart, series, hasRoom) => (hasRoom ? valuesThere : loneValues)(chart, series, isMissing);
export const points = {filter: pointsOf(() => false)};

function looksOf(kind, colours) {
  const looks = {
    load: {scale: 'load', stroke: colours.load, width: 1.5, dash: [4, 3], points: {show: false}},
    edge: {stroke: colours.edge, width: 1, points: {show: false}},
    mean: {stroke: colours.accent, width: 1.5, points},
    throughput: {stroke: colours.accent, width: 1.75, points},
    errors: {stroke: colours.bad, width: 1.5, fill: `${colours.bad}38`, points},
    processor: {stroke: colours.maximum, width: 1.5, fill: `${colours.maximum}30`, points},
    p50: {stroke: colours.accent, width: 1.75, points},
    p95: {stroke: colours.p95, width: 1.5, points},
    p99: {stroke: colours.p99, width: 1.5, points},
    maximum: {stroke: colours.maximum, width: 1, points},
  };
  return looks[kind];
}

export const seriesOf = ({kind, label}, colours) => ({...looksOf(kind, colours), label});

// What a plot of least, mean and most draws, from the back to the front.
function bandedLines(title, {least, mean, most}) {
  const isBand = least.some((value, i) => value !== most[i]);
  return [
    ...(isBand ? [{kind: 'edge', label: 'max', values: most}, {kind: 'edge', label: 'min', values: least}] : []),
    {kind: 'mean', label: isBand ? 'mean' : title, values: mean},
  ];
}

function percentileLines(run, {course}) {
  const {p50, p95, p99, maximum} = percentileSeries(run, course);
  return [
    {kind: 'maximum', label: 'max', values: maximum},
    {kind: 'p99', label: 'p99', values: p99},
    {kind: 'p95', label: 'p95', values: p95},
    {kind: 'p50', label: 'p50', values: p50},
  ];
}

class PercentilePlot extends LinePlot {
  constructor(title, unit) {
    super(title, VALUE_HEIGHT, unit, percentileLines);
  }

  rowsBeside(i) {
    return [['count', number(this.name.course.count[i] ?? 0)], ...super.rowsBeside(i)];
  }
}

class HeatPlot extends TimePlot {
  height = HEAT_HEIGHT;

  constructor(unit) {
    super();
    this.title = unit ? `distribution, ${unit}` : 'distribution';
  }

  draw(place, name, view) {
    super.draw(place, name, view);
    this.key = document.createElement('p');
    this.key.className = 'heat-key';
    place.append(this.key);
    this.showKey();
  }

  update(name, view) {
    const fits = super.update(name, view);
    this.showKey();
    return fits;
  }

  show(name, view) {
    this.unit = name.unit;
    this.view = view;
    this.map = new HeatMap(name.heat);
    this.picture = this.map.picture(view.shades);
  }

  showKey() {
    const strip = document.createElement('i');
    this.key.replaceChildren('1', strip, `${number(this.map.most)} values in a cell`);
  }

  data({times}) {
    return [times, times.map(() => null)];
  }

  options(view) {
    const common = timeOptions(this.height, view);
    const look = axisLook(view.colours);
    return {
      ...common,
      legend: {show: false},
      scales: {...common.scales, y: {range: () => [0, Math.max(1, this.map.rows.length)]}},
      series: [{}, {points: {show: false}}],
      axes: [timeAxis(view), {
        ...look,
        size: LEFT_AXIS,
        splits: () => this.ticks().map(([, position]) => position),
        values: () => ticksWith(this.unit)(null, this.ticks().map(([value]) => value)),
      }],
      hooks: {...common.hooks, draw: [(chart) => this.paint(chart)]},
    };
  }

  ticks() {
    return this.map.rows.length === 0 ? [] : this.map.ticks(Math.floor(this.height / TICK_DISTANCE));
  }

  beginOf(column) {
    return columnBegin(this.view.run, this.view.axis, column);
  }

  paint(chart) {
    const {ctx, bbox} = chart;
    const {columns, rows} = this.map;
    const left = chart.valToPos(this.beginOf(0), 'x', true);
    const right = chart.valToPos(this.beginOf(columns.length), 'x', true);
    const top = chart.valToPos(rows.length, 'y', true);
    const bottom = chart.valToPos(0, 'y', true);
    ctx.save();
    ctx.beginPath();
    ctx.rect(bbox.left, bbox.top, bbox.width, bbox.height);
    ctx.clip();
    ctx.imageSmoothingEnabled = false;
    ctx.drawImage(this.picture, left, top, right - left, bottom - top);
    ctx.restore();
  }

  describe(left, top) {
    const seconds = this.beginOf(1) - this.beginOf(0);
    const column = Math.floor((this.chart.posToVal(left, 'x') - this.beginOf(0)) / seconds);
    const row = this.map.rows[Math.floor(this.chart.posToVal(top, 'y'))];
    if (!this.map.columns[column] || row === undefined) return null;
    const count = this.map.columns[column].get(row) ?? 0;
    const share = count > 0 ? ` (${number((100 * count) / this.map.totals[column])} %)` : '';
    const {axis} = this.view;
    return {
      title: `${momentOf(axis, this.beginOf(column))} – ${momentOf(axis, this.beginOf(column + 1))}`,
      rows: [['values', this.rangeText(row)], ['count', number(count) + share]],
    };
  }

  rangeText(row) {
    const [low, high] = this.map.boundsOf(row);
    return low === high ? withUnit(low, this.unit) : `${number(low)} – ${withUnit(high, this.unit)}`;
  }
}

// The plots of a name over time.
export function timePlots({course, unit, isLevel, heat}) {
  const values = unit || 'value';
  const flow = isLevel ? 'level' : 'per second';
  const plots = [];
  if (course.p50) plots.push(new PercentilePlot(values, unit));
  else if (course.count) plots.push(new LinePlot(values, VALUE_HEIGHT, unit, (run, name) => bandedLines(values, valueSeries(run, name.course))));
  if (heat) plots.push(new HeatPlot(unit));
  if (course.flow) {
    const height = plots.length > 0 ? FLOW_HEIGHT : VALUE_HEIGHT;
    plots.push(new LinePlot(flow, height, isLevel ? '' : '/s', (run, name) => bandedLines(flow, flowSeries(run, name.course, name.isLevel))));
  }
  return plots;
}
