// What is looked at: a run, a part of its time, an axis. All drawings and tables show the same view.

import {shadesOf} from './heatmap.js';
import {bucketsOf, loadSeries, originOf, spanOf, times, wholeSpan} from './run.js';
import {figuresOver} from './spanfigures.js';

const COLOURS = [
  'accent', 'band', 'edge', 'faint', 'grid', 'load', 'p95', 'p99', 'maximum', 'heat', 'bad', 'panel', 'text', 'outside', 'flag', 'gap',
  'ok', 'redirect', 'client-error', 'server-error', 'no-answer', 'other-1', 'other-2', 'other-3', 'other-4', 'other-5',
];

// Those of the theme, by their names.
export function coloursNow(names) {
  const style = getComputedStyle(document.documentElement);
  return Object.fromEntries(names.map((name) => [name, style.getPropertyValue(`--${name}`).trim()]));
}

// `zoom` is a span of seconds of the run, or null for the whole run. `onZoom` gets another one.
export function viewOf(run, axis, zoom, onZoom) {
  const buckets = bucketsOf(run, zoom);
  const colours = coloursNow(COLOURS);
  const origin = originOf(run, axis);
  return {
    run,
    axis,
    zoom: zoom && spanOf(run, buckets),
    buckets,
    figuresOf: figuresOver(run, zoom && buckets),
    origin,
    span: zoom ? spanOf(run, buckets).map((moment) => origin + moment) : wholeSpan(run, axis),
    times: times(run, axis),
    load: loadSeries(run),
    colours,
    shades: shadesOf(colours.heat.split(',')),
    onZoom: (range) => onZoom(range && range.map((moment) => moment - origin)),
  };
}
