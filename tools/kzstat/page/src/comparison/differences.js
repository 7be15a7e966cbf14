// The table of names: what each side has, how far they differ, and whether that is marked.

import {number} from '../format.js';
import {meaningOf} from '../outcomes.js';
import {compare} from '../table.js';

const TIMERS = new Set(['Timer', 'TransactionTimer']);
const FAILURE = /\.failed(\.|$)|\.abandoned$|(^|\.)errors?(\.|$)|(^|\.)timeouts?$/;
const BAD = new Set(['server-error', 'client-error']);

const isThere = (value) => value !== null && value !== undefined;

const lastPart = (name) => name.slice(name.lastIndexOf('.') + 1);
const isFailure = (name) => FAILURE.test(name) || BAD.has(meaningOf(lastPart(name)));

export const kindOf = ({name, type, tested}) => {
  if (tested === 'mean') return TIMERS.has(type) && !isFailure(name) ? 'times' : 'other';
  if (tested === 'level') return 'other';
  if (isFailure(name)) return 'failures';
  return TIMERS.has(type) || meaningOf(lastPart(name)) === 'ok' ? 'successes' : 'other';
};

// 1 if more is worse, 0 if that is for the reader to say. How much was done is up to the load as much as to what was
// loaded: who asks more often gets more answers, and slower answers show in the times.
const BADNESS = {times: 1, failures: 1, shares: 1, successes: 0, other: 0};

const growth = ([before, after]) => (before > 0 && after > 0 ? Math.log(after / before) : NaN);

// Twice the failures beside twice the successes are no worse: a change counts unless it is mostly that of the work.
const followsWork = (values, {work}) => Math.abs(growth(values) - growth(work)) < Math.abs(growth(values)) / 2;

// 'worse' or 'better'; nothing of what is neither, and of failures that follow the work. `followed` has how often the
// main work succeeded and the load, each on both sides.
export function judged(kind, [first, second], followed) {
  if (kind === 'failures' && followsWork([first, second], followed)) return '';
  const direction = Math.sign(second - first) * BADNESS[kind];
  return direction > 0 ? 'worse' : direction < 0 ? 'better' : '';
}

// What is marked, and is neither, is 'changed'; nothing of the rest.
function verdictOf(difference, followed) {
  if (!difference.is_significant) return '';
  return judged(difference.kind, [difference.first, difference.second], followed) || 'changed';
}

export const signed = (value) => (value > 0 ? `+${number(value)}` : number(value));

export const changeText = ({relative_difference: relative, difference}) => {
  if (isThere(relative)) return `${signed(100 * relative)} %`;
  return isThere(difference) && difference !== 0 ? signed(difference) : number(null);
};

const PLAIN = ({least_difference: least, samples_are: samples}) => ({
  unclear: 'unclear',
  below_least: `below ${number(100 * least)} %`,
  too_few_samples: `too few ${samples}`,
  not_comparable: 'not comparable',
});

const HINTS = {
  marked: 'Chance alone would seldom make this difference, and it is large enough to matter',
  unclear: 'Chance alone may well make this difference',
  below_least: 'The difference is there, but too small to matter',
  too_few_samples: 'A side has too few values to tell',
  not_comparable: 'A side has no value',
};

// What a comparison says of a name, for a row of the table.
function cellOf(difference, comparison) {
  const alone = comparison.only.get(difference.name);
  // Work that one side alone did is other work.
  const kind = alone && kindOf(difference) === 'successes' ? 'other' : kindOf(difference);
  const verdict = verdictOf({...difference, kind}, comparison.followed);
  const finding = verdict || PLAIN(comparison)[difference.finding];
  return {...difference, kind, verdict, text: finding + (alone ? `, only in ${alone.letter}` : ''), hint: hintOf(difference)};
}

function hintOf({finding, p_value: probability, samples}) {
  const chance = isThere(probability) ? ` (p = ${number(probability)}; ${samples.first} and ${samples.second} samples)` : '';
  return HINTS[finding] + chance;
}

// A row for each name and quantity, with a cell for each comparison that has it, from the one that hurts most on.
// Comparisons have what `judged` asks for, as `followed`.
export function rowsOf(comparisons) {
  const rows = new Map();
  comparisons.forEach((comparison, i) => {
    for (const difference of comparison.names) {
      const key = JSON.stringify([difference.name, difference.quantity]);
      if (!rows.has(key)) rows.set(key, {name: key, title: difference.name, quantity: difference.quantity, cells: comparisons.map(() => null)});
      const row = rows.get(key);
      row.cells[i] = cellOf(difference, comparison);
      row.first ??= difference.first;
    }
  });
  return [...rows.values()].sort(byHurt);
}

const RANKS = ['worse', 'better', 'changed'];
const rankOf = ({cells}) => Math.min(...cells.map((cell) => (cell?.verdict ? RANKS.indexOf(cell.verdict) : RANKS.length)));
// From nothing to something is the largest change.
const sizeOf = ({difference, relative_difference: relative}) => (isThere(relative) ? Math.abs(relative) : isThere(difference) && difference !== 0 ? Infinity : 0);
// Times come before all that is counted.
const areTimes = ({cells}) => cells.some((cell) => cell?.verdict && cell.kind === 'times');
const largest = ({cells}) => Math.max(...cells.filter((cell) => cell?.verdict).map(sizeOf));

// What hurts comes first, then what became better, then what else is marked; of those the largest first.
export function byHurt(a, b) {
  const rank = rankOf(a) - rankOf(b);
  if (rank !== 0) return rank;
  if (rankOf(a) < RANKS.length && areTimes(a) !== areTimes(b)) return areTimes(a) ? -1 : 1;
  const [one, other] = rankOf(a) < RANKS.length ? [largest(a), largest(b)] : [0, 0];
  return (one === other ? 0 : other - one) || compare(a.title, b.title);
}

const saved = {kind: 'only-saved'};
const star = (cell) => (cell?.verdict ? ' *' : '');

function percentileColumns(comparison, i, prefix, kind) {
  const titles = [...new Set(comparison.names.flatMap(({percentiles}) => Object.keys(percentiles)))];
  return titles.flatMap((title) => {
    const of = ({cells}) => cells[i]?.percentiles[title];
    const sides = [['first', comparison.before], ['second', comparison.after]];
    return [
      ...sides.map(([field, {letter}]) => ({key: `${title} ${letter}${prefix}`, title, ...saved, value: (row) => of(row)?.[field], text: () => ''})),
      {
        key: `${title} change${prefix}`,
        title,
        isMinor: true,
        ...kind,
        value: (row) => of(row)?.relative_difference,
        text: (row) => (of(row) ? changeText(of(row)) + (of(row).is_significant ? ' *' : '') : ''),
        hint: (row) => (of(row) ? sides.map(([field, {letter}]) => `${letter} ${number(of(row)[field])}`).join(', ') : ''),
      },
    ];
  });
}

const nameColumn = {key: 'name', title: 'name', isText: true, value: ({title}) => title, text: ({title}) => title};
const quantityColumn = {key: 'of', title: 'of', isText: true, isMinor: true, value: ({quantity}) => quantity, text: ({quantity}) => quantity};
const firstColumn = ({letter}) => ({key: letter, title: letter, value: ({first}) => first, text: ({first}) => number(first)});

const changeOf = (i) => ({value: ({cells}) => cells[i]?.relative_difference, state: ({cells}) => cells[i]?.verdict ?? '', hint: ({cells}) => cells[i]?.hint ?? ''});
const findingOf = (i) => ({value: ({cells}) => cells[i]?.text, text: ({cells}) => cells[i]?.text ?? '', isText: true});

// Of two sides.
function columnsOfOne(comparison) {
  return [
    {key: comparison.after.letter, title: comparison.after.letter, value: ({cells}) => cells[0].second, text: ({cells}) => number(cells[0].second)},
    {key: 'change', title: 'change', ...changeOf(0), text: ({cells}) => changeText(cells[0]) + star(cells[0])},
    {key: 'finding', title: 'finding', isMinor: true, ...changeOf(0), ...findingOf(0)},
    {key: 'p', title: 'p', ...saved, value: ({cells}) => cells[0].p_value, text: () => ''},
    ...percentileColumns(comparison, 0, '', {}),
  ];
}

// Of one side of many: how far it is from the first.
function columnsOfMany(comparison, i) {
  const {letter} = comparison.after;
  return [
    {key: letter, title: letter, ...saved, value: ({cells}) => cells[i]?.second, text: () => ''},
    {
      key: `change ${letter}`,
      title: `${letter} change`,
      ...changeOf(i),
      text: ({cells}) => (cells[i] ? changeText(cells[i]) + star(cells[i]) : ''),
      hint: ({cells}) => (cells[i] ? `${number(cells[i].second)}, ${cells[i].text}: ${cells[i].hint}` : ''),
    },
    {key: `finding ${letter}`, title: 'finding', ...saved, ...findingOf(i)},
    ...percentileColumns(comparison, i, ` ${letter}`, saved),
  ];
}

export function columnsOf(comparisons) {
  const [first] = comparisons;
  const others = comparisons.length === 1 ? columnsOfOne(first) : comparisons.flatMap(columnsOfMany);
  return [nameColumn, quantityColumn, firstColumn(first.before), ...others];
}
