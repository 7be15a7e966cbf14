// The cumulative distribution of a name over the run. Shares of values are spread so that each step
// towards the slowest ones, from 90 to 99 and to 99.9 %, is as wide; values are on a logarithmic axis.

import uPlot from 'uplot';
import {number, withUnit} from './format.js';
import {atMost} from './run.js';
import {logTicks} from './scale.js';
import {axisLook, fromZero, LEFT_AXIS, ticksWith} from './timeplots.js';
import {offerTooltip} from './tooltip.js';

const HEIGHT = 170;
const MOST_TICKS = 6;
export const MARKS = [50, 90, 95, 99, 99.9];

export const positionOf = (rank) => -Math.log10(1 - rank);
const sameRank = (a, b) => Math.abs(a - b) < 1e-9;

// Where the marks are among the ranks.
export const marksIn = (ranks) => MARKS.map((mark) => ranks.findIndex((rank) => sameRank(rank, mark / 100)));

// The value at a rank. Those that are left out at the end equal the last one.
export const valueAtRank = (values, i, maximum) => atMost(values[Math.min(i, values.length - 1)], maximum);

export const shareText = (rank) => `${Number((100 * rank).toPrecision(4))} % of the values`;

// The values at the marks, and the largest one; after `heading`, which may be missing.
export function keyOf(heading, figures) {
  const key = document.createElement('p');
  key.className = 'marks';
  const spans = figures.map(([label, value]) => {
    const figure = document.createElement('span');
    const text = document.createElement('b');
    text.textContent = number(value);
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

  // It is that of the whole run whatever part is looked at.
  constructor(isPart) {
    this.title = `cumulative distribution${isPart ? ' of the whole run' : ''}, % of all values`;
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

  show(name, {run}) {
    this.name = name;
    this.ranks = run.ranks;
    this.marks = marksIn(run.ranks);
  }

  valueAt(i) {
    return valueAtRank(this.name.cumulative, i, this.name.figures.max);
  }

  isLogarithmic() {
    return this.name.cumulative[0] > 0;
  }

  data() {
    return [this.ranks.map(positionOf), this.ranks.map((_, i) => this.valueAt(i))];
  }

  newKey() {
    return keyOf(null, [...MARKS.map((mark, i) => [`p${mark}`, this.valueAt(this.marks[i])]), ['max', this.name.figures.max]]);
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
      rows: [['at most', withUnit(this.valueAt(i), unit)], ['max', withUnit(this.name.figures.max, unit)], ['count', number(this.name.figures.count)]],
    };
  }
}
