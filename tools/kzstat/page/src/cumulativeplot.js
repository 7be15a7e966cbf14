// The cumulative distribution of a name over the run, or over the part that is looked at. Shares of values are spread so that each step
// towards the slowest ones, from 90 to 99 and to 99.9 %, is as wide; values are on a logarithmic axis.

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
const MARKS = [50, 90, 95, 99, 99.9];

const positionOf = (rank) => -Math.log10(1 - rank);
const sameRank = (a, b) => Math.abs(a - b) < 1e-9;

export class CumulativePlot {
  height = HEIGHT;

  // That of a part is known as well as the heat map tells it.
  constructor(isPart) {
    this.title = isPart ? 'cumulative distribution of this part, ≈, % of its values' : 'cumulative distribution, % of all values';
  }

  draw(place, name, view) {
    this.show(name, view);
    this.chart = new uPlot(this.options(view), this.data(), place);
    this.key = document.createElement('p');
    this.key.className = 'marks';
    place.append(this.key);
    this.showKey();
    offerTooltip(this.chart.over, (left) => this.describe(this.chart.posToIdx(left)));
  }

  update(name, view) {
    const wasLogarithmic = this.isLogarithmic();
    this.show(name, view);
    if (this.isLogarithmic() !== wasLogarithmic) return false;
    this.chart.setData(this.data());
    this.showKey();
    return true;
  }

  show(name, view) {
    this.name = name;
    this.ranks = view.run.ranks;
    this.figures = view.figuresOf(name);
    this.bounds = view.zoom && boundsOfRanks(view.run, name, view.buckets);
    this.values = view.zoom ? (this.bounds ?? []).map(middle) : name.cumulative;
    this.marks = MARKS.map((mark) => this.ranks.findIndex((rank) => sameRank(rank, mark / 100)));
  }

  // Those that are left out at the end equal the last one. Null if there are no values.
  valueAt(i) {
    const {values} = this;
    return values.length === 0 ? null : atMost(values[Math.min(i, values.length - 1)], this.figures.max);
  }

  isLogarithmic() {
    return this.values[0] > 0;
  }

  data() {
    return [this.ranks.map(positionOf), this.ranks.map((_, i) => this.valueAt(i))];
  }

  showKey() {
    const figures = MARKS.map((mark, i) => [`p${mark}`, this.valueAt(this.marks[i])]);
    this.key.replaceChildren(...[...figures, ['max', this.figures.max]].map(([label, value]) => {
      const figure = document.createElement('span');
      const text = document.createElement('b');
      text.textContent = approximated(number(value), label !== 'max' && this.bounds);
      figure.append(`${label} `, text);
      return figure;
    }));
  }

  valueScale() {
    if (!this.isLogarithmic()) return {range: fromZero};
    return {distr: 3, range: (_, least, most) => (least === most ? [least / 2, most * 2] : [least / 1.05, most * 1.05])};
  }

  options({width, colours}) {
    const look = axisLook(colours);
    return {
      width,
      height: this.height,
      padding: [8, 22, 0, 0],
      legend: {show: false},
      cursor: {y: false, drag: {x: false, y: false}},
      scales: {x: {time: false}, y: this.valueScale()},
      series: [{}, {
        stroke: colours.accent,
        width: 1.75,
        points: {show: true, size: 7, fill: colours.accent, filter: () => this.marks},
      }],
      axes: [
        {...look, size: 26, splits: () => MARKS.map((mark) => positionOf(mark / 100)), values: () => MARKS.map((mark) => `${mark}`)},
        {
          ...look,
          size: LEFT_AXIS,
          values: ticksWith(this.name.unit),
          ...(this.isLogarithmic() ? {splits: (_, axis, low, high) => logTicks(low, high, MOST_TICKS), filter: (_, splits) => splits} : {}),
        },
      ],
    };
  }

  describe(i) {
    const {unit} = this.name;
    return {
      title: `${Number((100 * this.ranks[i]).toPrecision(4))} % of the values`,
      rows: [this.valueRow(i, unit), ['max', withUnit(this.figures.max, unit)], ['count', number(this.figures.count)]],
    };
  }
  valueRow(i, unit) {
    if (!this.bounds) return ['at most', withUnit(this.valueAt(i), unit)];
    const [low, high] = this.bounds[i];
    return ['at most, between', `${number(low)} and ${withUnit(high, unit)}`];
  }
}
