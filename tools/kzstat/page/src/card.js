// The charts of a name, or of a few that belong together.

import {offerPicture} from './exports.js';
import {hideTooltip} from './tooltip.js';

const LEGEND_HEIGHT = 16;
const HEADING_HEIGHT = 22;

export class Card {
  constructor(drawing, id, plotsOf) {
    this.plotsOf = plotsOf;
    this.drawn = [];
    this.element = document.createElement('article');
    this.element.className = 'card';
    this.element.id = id;
    this.element.dataset.name = drawing.key;
    this.element.tabIndex = -1;
    const heading = document.createElement('div');
    heading.className = 'heading';
    this.title = document.createElement('h3');
    this.type = document.createElement('span');
    heading.append(this.title, this.type, offerPicture(this.element, drawing.key));
    this.plots = document.createElement('div');
    this.element.append(heading, this.plots);
    this.show(drawing);
  }

  show(drawing) {
    this.drawing = drawing;
    const [first, ...alike] = drawing.names;
    this.title.textContent = drawing.key;
    this.type.textContent = first.type + (alike.length > 0 && !drawing.isStack ? `, equal: ${alike.map(({name}) => name).join(', ')}` : '');
    this.reserve();
  }

  // What the plots draw.
  subject() {
    return this.drawing.isStack ? this.drawing.names : this.drawing.names[0];
  }

  wanted(view = null) {
    return this.plotsOf(this.drawing, view);
  }

  // Keeps its place on the page while it holds no charts.
  reserve() {
    const heights = this.wanted().map(({height}) => height + LEGEND_HEIGHT + HEADING_HEIGHT);
    this.plots.style.minHeight = `${heights.reduce((sum, height) => sum + height, 0)}px`;
  }

  width() {
    return this.plots.clientWidth;
  }

  draw(view, width = this.width()) {
    this.erase();
    for (const plot of this.wanted(view)) {
      const heading = document.createElement('h4');
      heading.textContent = plot.title;
      const place = document.createElement('div');
      place.className = 'plot';
      place.setAttribute('role', 'img');
      place.setAttribute('aria-label', `${this.drawing.key}, ${plot.title}`);
      this.plots.append(heading, place);
      plot.draw(place, this.subject(), {...view, width});
      this.drawn.push(plot);
    }
  }

  // New data in the charts that are there, unless the name has others now.
  update(view) {
    const wanted = this.wanted(view);
    const fits = this.drawn.length === wanted.length && this.drawn.every((plot, i) => plot.title === wanted[i].title);
    if (!fits || !this.drawn.every((plot) => plot.update(this.subject(), view))) this.draw(view);
  }

  erase() {
    hideTooltip();
    for (const {chart} of this.drawn) chart.destroy();
    this.drawn = [];
    this.plots.replaceChildren();
  }

  resize() {
    const width = this.width();
    if (width === 0) return;
    for (const {chart} of this.drawn) if (chart.width !== width) chart.setSize({width, height: chart.height});
  }
}
