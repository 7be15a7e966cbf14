// Charts, a card per name. A chart exists only while its card is near the screen: hundreds of
// canvases would take more memory than a browser has.

import {CumulativePlot} from './cumulativeplot.js';
import {shadesOf} from './heatmap.js';
import {loadSeries, times, wholeSpan} from './run.js';
import {timePlots} from './timeplots.js';
import {hideTooltip} from './tooltip.js';

const LEGEND_HEIGHT = 22;
const HEADING_HEIGHT = 24;
const NEAR_THE_SCREEN = '400px';

const COLOURS = ['accent', 'band', 'edge', 'faint', 'grid', 'load', 'p95', 'p99', 'maximum', 'heat'];

function coloursNow() {
  const style = getComputedStyle(document.documentElement);
  return Object.fromEntries(COLOURS.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
}

const plotsOf = (name) => [...timePlots(name), ...(name.cumulative ? [new CumulativePlot()] : [])];

class Card {
  constructor(name, id) {
    this.name = name;
    this.drawn = [];
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

  draw(view) {
    this.erase();
    for (const plot of plotsOf(this.name)) {
      const heading = document.createElement('h3');
      heading.textContent = plot.title;
      const place = document.createElement('div');
      place.className = 'plot';
      place.setAttribute('role', 'img');
      place.setAttribute('aria-label', `${this.name.name}, ${plot.title}`);
      this.plots.append(heading, place);
      plot.draw(place, this.name, view);
      this.drawn.push(plot);
    }
  }

  // New data in the charts that are there, unless the name has others now.
  update(view) {
    const wanted = plotsOf(this.name);
    const fits = this.drawn.length === wanted.length && this.drawn.every((plot, i) => plot.title === wanted[i].title);
    if (!fits || !this.drawn.every((plot) => plot.update(this.name, view))) this.draw(view);
  }

  erase() {
    hideTooltip();
    for (const {chart} of this.drawn) chart.destroy();
    this.drawn = [];
    this.plots.replaceChildren();
  }

  resize(width) {
    for (const {chart} of this.drawn) chart.setSize({width, height: chart.height});
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
    const colours = coloursNow();
    return {
      run: this.run,
      axis: this.axis,
      span: this.zoom ?? wholeSpan(this.run, this.axis),
      times: times(this.run, this.axis),
      load: loadSeries(this.run),
      width: this.width(),
      colours,
      shades: shadesOf(colours.heat.split(',')),
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
