// The overview: throughput and load, the times, the errors of what the run was about, one over the other on one
// time axis.

import {offerPicture} from './exports.js';
import {momentOf, number, percent, withUnit} from './format.js';
import {interruptionsAt, notesAt, paintMarks, paintSaturation} from './marks.js';
import {kindText, spanText} from './remarks.js';
import {flowSeries, percentileSeries, valueSeries} from './run.js';
import {axisLook, fromZero, indexAt, LEFT_AXIS, partedSeries, seriesOf, ticksWith, timeAxis, timeOptions, TimePlot, withinSpan} from './timeplots.js';

const RIGHT_AXIS = 44;
const HEIGHTS = {throughput: 108, times: 90, errors: 60, counter: 60, processor: 46};
const AXIS_HEIGHT = 26;
const LABEL_ROOM_BELOW = 6;  // half of the height of a label at zero

const added = (one, other) => one.map((value, i) => (value === null ? (other?.[i] ?? null) : value + (other?.[i] ?? 0)));

// Per second, null where the run has no slice.
function rateOf(run, name) {
  return name ? flowSeries(run, name.course, false).mean : null;
}

// A name that comes late was 0 before.
const filled = (run, values) => run.grid.slices.map((count, i) => (count > 0 ? (values?.[i] ?? 0) : null));

function ratesOf(run, {times, failed}) {
  const [ok, bad] = [times, failed].map((name) => filled(run, rateOf(run, name)));
  return {rate: added(ok, bad), errors: bad};
}

// Of the failures where nothing succeeded.
function timesOf(run, {times, failed}) {
  const name = times ?? failed;
  const ofWhat = times ? '' : ' of failures';
  if (!name.course.p50) return [{kind: 'p95', label: `mean${ofWhat}`, values: valueSeries(run, name.course).mean}];
  const {p50, p95} = percentileSeries(run, name.course);
  return [{kind: 'p95', label: `p95${ofWhat}`, values: p95}, {kind: 'p50', label: `p50${ofWhat}`, values: p50}];
}

// A lane for each counter; the uppermost has the load.
function counterLanes(run, counters, loads) {
  return counters.map((name, i) => ({
    key: i === 0 ? 'throughput' : `counter-${i}`,
    unit: '/s',
    lines: [{kind: 'throughput', label: `${name.name}/s`, values: filled(run, rateOf(run, name))}, ...(i === 0 ? loads : [])],
  }));
}

// How busy the generator itself was, in per cent of its processors.
function processorLanes({grid, processorShare}) {
  if (!processorShare.some((share) => share !== null)) return [];
  const values = grid.slices.map((_, i) => (processorShare[i] === null || processorShare[i] === undefined ? null : 100 * processorShare[i]));
  return [{key: 'processor', unit: '%', lines: [{kind: 'processor', label: 'processors of the generator', values}]}];
}

// What there is to draw, as lanes of {key, title, unit, lines}. `work` is null if nothing was timed.
function lanesOf({run, load}, {work, noun, counters, areFailuresTold}) {
  const loads = load ? [{kind: 'load', label: 'load', values: load}] : [];
  if (!work && counters.length > 0) return [...counterLanes(run, counters, loads), ...processorLanes(run)];
  if (!work) return [...(loads.length > 0 ? [{key: 'throughput', unit: '', lines: loads}] : []), ...processorLanes(run)];
  const {rate, errors} = ratesOf(run, work);
  const times = timesOf(run, work);
  return [
    {key: 'throughput', unit: '/s', lines: [{kind: 'throughput', label: `${noun}/s`, values: rate}, ...loads]},
    {key: 'times', unit: (work.times ?? work.failed).unit, lines: times},
    ...(areFailuresTold ? [{key: 'errors', unit: '/s', lines: [{kind: 'errors', label: 'errors/s', values: errors, attempts: rate}]}] : []),
    ...processorLanes(run),
  ];
}

class Lane extends TimePlot {
  constructor(lane, isLast, describe) {
    super();
    this.lane = lane;
    this.isLast = isLast;
    this.describeAt = describe;
    this.height = (HEIGHTS[lane.key] ?? HEIGHTS.counter) + (isLast ? AXIS_HEIGHT : 0);
  }

  show(lane, view) {
    this.lane = lane;
    this.view = view;
  }

  data(view) {
    return [view.times, ...this.lane.lines.map(({values}) => withinSpan(values, view))];
  }

  options(view) {
    const hasLoad = this.lane.lines.some(({kind}) => kind === 'load');
    const common = timeOptions(this.height, view, hasLoad ? 0 : RIGHT_AXIS);
    const look = axisLook(view.colours);
    const time = this.isLast ? timeAxis(view) : {...timeAxis(view), size: 0, values: () => [], ticks: {show: false}};
    const load = {...look, side: 1, scale: 'load', size: RIGHT_AXIS, space: 22, grid: {show: false}, stroke: view.colours.load, values: ticksWith('')};
    const [top, right, , left] = common.padding;
    return {
      ...common,
      padding: [top, right, this.isLast ? 0 : LABEL_ROOM_BELOW, left],
      scales: {...common.scales, y: {range: this.lane.unit === '%' ? [0, 100] : fromZero}, load: {range: fromZero}},
      legend: {show: false},
      series: partedSeries(this.lane.lines.map((line) => seriesOf(line, view.colours)), this),
      axes: [time, {...look, space: 22, size: LEFT_AXIS, values: ticksWith(this.lane.unit)}, ...(hasLoad ? [load] : [])],
      hooks: {...common.hooks, drawClear: [(chart) => this.paintMarks(chart)]},
    };
  }

  paintMarks(chart) {
    paintMarks(chart, this.view, this.lane.key === 'throughput');
    if (this.lane.key === 'processor') paintSaturation(chart, this.view);
  }

  describe(left) {
    return this.describeAt(this.chart, left);
  }
}

// The key is an HTML text over each lane, so that it can be read aloud and copied.
function keyOf({lines, unit}, colours) {
  const key = document.createElement('p');
  key.className = 'key';
  for (const line of lines) {
    const text = document.createElement('span');
    text.className = 'u-label';
    text.style.setProperty('--mark', seriesOf(line, colours).stroke);
    text.classList.toggle('dashed', line.kind === 'load');
    text.textContent = line.kind === 'load' ? `${line.label} (right axis)` : line.label + (unit && !unit.startsWith('/') ? `, ${unit}` : '');
    key.append(text);
  }
  return key;
}

export class Overview {
  constructor(place) {
    this.place = place;
    this.plots = [];
    place.parentElement.querySelector('form').append(offerPicture(place.parentElement, 'overview', 'the overview'));
    new ResizeObserver(() => this.resize()).observe(place);
  }

  // `work` is an operation or null, `noun` what its values are called, `counters` those that count most without one.
  show(view, subject) {
    this.view = {...view, width: this.place.clientWidth};
    this.lanes = lanesOf(this.view, subject);
    this.place.parentElement.hidden = this.lanes.length === 0;
    this.view.width = this.place.clientWidth;
    const form = JSON.stringify([view.axis, view.colours, this.lanes.map(({key, lines, unit}) => [key, unit, lines.map(({label}) => label)])]);
    const fits = form === this.form && this.plots.every((plot, i) => plot.update(this.lanes[i], this.view));
    if (fits) this.resize();
    else this.draw();
    this.form = form;
  }

  draw() {
    for (const {chart} of this.plots) chart.destroy();
    this.place.replaceChildren();
    this.plots = this.lanes.map((lane, i) => {
      const place = document.createElement('div');
      place.className = 'plot';
      place.setAttribute('role', 'img');
      place.setAttribute('aria-label', `Overview, ${lane.lines.map(({label}) => label).join(' and ')}`);
      const plot = new Lane(lane, i === this.lanes.length - 1, (chart, left) => this.describe(chart, left));
      // The chart takes its room only after the page was laid out.
      place.style.height = `${plot.height}px`;
      this.place.append(keyOf(lane, this.view.colours), place);
      plot.draw(place, lane, this.view);
      return plot;
    });
  }

  describe(chart, left) {
    const {run, axis, times, colours} = this.view;
    const i = indexAt(chart, this.view, left);
    const marks = [
      ...interruptionsAt(chart, this.view, left).map((each) => [kindText(each), spanText(this.view, each)]),
      ...notesAt(chart, this.view, i, left).map(({text}) => ['note', text]),
    ];
    const hasSlices = run.grid.slices[i] > 0;
    if (!hasSlices && marks.length === 0) return null;
    const lines = (hasSlices ? this.lanes : []).flatMap(({unit, lines: each}) => each.map((line) => ({...line, unit})));
    return {
      title: momentOf(axis, times[i]),
      rows: [
        ...lines.map(({kind, label, values, unit, attempts}) => [label, this.valueText(values[i], unit, attempts?.[i]), seriesOf({kind}, colours).stroke]),
        ...marks,
      ],
    };
  }

  valueText(value, unit, attempts) {
    const text = unit.startsWith('/') ? number(value) : withUnit(value, unit);
    return attempts > 0 && value > 0 ? `${text} (${percent(value / attempts)})` : text;
  }

  resize() {
    const width = this.place.clientWidth;
    if (width === 0) return;
    for (const {chart} of this.plots) if (chart.width !== width) chart.setSize({width, height: chart.height});
  }
}
