// The table of all names with all of their figures.

import {figureColumn, textColumn} from './figurecolumns.js';
import {number} from './format.js';

// As `kzstat show` tells them: what the single values of a counter are would hide their sum, which is its count.
export function tabled(figures) {
  const isAddedUp = figures.sum !== null && figures.sum !== undefined;
  return isAddedUp ? {count: figures.sum, rate: figures.rate, sum: figures.sum, last: figures.last} : figures;
}

const figuresOf = ({shownFigures}) => shownFigures;

function deviation({stddev, stddevBound}) {
  return Number.isFinite(stddevBound) ? `<${number(stddevBound)}` : number(stddev);
}

export const ALL_NAMES = [
  textColumn('name'),
  figureColumn('count', figuresOf, {isMinor: true}),
  figureColumn('rate', figuresOf, {title: 'rate/s'}),
  figureColumn('min', figuresOf, {isMinor: true}),
  figureColumn('mean', figuresOf),
  ...['p50', 'p95', 'p99'].map((key) => figureColumn(key, figuresOf, {kind: 'percentile', isMinor: true})),
  figureColumn('max', figuresOf),
  figureColumn('stddev', figuresOf, {isMinor: true, text: (row) => deviation(figuresOf(row))}),
  figureColumn('sum', figuresOf, {isMinor: true}),
  figureColumn('last', figuresOf, {isMinor: true}),
  textColumn('unit', {isMinor: true}),
  textColumn('type', {isMinor: true}),
];
