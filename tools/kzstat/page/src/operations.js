// The table of the names that matter: all work that is timed, with its failures.

import {figureColumn, textColumn} from './figurecolumns.js';
import {number, percent} from './format.js';
import {compare} from './table.js';

const NONE = {};

// The figures of an operation, whose times are those of its successes. `areFailuresTold` is false for a run that
// has no names of failures: what failed is not known then.
export function operationRow(operation, figuresOf, areFailuresTold) {
  const {name, times, failed} = operation;
  const ok = times ? figuresOf(times) : NONE;
  const bad = failed ? figuresOf(failed) : NONE;
  const count = (ok.count ?? 0) + (bad.count ?? 0);
  const errors = areFailuresTold ? (bad.count ?? 0) : null;
  return {
    name,
    operation,
    type: (times ?? failed).type,
    unit: (times ?? failed).unit,
    count,
    rate: (ok.rate ?? 0) + (bad.rate ?? 0),
    errors,
    share: errors !== null && count > 0 ? errors / count : null,
    figures: ok,
  };
}

// What hurts comes first: the largest share of errors, then the slowest 95th percentile.
export function byHurt(a, b) {
  const pain = ({share, figures}) => [share ?? 0, figures.p95 ?? figures.mean ?? 0];
  const [[shareA, slowA], [shareB, slowB]] = [pain(a), pain(b)];
  return shareB - shareA || slowB - slowA || compare(a.name, b.name);
}

const typeText = ({type, unit}) => (unit ? `${type}, ${unit}` : type);

const figuresOf = ({figures}) => figures;

export const OPERATIONS = [
  textColumn('name'),
  {key: 'count', title: 'count', value: ({count}) => count, text: ({count}) => number(count)},
  {key: 'rate', title: 'rate/s', isMinor: true, value: ({rate}) => rate, text: ({rate}) => number(rate)},
  {key: 'errors', title: 'errors', isMinor: true, kind: 'failures', value: ({errors}) => errors, text: ({errors}) => number(errors)},
  {key: 'share', title: 'error share', kind: 'failures', value: ({share}) => share, text: ({share}) => percent(share)},
  figureColumn('p50', figuresOf, {kind: 'percentile', isMinor: true}),
  figureColumn('p95', figuresOf, {kind: 'percentile'}),
  figureColumn('p99', figuresOf, {kind: 'percentile', isMinor: true}),
  figureColumn('max', figuresOf, {isMinor: true}),
  textColumn('type', {isMinor: true, text: typeText, hint: typeText}),
];
