// The table of errors by cause.

import {approximated, textColumn} from './figurecolumns.js';
import {number, percent} from './format.js';
import {bucketBegin, bucketEnd, bucketsOfFigures} from './run.js';

const WITHOUT_CAUSE = 'no cause told';

function firstAndLast({course}, [from, to]) {
  const counts = course.count ?? course.flow ?? [];
  const happened = (i) => counts[i] > 0;
  let [first, last] = [from, to - 1];
  while (first < to && !happened(first)) ++first;
  while (last >= from && !happened(last)) --last;
  return first < to ? [first, last] : [null, null];
}

// Counters tell their sum, timers their count.
const countOf = (figures) => figures.count ?? figures.sum ?? 0;

function rowOf(source, work, cause, view, attempts) {
  const count = countOf(view.figuresOf(source));
  const [first, last] = firstAndLast(source, bucketsOfFigures(view));
  return {
    name: source.name,
    source,
    work,
    cause,
    count,
    share: attempts > 0 ? count / attempts : null,
    first: first === null ? null : bucketBegin(view.run, view.axis, first),
    last: last === null ? null : bucketEnd(view.run, view.axis, last),
    areTimesApproximate: view.run.grid.width > 1,
  };
}

// The rows of all operations. Failures without a cause are listed only where no causes are told at all: the same
// work may be timed under several names. `rows` are those of the table of operations.
export function causeRows(rows, view) {
  const areCausesTold = rows.some(({operation: {causes}}) => causes.length > 0);
  const found = rows.flatMap(({operation: {name, failed, causes}, count}) => {
    if (!areCausesTold && failed) return [rowOf(failed, name, WITHOUT_CAUSE, view, count)];
    return causes.map((cause) => rowOf(cause, name, cause.name.slice(`${name}.failed.`.length), view, count));
  });
  return found.filter(({count}) => count > 0);
}

export const byCount = (a, b) => b.count - a.count;

function momentColumn(key, momentText, more = {}) {
  const isApproximate = ({areTimesApproximate, [key]: moment}) => areTimesApproximate && moment !== null;
  return {
    key,
    title: key,
    value: (row) => row[key],
    text: (row) => approximated(momentText(row[key]), isApproximate(row)),
    csv: (row) => approximated(row[key], isApproximate(row)),
    ...more,
  };
}

export const causeColumns = (momentText) => [
  {...textColumn('cause'), text: ({cause}) => cause},
  {key: 'count', title: 'count', value: ({count}) => count, text: ({count}) => number(count)},
  {key: 'share', title: 'share', value: ({share}) => share, text: ({share}) => percent(share), hint: ({work}) => `of all attempts of ${work}`},
  momentColumn('first', momentText, {isMinor: true}),
  momentColumn('last', momentText),
  {...textColumn('work'), title: 'of', isMinor: true},
];
