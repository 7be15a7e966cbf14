// The columns that the tables of figures have in common.

import {number} from './format.js';

export const approximated = (value, isApproximate) => (isApproximate ? `≈ ${value}` : value);

// A percentile of a part of the run is known as well as the heat map tells it.
const isApproximate = (figures, key) => Boolean(figures.bounds?.[key]);
export const figureText = (figures, key) => approximated(number(figures[key]), isApproximate(figures, key));

export function figureHint(figures, key) {
  const bounds = figures.bounds?.[key];
  if (bounds) return `between ${number(bounds[0])} and ${number(bounds[1])}`;
  return figures[key] === null || figures[key] === undefined ? '' : String(figures[key]);
}

// A column of the figure of that name. `figuresOf(row)` finds the figures of a row.
export function figureColumn(key, figuresOf, more = {}) {
  return {
    key,
    title: key,
    value: (row) => figuresOf(row)[key],
    text: (row) => figureText(figuresOf(row), key),
    hint: (row) => figureHint(figuresOf(row), key),
    csv: (row) => approximated(figuresOf(row)[key], isApproximate(figuresOf(row), key)),
    ...more,
  };
}

export function textColumn(key, more = {}) {
  return {key, title: key, isText: true, value: (row) => row[key], text: (row) => row[key], ...more};
}
