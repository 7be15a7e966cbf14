// The overview: throughput, times, errors and load of all runs over each other, on one axis of time since each of them
// began.

import {offerPicture} from '../exports.js';
import {counterLabel} from '../outcomes.js';
import {attemptLines, loadLines, rateLines, valueLines} from './curves.js';
import {CurvePlot} from './runplot.js';
import {element} from './summary.js';

const HEIGHTS = {throughput: 112, times: 112, errors: 66, counter: 66, load: 62};

// The uppermost is the highest.
function counterLanes(runs, counters) {
  return counters.map((name, i) => ({key: i === 0 ? 'throughput' : 'counter', title: `${counterLabel(name)}/s`, unit: '/s', linesOf: () => rateLines(runs, name)}));
}

// Lanes of {key, title, unit, linesOf}. `main` is null if nothing was timed: the counters are drawn then.
function lanesOf({runs, counters}, main) {
  const load = {key: 'load', title: 'load', unit: '', linesOf: () => loadLines(runs)};
  if (!main) return [...counterLanes(runs, counters), load];
  const {work, noun, areFailuresTold} = main;
  const times = work.times ? valueLines(runs, work.times) : {lines: []};
  return [
    {key: 'throughput', title: `${noun}/s`, unit: '/s', linesOf: () => attemptLines(runs, work)},
    ...(times.lines.length > 0 ? [{key: 'times', title: times.label, unit: work.times.unit, linesOf: () => valueLines(runs, work.times).lines}] : []),
    ...(areFailuresTold ? [{key: 'errors', title: 'errors/s', unit: '/s', linesOf: () => rateLines(runs, work.failed)}] : []),
    load,
  ];
}

export class Overview {
  constructor(place, compared, main) {
    this.place = place;
    this.lanes = lanesOf(compared, main).filter(({linesOf}) => linesOf().length > 0);
    this.plots = [];
    place.parentElement.hidden = this.lanes.length === 0;
    place.parentElement.querySelector('.tools').append(offerPicture(place.parentElement, 'overview', 'the overview'));
    new ResizeObserver(() => this.resize()).observe(place);
  }

  draw(view) {
    for (const {chart} of this.plots) chart.destroy();
    this.place.replaceChildren();
    this.plots = this.lanes.map((lane, i) => {
      const plot = new CurvePlot({...lane, height: HEIGHTS[lane.key], hasAxis: i === this.lanes.length - 1});
      const place = element('div', 'plot');
      place.setAttribute('role', 'img');
      place.setAttribute('aria-label', `overview, ${lane.title}`);
      // The chart takes its room only after the page was laid out.
      place.style.height = `${plot.height}px`;
      this.place.append(element('h3', 'lane', lane.title), place);
      plot.draw(place, null, {...view, width: this.place.clientWidth});
      return plot;
    });
  }

  resize() {
    const width = this.place.clientWidth;
    if (width === 0) return;
    for (const {chart} of this.plots) if (chart.width !== width) chart.setSize({width, height: chart.height});
  }
}
