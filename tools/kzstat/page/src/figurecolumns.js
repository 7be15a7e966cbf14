// The columns that the tables of figures have in common.

import {number} from './format.js';

// A percentile of a part of the run is known as well as the heat map tells it.
export function figureText(figures, key) {
  const text = number(figures[key]);
  return figures.bounds?.[key] ? `≈ ${text}` : text;
}

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
    ...more,
  };
}

export function textColumn(key, more = {}) {
  return {key, title: key, isText: true, value: (row) => row[key], text: (row) => row[key], ...more};
}
