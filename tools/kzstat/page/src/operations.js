// The table of the names that matter: all work that is timed, with its failures.

import {figureColumn, figureText, textColumn} from './figurecolumns.js';
import {number, percent} from './format.js';
import {compare} from './table.js';

const NONE = {};

// Null if neither is known.
const total = (one, other) => ((one ?? other ?? null) === null ? null : (one ?? 0) + (other ?? 0));

// The figures of an operation, whose times are those of its successes; those of its failures if it never succeeded.
// `areFailuresTold` is false for a run that has no names of failures: what failed is not known then.
export function operationRow(operation, figuresOf, areFailuresTold) {
  const {name, times, failed} = operation;
  const ok = times ? figuresOf(times) : NONE;
  const bad = failed ? figuresOf(failed) : NONE;
  const count = total(ok.count, bad.count);
  const errors = areFailuresTold && count !== null ? (bad.count ?? 0) : null;
  return {
    name,
    operation,
    type: (times ?? failed).type,
    unit: (times ?? failed).unit,
    count,
    rate: total(ok.rate, bad.rate),
    errors,
    share: errors !== null && count > 0 ? errors / count : null,
    figures: times ? ok : bad,
    areOfFailures: !times,
    areFailuresTold,
  };
}

// What hurts comes first: the largest share of errors, then the slowest 95th percentile.
export function byHurt(a, b) {
  const pain = ({share, figures}) => [share ?? 0, figures.p95 ?? figures.mean ?? 0];
  const [[shareA, slowA], [shareB, slowB]] = [pain(a), pain(b)];
  return shareB - shareA || slowB - slowA || compare(a.name, b.name);
}

const figuresOf = ({figures}) => figures;
const hasFigure = (figures, key) => figures[key] !== null && figures[key] !== undefined;

// Of a row with a unit of its own.
function textWithUnit({figures, ownUnit}, key) {
  const text = figureText(figures, key);
  return ownUnit && hasFigure(figures, key) ? `${text} ${ownUnit}` : text;
}

const timeColumn = (key, more = {}) => figureColumn(key, figuresOf, {hasUnit: true, text: (row) => textWithUnit(row, key), ...more});

// The unit that all rows have, and the rows; where units differ, each row has its own.
export function withUnits(rows) {
  const units = new Set(rows.map(({unit}) => unit));
  if (units.size === 1) return {unit: rows[0].unit, rows};
  return {unit: '', rows: rows.map((row) => ({...row, ownUnit: row.unit}))};
}

export const OPERATIONS = [
  textColumn('name', {text: ({name, areOfFailures}) => (areOfFailures ? `${name} (all failed)` : name)}),
  {key: 'count', title: 'count', value: ({count}) => count, text: ({count}) => number(count)},
  {key: 'rate', title: 'rate/s', isMinor: true, value: ({rate}) => rate, text: ({rate}) => number(rate)},
  {key: 'errors', title: 'errors', isMinor: true, kind: 'failures', value: ({errors}) => errors, text: ({errors}) => number(errors)},
  {key: 'share', title: 'error share', kind: 'failures', value: ({share}) => share, text: ({share}) => percent(share)},
  timeColumn('p50', {kind: 'percentile', isMinor: true}),
  timeColumn('p95', {kind: 'percentile'}),
  timeColumn('p99', {kind: 'percentile', isMinor: true}),
  timeColumn('max', {isMinor: true}),
  textColumn('unit', {kind: 'only-saved'}),
  textColumn('type', {isMinor: true, hint: ({type}) => type}),
];
