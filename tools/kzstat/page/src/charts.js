// Charts, a card per name. A chart exists only while its card is near the screen: hundreds of
// canvases would take more memory than a browser has.

import uPlot from 'uplot';
import {clock, elapsed, number} from './format.js';
import {flowSeries, loadSeries, times, valueSeries} from './run.js';

const VALUE_HEIGHT = 190;
const FLOW_HEIGHT = 120;
const LEGEND_HEIGHT = 22;
const HEADING_HEIGHT = 24;
const NEAR_THE_SCREEN = '400px';

const COLOURS = ['accent', 'band', 'edge', 'faint', 'grid', 'load'];
const TICKS = new Intl.NumberFormat('en', {notation: 'compact', maximumFractionDigits: 3});
const ELAPSED_STEPS = [0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800];

function coloursNow() {
  const style = getComputedStyle(document.documentElement);
  return Object.fromEntries(COLOURS.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
}

// The plots of a name: one of its values and one of what flows.
function plotsOf({course, unit, isLevel}) {
  const plots = [];
  if (course.count) plots.push({title: unit || 'value', height: VALUE_HEIGHT, seriesOf: (run, name) => valueSeries(run, name.course)});
  if (course.flow) {
    plots.push({
      title: isLevel ? 'level' : 'per second',
      height: course.count ? FLOW_HEIGHT : VALUE_HEIGHT,
      seriesOf: (run, name) => flowSeries(run, name.course, name.isLevel),
    });
  }
  return plots;
}

function isBand({least, most}) {
  return least.some((value, i) => value !== most[i]);
}

function fromZero(_, least, most) {
  if (least === null) return [0, 1];
  const [low, high] = uPlot.rangeNum(Math.min(least, 0), Math.max(most, 0), 0.1, true);
  return [least >= 0 ? 0 : low, high === 0 && low === 0 ? 1 : high];
}

// What is drawn in one plot, from the back to the front, after the time.
function linesOf(plot, run, name, load) {
  const {least, mean, most} = plot.seriesOf(run, name);
  const band = isBand({least, most});
  return [
    ...(load ? [{kind: 'load', label: 'load', values: load}] : []),
    ...(band ? [{kind: 'edge', label: 'max', values: most}, {kind: 'edge', label: 'min', values: least}] : []),
    {kind: 'mean', label: band ? 'mean' : plot.title, values: mean},
  ];
}

function seriesOf({kind, label}, colours) {
  const looks = {
    load: {scale: 'load', stroke: colours.load, width: 1, dash: [4, 3], points: {show: false}},
    edge: {stroke: colours.edge, width: 1, points: {show: false}},
    mean: {stroke: colours.accent, width: 1.5},
  };
  return {...looks[kind], label, value: (_, value) => number(value)};
}

function axesOf({axis, colours}, hasLoad) {
  const lines = {stroke: colours.grid, width: 1};
  const looks = {stroke: colours.faint, grid: lines, ticks: lines, font: '11px system-ui, sans-serif'};
  const ticks = (_, splits) => splits.map((value) => TICKS.format(value));
  const elapsedTicks = {size: 26, incrs: ELAPSED_STEPS, values: (_, splits) => splits.map(elapsed)};
  return [
    {...looks, ...(axis === 'clock' ? {size: 38} : elapsedTicks)},
    {...looks, size: 48, values: ticks},
    ...(hasLoad ? [{...looks, side: 1, scale: 'load', size: 40, grid: {show: false}, stroke: colours.load, values: ticks}] : []),
  ];
}

// A drag over the plot chooses what all charts show.
function zoomed(chart, onZoom) {
  const {left, width} = chart.select;
  chart.setSelect({left: 0, top: 0, width: 0, height: 0}, false);
  if (width > 0) onZoom([chart.posToVal(left, 'x'), chart.posToVal(left + width, 'x')]);
}

function optionsOf(plot, lines, view) {
  const moment = (value) => (view.axis === 'clock' ? clock(value) : elapsed(value));
  const hasLoad = lines[0].kind === 'load';
  const max = lines.findIndex(({kind}) => kind === 'edge') + 1;
  return {
    width: view.width,
    height: plot.height,
    padding: [8, hasLoad ? 0 : 22, 0, 0],
    scales: {x: {time: view.axis === 'clock'}, y: {range: fromZero}, load: {range: fromZero}},
    series: [
      {label: view.axis, value: (_, value) => (value === null ? '–' : moment(value))},
      ...lines.map((line) => seriesOf(line, view.colours)),
    ],
    bands: max > 0 ? [{series: [max, max + 1], fill: view.colours.band}] : [],
    axes: axesOf(view, hasLoad),
    cursor: {sync: {key: 'time'}, drag: {x: true, y: false, setScale: false}, y: false},
    hooks: {setSelect: [(chart) => zoomed(chart, view.onZoom)]},
  };
}

class Card {
  constructor(name, id) {
    this.name = name;
    this.charts = [];
    this.element = document.createElement('article');
    this.element.className = 'card';
    this.element.id = id;
    this.element.dataset.name = name.name;
    const title = document.createElement('h2');
    const text = document.createElement('b');
    text.textContent = name.name;
    const type = document.createElement('span');
    type.textContent = name.type;
    title.append(text, type);
    this.plots = document.createElement('div');
    this.element.append(title, this.plots);
  }

  // Keeps its place on the page while it holds no charts.
  reserve() {
    const heights = plotsOf(this.name).map(({height}) => height + LEGEND_HEIGHT + HEADING_HEIGHT);
    this.plots.style.minHeight = `${heights.reduce((sum, height) => sum + height, 0)}px`;
  }

  linesOf(plot, {run, load}) {
    return linesOf(plot, run, this.name, this.name.isLevel ? null : load);
  }

  draw(view) {
    this.erase();
    for (const plot of plotsOf(this.name)) {
      const heading = document.createElement('h3');
      heading.textContent = plot.title;
      const place = document.createElement('div');
      place.className = 'plot';
      place.setAttribute('role', 'img');
      place.setAttribute('aria-label', `${this.name.name}, ${plot.title}, over time`);
      this.plots.append(heading, place);
      const lines = this.linesOf(plot, view);
      const chart = new uPlot(optionsOf(plot, lines, view), [view.times, ...lines.map(({values}) => values)], place);
      chart.over.addEventListener('dblclick', () => view.onZoom(null));
      if (view.zoom) chart.setScale('x', {min: view.zoom[0], max: view.zoom[1]});
      this.charts.push({chart, plot});
    }
  }

  // New data in the charts that are there; the reader's cursor stays.
  update(view) {
    const all = this.charts.map(({plot}) => this.linesOf(plot, view));
    const fits = this.charts.length > 0 && this.charts.every(({chart}, i) => chart.series.length === all[i].length + 1);
    if (!fits) return this.draw(view);
    this.charts.forEach(({chart}, i) => chart.setData([view.times, ...all[i].map(({values}) => values)], view.zoom === null));
  }

  erase() {
    for (const {chart} of this.charts) chart.destroy();
    this.charts = [];
    this.plots.replaceChildren();
  }

  resize(width) {
    for (const {chart} of this.charts) chart.setSize({width, height: chart.height});
  }
}

export class Charts {
  constructor(container) {
    this.container = container;
    this.cards = new Map();
    this.near = new Set();
    this.axis = 'elapsed';
    this.zoom = null;
    this.onZoomed = () => {};
    this.observer = new IntersectionObserver((entries) => this.moved(entries), {rootMargin: NEAR_THE_SCREEN});
    new ResizeObserver(() => this.resize()).observe(container);
  }

  // What all cards have in common, found out once for many: asking for a width lays the page out.
  view() {
    return {
      run: this.run,
      axis: this.axis,
      zoom: this.zoom,
      times: times(this.run, this.axis),
      load: loadSeries(this.run),
      width: this.width(),
      colours: coloursNow(),
      onZoom: (range) => this.setZoom(range),
    };
  }

  width() {
    const shown = [...this.cards.values()].find(({element}) => !element.hidden);
    return shown ? shown.plots.clientWidth : 0;
  }

  show(run) {
    this.run = run;
    for (const name of run.names) {
      const card = this.cards.get(name.name) ?? this.add(name);
      card.name = name;
      card.reserve();
    }
    const view = this.view();
    for (const card of this.near) card.update(view);
  }

  add(name) {
    const card = new Card(name, `name-${this.cards.size + 1}`);
    this.cards.set(name.name, card);
    this.container.append(card.element);
    this.observer.observe(card.element);
    return card;
  }

  idOf(name) {
    return this.cards.get(name).element.id;
  }

  // Shows the cards of these names, in this order.
  arrange(names) {
    const chosen = new Set(names);
    for (const [name, card] of this.cards) card.element.hidden = !chosen.has(name);
    this.container.append(...names.map((name) => this.cards.get(name).element));
  }

  moved(entries) {
    const view = this.view();
    for (const {target, isIntersecting} of entries) {
      const card = this.cards.get(target.dataset.name);
      if (isIntersecting && !this.near.has(card)) card.draw(view);
      if (!isIntersecting) card.erase();
      if (isIntersecting) this.near.add(card);
      else this.near.delete(card);
    }
  }

  redraw() {
    const view = this.view();
    for (const card of this.near) card.draw(view);
  }

  resize() {
    const width = this.width();
    for (const card of this.near) card.resize(width);
  }

  setAxis(axis) {
    if (axis === this.axis) return;
    const shift = (axis === 'clock' ? 1 : -1) * this.run.run.startTime;
    this.axis = axis;
    this.zoom = this.zoom && this.zoom.map((moment) => moment + shift);
    this.redraw();
  }

  // The span that all charts show; null for the whole run.
  setZoom(range) {
    this.zoom = range;
    this.redraw();
    this.onZoomed(range !== null);
  }

  // Draws every card that is shown, wherever it is, until `drawNear` is called.
  drawAll() {
    this.observer.disconnect();
    const view = this.view();
    for (const card of this.cards.values()) if (!card.element.hidden) card.draw(view);
  }

  drawNear() {
    this.near.clear();
    for (const card of this.cards.values()) {
      card.erase();
      this.observer.observe(card.element);
    }
  }
}
