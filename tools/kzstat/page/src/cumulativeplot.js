// The cumulative distribution of a name over the run, or over the part that is looked at. Shares of values are spread
// so that each step towards the slowest ones, from 90 to 99 and to 99.9 %, is as wide; values are on a logarithmic axis.

import uPlot from 'uplot';
import {approximated} from './figurecolumns.js';
import {number, withUnit} from './format.js';
import {atMost} from './run.js';
import {logTicks} from './scale.js';
import {boundsOfRanks, middle} from './spanfigures.js';
import {axisLook, fromZero, LEFT_AXIS, ticksWith} from './timeplots.js';
import {offerTooltip} from './tooltip.js';

const HEIGHT = 170;
const MOST_TICKS = 6;
export const MARKS = [50, 90, 95, 99, 99.9];

export const positionOf = (rank) => -Math.log10(1 - rank);
const sameRank = (a, b) => Math.abs(a - b) < 1e-9;

// Where the marks are among the ranks.
export const marksIn = (ranks) => MARKS.map((mark) => ranks.findIndex((rank) => sameRank(rank, mark / 100)));

// The value at a rank. Those that are left out at the end equal the last one. Null if there are no values.
export const valueAtRank = (values, i, maximum) => (values.length === 0 ? null : atMost(values[Math.min(i, values.length - 1)], maximum));

export const shareText = (rank) => `${Number((100 * rank).toPrecision(4))} % of the values`;

// Figures of [label, text], behind `heading`, which may be missing.
export function keyOf(heading, figures) {
  const key = document.createElement('p');
  key.className = 'marks';
  const spans = figures.map(([label, figureText]) => {
    const figure = document.createElement('span');
    const text = document.createElement('b');
    text.textContent = figureText;
    figure.append(`${label} `, text);
    return figure;
  });
  key.append(...(heading ? [heading] : []), ...spans);
  return key;
}

// A plot of `series` over positions of ranks. A linear axis of values takes those that are not above zero.
export function rankOptions({width, height, colours, unit, isLogarithmic, series}) {
  const look = axisLook(colours);
  const values = {distr: 3, range: (_, least, most) => (least === most ? [least / 2, most * 2] : [least / 1.05, most * 1.05])};
  return {
    width,
    height,
    padding: [8, 22, 0, 0],
    legend: {show: false},
    cursor: {y: false, drag: {x: false, y: false}},
    scales: {x: {time: false}, y: isLogarithmic ? values : {range: fromZero}},
    series: [{}, ...series],
    axes: [
      {...look, size: 26, splits: () => MARKS.map((mark) => positionOf(mark / 100)), values: () => MARKS.map((mark) => `${mark}`)},
      {
        ...look,
        size: LEFT_AXIS,
        values: ticksWith(unit),
        ...(isLogarithmic ? {splits: (_, axis, low, high) => logTicks(low, high, MOST_TICKS), filter: (_, splits) => splits} : {}),
      },
    ],
  };
}

export class CumulativePlot {
  height = HEIGHT;

  // That of a part is known as well as the heat map tells it.
  constructor(isPart) {
    this.title = isPart ? 'cumulative distribution of this part, ≈, % of its values' : 'cumulative distribution, % of all values';
  }

  draw(place, name, view) {
    this.show(name, view);
    this.chart = new uPlot(this.options(view), this.data(), place);
    this.key = this.newKey();
    place.append(this.key);
    offerTooltip(this.chart.over, (left) => this.describe(this.chart.posToIdx(left)));
  }

  update(name, view) {
    const wasLogarithmic = this.isLogarithmic();
    this.show(name, view);
    if (this.isLogarithmic() !== wasLogarithmic) return false;
    this.chart.setData(this.data());
    const key = this.newKey();
    this.key.replaceWith(key);
    this.key = key;
    return true;
  }

  show(name, view) {
    this.name = name;
    this.ranks = view.run.ranks;
    this.figures = view.figuresOf(name);
    this.bounds = view.zoom && boundsOfRanks(view.run, name, view.buckets);
    this.values = view.zoom ? (this.bounds ?? []).map(middle) : name.cumulative;
    this.marks = marksIn(this.ranks);
  }

  valueAt(i) {
    return valueAtRank(this.values, i, this.figures.max);
  }

  isLogarithmic() {
    return this.values[0] > 0;
  }

  data() {
    const values = this.ranks.map((_, i) => this.valueAt(i));
    return [this.ranks.map(positionOf), values.map((value) => (Number.isFinite(value) ? value : null))];
  }

  // Between other values than the one that is told.
  isApproximate(i) {
    const [low, high] = this.bounds?.[i] ?? [];
    return low !== high;
  }

  newKey() {
    const marks = MARKS.map((mark, i) => [`p${mark}`, approximated(number(this.valueAt(this.marks[i])), this.isApproximate(this.marks[i]))]);
    return keyOf(null, [...marks, ['max', number(this.figures.max)]]);
  }

  options({width, colours}) {
    const points = {show: true, size: 7, fill: colours.accent, filter: () => this.marks};
    const series = [{stroke: colours.accent, width: 1.75, points}];
    return rankOptions({width, height: this.height, colours, unit: this.name.unit, isLogarithmic: this.isLogarithmic(), series});
  }

  describe(i) {
    const {unit} = this.name;
    return {
      title: shareText(this.ranks[i]),
      rows: [this.valueRow(i, unit), ['max', withUnit(this.figures.max, unit)], ['count', number(this.figures.count)]],
    };
  }

  valueRow(i, unit) {
    if (!this.isApproximate(i)) return ['at most', withUnit(this.valueAt(i), unit)];
    const [low, high] = this.bounds[i];
    return ['at most, between', `${number(low)} and ${withUnit(high, unit)}`];
  }
}
