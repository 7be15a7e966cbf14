// Plots of several runs over each other, each in the colour of its side.

import uPlot from 'uplot';
import {keyOf, MARKS, marksIn, positionOf, rankOptions, shareText, valueAtRank} from '../cumulativeplot.js';
import {elapsed, number, withUnit} from '../format.js';
import {hatchInterruptions, interruptionsAt} from '../marks.js';
import {kindText, spanText} from '../remarks.js';
import {axisLook, fromZero, LEFT_AXIS, points, ticksWith, timeAxis, timeOptions, TimePlot} from '../timeplots.js';
import {offerTooltip} from '../tooltip.js';

const CUMULATIVE_HEIGHT = 190;
const AXIS_HEIGHT = 26;
const LABEL_ROOM_BELOW = 6;  // half of the height of a label at zero
const DASH = [6, 4];
const HATCH_OPACITY = '80';  // so that the curves stand out
// Of each column that is joined: a gap ends at the next value of its run, whatever times others have between.
const NULL_MODES = [0, 2];

function lookOf({colour, isDashed}, {colours, areThin}) {
  return {stroke: colours[colour], width: areThin ? 1 : 1.75, ...(isDashed ? {dash: DASH} : {})};
}

export function swatchOf(run) {
  const swatch = document.createElement('i');
  swatch.className = 'swatch';
  swatch.style.setProperty('--mark', `var(--${run.colour})`);
  swatch.classList.toggle('dashed', run.isDashed);
  swatch.textContent = run.letter;
  return swatch;
}

// A line over the time since the run's begin: of the slices that lie by more than half before its end.
function tableOf({run: {times, seconds, curves}, values}) {
  const isDrawn = (moment) => moment > 0 && moment - curves.run.sliceLength / 2 < seconds;
  return [times.filter(isDrawn), values.filter((_, i) => isDrawn(times[i]))];
}

// `linesOf(name, view)` gives lines of {run, values}. Without an axis of its own, it stands over another plot.
export class CurvePlot extends TimePlot {
  constructor({title, height, unit, linesOf, hasAxis = true}) {
    super();
    this.title = title;
    this.height = height + (hasAxis ? AXIS_HEIGHT : 0);
    this.unit = unit;
    this.linesOf = linesOf;
    this.hasAxis = hasAxis;
  }

  show(name, view) {
    this.view = view;
    this.lines = this.linesOf(name, view);
  }

  // Runs have slices at times of their own.
  data() {
    return uPlot.join(this.lines.map(tableOf), this.lines.map(() => NULL_MODES));
  }

  options(view) {
    const common = timeOptions(this.height, view);
    const [top, right, bottom, left] = common.padding;
    const time = this.hasAxis ? timeAxis(view) : {...timeAxis(view), size: 0, values: () => [], ticks: {show: false}};
    return {
      ...common,
      padding: [top, right, this.hasAxis ? bottom : LABEL_ROOM_BELOW, left],
      scales: {...common.scales, y: {range: fromZero}},
      legend: {show: false},
      hooks: {...common.hooks, drawClear: [(chart) => this.hatch(chart)]},
      series: [{}, ...this.lines.map(({run}) => ({...lookOf(run, view), points}))],
      axes: [time, {...axisLook(view.colours), space: 22, size: LEFT_AXIS, values: ticksWith(this.unit)}],
    };
  }

  hatch(chart) {
    for (const {run} of this.lines) hatchInterruptions(chart, {run, origin: 0}, `${this.view.colours[run.colour]}${HATCH_OPACITY}`);
  }

  interruptionRows(left) {
    return this.lines.flatMap(({run}) => interruptionsAt(this.chart, {run, origin: 0}, left)
      .map((each) => [`${run.letter} ${kindText(each)}`, spanText({axis: 'elapsed'}, each), this.view.colours[run.colour]]));
  }

  // The value of each run's slice at that moment.
  describe(left) {
    const moment = Math.max(this.chart.posToVal(left, 'x'), 0);
    const told = this.lines.map(({run, values}) => {
      const i = moment > run.seconds ? -1 : run.times.findIndex((end) => end >= moment);
      return i < 0 ? null : {run, end: run.times[i], value: values[i]};
    }).filter((each) => each !== null);
    if (told.length === 0) return null;
    const end = Math.min(...told.map((each) => each.end));
    const rows = told.map(({run, value}) => [`${run.letter} ${run.title}`, this.valueText(value), this.view.colours[run.colour]]);
    return {title: `${elapsed(Math.round(end * 10) / 10)} after the begin`, rows: [...rows, ...this.interruptionRows(left)]};
  }

  valueText(value) {
    return this.unit.startsWith('/') ? `${number(value)} ${this.unit}` : withUnit(value, this.unit);
  }
}

// The cumulative distributions of a name.
export class CumulativeCurvesPlot {
  height = CUMULATIVE_HEIGHT;
  title = 'cumulative distribution, % of all values';

  draw(place, name, view) {
    this.show(name, view);
    this.chart = new uPlot(this.options(view), this.data(), place);
    place.append(...this.lines.map((line) => this.newKey(line)));
    offerTooltip(this.chart.over, (left) => this.describe(this.chart.posToIdx(left)));
  }

  update(name, view) {
    this.show(name, view);
    return true;
  }

  show(name, view) {
    this.view = view;
    this.unit = name.unit;
    this.lines = view.runs.map((run) => ({run, curve: run.curveOf.get(name.name)})).filter(({curve}) => curve?.cumulative);
    this.ranks = this.lines[0].run.curves.ranks;
    this.marks = marksIn(this.ranks);
  }

  valueAt({curve}, i) {
    return valueAtRank(curve.cumulative, i, curve.max);
  }

  data() {
    return [this.ranks.map(positionOf), ...this.lines.map((line) => this.ranks.map((_, i) => this.valueAt(line, i)))];
  }

  options(view) {
    const series = this.lines.map(({run}) => {
      const look = lookOf(run, view);
      return {...look, points: {show: !view.areThin, size: 6, fill: look.stroke, filter: () => this.marks}};
    });
    const isLogarithmic = this.lines.every(({curve}) => curve.cumulative[0] > 0);
    return rankOptions({width: view.width, height: this.height, colours: view.colours, unit: this.unit, isLogarithmic, series});
  }

  newKey(line) {
    const marks = MARKS.map((mark, i) => [`p${mark}`, number(this.valueAt(line, this.marks[i]))]);
    return keyOf(swatchOf(line.run), [...marks, ['max', number(line.curve.max)]]);
  }

  describe(i) {
    const rows = this.lines.map((line) => [`${line.run.letter} ${line.run.title}`, withUnit(this.valueAt(line, i), this.unit), this.view.colours[line.run.colour]]);
    return {title: `${shareText(this.ranks[i])} are at most`, rows};
  }
}
