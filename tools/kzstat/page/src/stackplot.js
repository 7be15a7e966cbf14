// Counters of one kind over each other: how often each outcome came, and how often all did.

import {momentOf, number, percent} from './format.js';
import {meaningOf, rankOf} from './outcomes.js';
import {flowSeries} from './run.js';
import {axisLook, fromZero, indexAt, LEFT_AXIS, partedSeries, ticksWith, timeAxis, timeOptions, TimePlot, withinSpan} from './timeplots.js';

const HEIGHT = 190;
const OTHERS = 5;
// Members of one meaning differ by how much of the panel shows through.
const OPACITIES = ['ff', 'a8', '70', '48'];

function coloursOf(labels, colours) {
  const seen = new Map();
  let others = 0;
  return labels.map((label) => {
    const meaning = meaningOf(label);
    if (!meaning) return colours[`other-${(others++ % OTHERS) + 1}`];
    const position = seen.get(meaning) ?? 0;
    seen.set(meaning, position + 1);
    return colours[meaning] + OPACITIES[Math.min(position, OPACITIES.length - 1)];
  });
}

export class StackPlot extends TimePlot {
  height = HEIGHT;
  title = 'per second, over each other';

  constructor(prefix) {
    super();
    this.prefix = prefix;
  }

  // `names` are the members.
  show(names, view) {
    this.view = view;
    const labelOf = ({name}) => name.slice(this.prefix.length + 1);
    const members = [...names].sort((a, b) => rankOf(labelOf(a)) - rankOf(labelOf(b)));
    this.labels = members.map(labelOf);
    this.rates = members.map(({course}) => {
      const {mean} = flowSeries(view.run, course, false);
      return view.run.grid.slices.map((count, i) => (count > 0 ? (mean[i] ?? 0) : null));
    });
  }

  // From the sum of all down to the first one alone; bands fill what lies between them.
  data(view) {
    let below = view.times.map(() => 0);
    const sums = this.rates.map((rates) => (below = rates.map((rate, i) => (rate === null ? null : rate + (below[i] ?? 0)))));
    return [view.times, ...sums.reverse().map((values) => withinSpan(values, view))];
  }

  options(view) {
    const common = timeOptions(this.height, view);
    const fills = coloursOf(this.labels, view.colours);
    const series = this.labels.map((label) => ({label, stroke: view.colours.panel, width: 1, points: {show: false}}));
    series[0].fill = fills[0];
    const count = this.labels.length;
    return {
      ...common,
      scales: {...common.scales, y: {range: fromZero}},
      legend: {show: true, live: false, markers: {fill: (chart, i) => fills[count - i], width: 0}},
      series: partedSeries(series.reverse(), this),
      bands: fills.slice(1).map((fill, i) => ({series: [count - 1 - i, count - i], fill})),
      axes: [timeAxis(view), {...axisLook(view.colours), size: LEFT_AXIS, values: ticksWith('/s')}],
    };
  }

  describe(left) {
    const i = indexAt(this.chart, this.view, left);
    if (!(this.view.run.grid.slices[i] > 0)) return null;
    const total = this.rates.reduce((sum, rates) => sum + rates[i], 0);
    const fills = coloursOf(this.labels, this.view.colours);
    const rows = this.labels.map((label, at) => [label, `${number(this.rates[at][i])}/s${total > 0 ? ` (${percent(this.rates[at][i] / total)})` : ''}`, fills[at]]);
    return {title: momentOf(this.view.axis, this.view.times[i]), rows: [...rows.reverse(), ['all', `${number(total)}/s`]]};
  }
}
