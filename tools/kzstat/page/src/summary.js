// What is said of the run as a whole: what was loaded, when, how; and the figures that matter most.

import {errorsOf} from './errors.js';
import {figureHint, figureText} from './figurecolumns.js';
import {clock, duration, elapsed, number, percent} from './format.js';
import {counterLabel, nounOf} from './outcomes.js';
import {peakIn, secondsIn, slicesIn} from './spanfigures.js';

const byId = (id) => document.getElementById(id);

function tile({label, value, hint = '', state = '', isWide = false}) {
  const element = document.createElement('div');
  element.className = isWide ? 'tile wide' : 'tile';
  element.dataset.state = state;
  element.title = hint;
  const strong = document.createElement('b');
  strong.textContent = value;
  const text = document.createElement('span');
  text.textContent = label;
  element.append(strong, text);
  return element;
}

function fact(list, term, text, isCode = false) {
  if (text === '') return;
  const name = document.createElement('dt');
  name.textContent = term;
  const value = document.createElement('dd');
  value.textContent = text;
  if (isCode) value.className = 'code';
  list.append(name, value);
}

function showFacts(list, {run, sources, lostSlices, notes, grid}) {
  list.replaceChildren();
  fact(list, 'Started', `${clock(run.startTime)} here, ${new Date(run.startTime * 1000).toISOString()}`);
  fact(list, 'Host', run.host);
  fact(list, 'Command line', run.commandLine, true);
  fact(list, 'Slice length', `${number(run.sliceLength)} s`);
  fact(list, 'Slices lost', lostSlices > 0 ? String(lostSlices) : '');
  fact(list, 'Drawn', grid.width > 1 ? `a point for ${grid.width} slices, with the least and the most of them` : 'every slice');
  fact(list, 'Run', run.id, true);
  for (const note of notes) fact(list, 'Note', `${clock(note.time)}: ${note.text}`);
  for (const source of sources) fact(list, 'Merged from', `${source.generator} on ${source.host}, ${clock(source.startTime)}, ${source.commandLine}`);
}

function slicesText(slices, {lostSlices, hasEnded, run}) {
  return `${number(slices)} slice${slices === 1 ? '' : 's'} of ${number(run.sliceLength)} s` +
    (lostSlices > 0 ? ` (${lostSlices} lost)` : '') + (hasEnded ? '' : ', not ended');
}

// The date of the end is told if it is another one.
function whenText(begin, end) {
  const [first, last] = [clock(begin), clock(end)];
  const isSameDay = first.split(' ')[0] === last.split(' ')[0];
  return `${first} – ${isSameDay ? last.split(' ')[1] : last}`;
}

const isKnown = (value) => value !== null && value !== undefined;

// What the reader looks at.
function partText({elapsed: whole}, zoom) {
  return zoom ? `from ${elapsed(zoom[0])} to ${elapsed(Math.min(zoom[1], whole))} of the run` : '';
}

// A part of the run that was asked for when the page was made; it has no more.
function askedText({asked: {from, to}}) {
  if (isKnown(from) && isKnown(to)) return `made of ${elapsed(from)} – ${elapsed(to)} of the run only`;
  if (isKnown(from)) return `made of the run from ${elapsed(from)} on only`;
  return isKnown(to) ? `made of the run up to ${elapsed(to)} only` : '';
}

// Where the load begins or ends within the run, so that the figures are not those of all slices.
function loadText({run, elapsed: whole}) {
  const [begin, end] = [run.loadBegin ?? 0, run.loadEnd ?? whole].map((moment) => Number(moment.toFixed(1)));
  return begin > 0 || end < whole ? `under load ${elapsed(begin)} – ${elapsed(end)}` : '';
}

// "36 s", or "36 s (30 s with slices)" where some are missing within the run.
function durationText(page, zoom, buckets) {
  if (zoom) return duration(secondsIn(page, buckets));
  const withSlices = page.slices * page.run.sliceLength;
  const isWhole = askedText(page) !== '' || Math.abs(page.elapsed - withSlices) < page.run.sliceLength / 2;
  return isWhole ? duration(withSlices) : `${duration(Number(page.elapsed.toFixed(1)))} (${duration(withSlices)} with slices)`;
}

export function showTitle({run: page, zoom, buckets}) {
  const {run} = page;
  const slices = zoom ? slicesIn(page, buckets) : page.slices;
  const facts = [
    whenText(run.startTime, run.startTime + page.elapsed),
    durationText(page, zoom, buckets),
    slicesText(slices, page),
    zoom ? '' : loadText(page),
    `on ${run.host}`,
    partText(page, zoom),
    askedText(page),
  ];
  document.title = `${run.generator} – ${clock(run.startTime)}`;
  byId('generator').textContent = run.generator;
  byId('command').textContent = run.commandLine;
  byId('command').hidden = run.commandLine === '';
  byId('subtitle').textContent = facts.filter((text) => text !== '').join(' · ');
  showFacts(byId('facts'), page);
}

// A dash if the run has the figure and the part that is looked at has not.
function figureTile(label, {figures, operation: {times, failed}, unit}, key) {
  if (!isKnown((times ?? failed).figures[key])) return [];
  const text = figureText(figures, key);
  return [{label, value: unit && isKnown(figures[key]) ? `${text} ${unit}` : text, hint: figureHint(figures, key)}];
}

// What the errors are a share of.
function attemptsText({areTransactions, works}) {
  if (areTransactions) return 'transactions';
  if (works.length > 1) return 'all attempts';
  return nounOf({name: works[0]}) === 'requests' ? 'requests' : works[0];
}

// Of a run that tells failures and has none, those of the main operation are told.
function errorTiles(row, names, figuresOf) {
  if (!row.areFailuresTold) return [];
  const errors = errorsOf(names, figuresOf) ?? {failed: row.errors, attempts: row.count, share: row.share, works: [row.name]};
  const hint = `${number(errors.failed)} of ${number(errors.attempts)}: ${errors.works.join(', ')}`;
  const state = errors.share === null ? '' : errors.share > 0 ? 'bad' : 'good';
  return [{label: `errors of ${attemptsText(errors)}`, value: percent(errors.share), hint, state}];
}

function tilesOfWork(row, noun, names, figuresOf) {
  const ofWhat = row.areOfFailures ? ' of failures' : '';
  return [
    {label: noun, value: number(row.count), hint: row.name},
    {label: `${noun}/s`, value: number(row.rate), hint: row.name},
    ...['p50', 'p95', 'p99'].flatMap((key) => figureTile(key + ofWhat, row, key)),
    ...(isKnown((row.operation.times ?? row.operation.failed).figures.p50) ? [] : figureTile(`mean${ofWhat}`, row, 'mean')),
    ...errorTiles(row, names, figuresOf),
  ];
}

// Of a run that counts and times nothing.
function tilesOfCounters(counters, figuresOf) {
  const [first] = counters;
  return [
    ...(first ? [{label: counterLabel(first), value: number(figuresOf(first).sum), hint: first.name}] : []),
    ...counters.map((name) => ({label: `${counterLabel(name)}/s`, value: number(figuresOf(name).rate), hint: name.name})),
  ];
}

// What a run is as a whole that a part is none of.
function wholeText({run, asked}) {
  if (isKnown(asked.from) || isKnown(asked.to)) return 'all that this page is made of';
  return isKnown(run.loadBegin) ? 'the whole load' : 'the whole run';
}

// `row` is that of the main operation, or null; without one, `counters` are those that count most.
export function showTiles({run, buckets, zoom, figuresOf}, row, noun, counters) {
  const peak = peakIn(run, buckets);
  byId('tiles').replaceChildren(...[
    ...(row ? tilesOfWork(row, noun, run.names, figuresOf) : tilesOfCounters(counters, figuresOf)),
    ...(row || counters.length > 0 ? [] : [{label: 'names', value: number(run.names.length)}]),
    ...(peak === null ? [] : [{label: 'peak load', value: number(peak)}]),
    ...(run.conditions.length > 0 ? [verdictTile(run.conditions, zoom ? `, of ${wholeText(run)}` : '')] : []),
  ].map(tile));
}

const OUTCOMES = {passed: 'good', FAILED: 'bad', 'cannot tell': ''};

function conditionItem({text, outcome, measured}) {
  const item = document.createElement('li');
  item.dataset.state = OUTCOMES[outcome];
  const verdict = document.createElement('b');
  verdict.textContent = outcome;
  item.append(verdict, ` ${text} `, document.createElement('span'));
  item.lastChild.textContent = measured;
  return item;
}

function scopeItem(text) {
  const item = document.createElement('li');
  item.className = 'scope';
  item.textContent = text;
  return item;
}

// They are judged over the time of the run's figures, whatever part the reader looks at: percentiles of a part are not
// known well enough.
export function showConditions({run, zoom}) {
  const {conditions} = run;
  byId('conditions').hidden = conditions.length === 0;
  byId('conditions').replaceChildren(...(zoom ? [scopeItem(`Judged over ${wholeText(run)}:`)] : []), ...conditions.map(conditionItem));
}

// That the generator was itself the bottleneck makes all figures doubtful.
export function showWarning({run: {saturation}}) {
  byId('warning').hidden = saturation === null;
  byId('warning').textContent = saturation ?? '';
}

function verdictTile(conditions, scope) {
  const of = (outcome) => conditions.filter((condition) => condition.outcome === outcome).length;
  const [passed, failed] = [of('passed'), of('FAILED')];
  const verdict = failed > 0 ? 'FAILED' : passed === conditions.length ? 'passed' : 'cannot tell';
  const counts = [[failed, 'failed'], [passed, 'passed'], [of('cannot tell'), 'cannot tell']].filter(([count]) => count > 0);
  return {label: counts.map(([count, outcome]) => `${count} ${outcome}`).join(', ') + scope, hint: `${conditions.length} conditions`, value: verdict, state: OUTCOMES[verdict], isWide: true};
}

const STATES = {
  live: 'live',
  away: 'no connection – trying again',
  ended: 'ended',
  abandoned: 'its process is gone',
  open: 'no end recorded',
};

// `otherwise` is that of a run that may go on.
export const stateOf = ({hasEnded, isAbandoned}, otherwise) => (hasEnded ? 'ended' : isAbandoned ? 'abandoned' : otherwise);

export function showState(state) {
  const element = byId('state');
  element.dataset.state = state;
  element.textContent = STATES[state];
}
