// What is said of the comparison as a whole: which runs, which of them is better and in what, and the main figures.

import {clock, duration, elapsed, number} from '../format.js';
import {operationRow} from '../operations.js';
import {counterLabel, mainOperation, nounOf, operationsOf, tellsFailures} from '../outcomes.js';
import {bucketsOfFigures} from '../run.js';
import {peakIn} from '../spanfigures.js';
import {changeText, judged, kindOf, signed} from './differences.js';
import {swatchOf} from './runplot.js';

// Of what changed, in the one comparison of the page or in each of several.
const MOST_NAMED = 4;
const MOST_NAMED_OF_MANY = 2;
const MOST_RUNS_IN_A_COLUMN = 4;

const byId = (id) => document.getElementById(id);
const isThere = (value) => value !== null && value !== undefined;

export function element(tag, className, ...content) {
  const made = document.createElement(tag);
  if (className) made.className = className;
  made.append(...content);
  return made;
}

const peakOf = ({curves}) => peakIn(curves, bucketsOfFigures({run: curves, zoom: null, buckets: [0, curves.grid.slices.length]}));

// What was loaded, when, for how long and how much.
function runItem(run) {
  const {run: facts, seconds} = run.curves;
  const peak = peakOf(run);
  const told = [clock(facts.startTime), duration(Number(seconds.toFixed(1))), isThere(peak) ? `peak load ${number(peak)}` : '', run.completeness, `on ${facts.host}`];
  const title = element('b', '', run.title);
  title.title = run.path;
  const command = element('code', '', facts.commandLine);
  command.title = facts.commandLine;
  return element('li', '', swatchOf(run), title, element('span', '', told.filter((text) => text !== '').join(' · ')), command);
}

export function showRuns({sides, runs}) {
  const generators = [...new Set(runs.map(({curves}) => curves.run.generator))].join(', ');
  const counts = sides.some((side) => side.runs.length > 1) ? `${sides.map((side) => side.runs.length).join(' and ')} runs` : `${runs.length} runs`;
  document.title = `${generators} – ${counts} compared`;
  byId('generator').textContent = generators;
  byId('state').textContent = `${counts} compared`;
  byId('runs').classList.toggle('many', runs.length > MOST_RUNS_IN_A_COLUMN);
  byId('runs').replaceChildren(...runs.map(runItem));
}

const nameText = (row, i) => {
  const cell = row.cells[i];
  const alone = isThere(cell.relative_difference) ? '' : ` (${cell.quantity})`;
  return `${row.title} ${changeText(cell)}${alone}`;
};

// What is marked so, the first few by name.
function namedItems(verdict, rows, i, most) {
  if (rows.length === 0) return [];
  const named = rows.slice(0, most).map((row) => element('span', 'chip', nameText(row, i)));
  const rest = named.length > 0 && rows.length > most ? [element('span', 'more', `and ${rows.length - most} more`)] : [];
  const group = element('span', 'findings', element('b', '', `${rows.length} ${verdict}`), ...named, ...rest);
  group.dataset.state = verdict;
  return [group];
}

// What chance would hardly mark among so many names as are tested.
function areSure(rows, {names, significance}, i) {
  const tested = names.filter(({p_value: probability}) => isThere(probability)).length;
  return rows.some(({cells}) => cells[i].p_value * tested < significance);
}

// Which of both was done, if all that is marked of what succeeded says the same.
function moreOrLess(changed, i) {
  const done = changed.map(({cells}) => cells[i]).filter(({kind}) => kind === 'successes').map(({difference}) => Math.sign(difference));
  return done.length > 0 && new Set(done).size === 1 ? (done[0] > 0 ? 'more' : 'less') : '';
}

// What is sure decides; where nothing is, the headline says so.
function headlineOf(comparison, {worse, better, changed}, i) {
  const {after: {letter}, before} = comparison;
  const than = `than ${before.letter}`;
  const [isWorse, isBetter] = [worse, better].map((rows) => areSure(rows, comparison, i));
  if (isWorse && isBetter) return [`${letter} is partly better, partly worse ${than}`, 'mixed'];
  if (isWorse) return [`${letter} is worse ${than}`, 'worse'];
  if (isBetter) return [`${letter} is better ${than}`, 'better'];
  if (worse.length > 0 && better.length > 0) return [`${letter} is hardly better or worse ${than}`, 'unsure'];
  if (worse.length > 0) return [`${letter} may be worse ${than}`, 'unsure'];
  if (better.length > 0) return [`${letter} may be better ${than}`, 'unsure'];
  const amount = moreOrLess(changed, i);
  if (amount) return [`${letter} did ${amount} ${than}`, 'changed'];
  if (changed.length > 0) return [`${letter} differs from ${before.letter}`, 'changed'];
  if (comparison.uncertain.length > 0) return [`${letter} may differ from ${before.letter}`, 'unsure'];
  return [`No difference between ${before.letter} and ${letter} found`, 'alike'];
}

function remarksOf(comparison, isAnyMarked, state) {
  const {names, nothing_tested_because: reason, samples_are: samples, followed: {load: [before, after]}, significance} = comparison;
  const [untested, unlike] = ['too_few_samples', 'not_comparable'].map((wanted) => names.filter(({finding}) => finding === wanted).length);
  return [
    ...(isThere(before) && isThere(after) && before !== after ? [`at another load: ${number(before)} and ${number(after)}`] : []),
    ...(reason ? [reason] : isAnyMarked ? [] : [`none of ${names.length} names is marked`]),
    ...(state === 'unsure' && isAnyMarked ? [`chance alone marks about ${number(100 * significance)} % of ${names.length} names`] : []),
    ...(!reason && untested > 0 ? [`${untested} of ${names.length} names have too few ${samples} to tell`] : []),
    ...(!reason && unlike > 0 ? [`${unlike} of ${names.length} names cannot be compared`] : []),
    ...(comparison.uncertain.length > 0 ? [`large, but not certain: ${comparison.uncertain.join(', ')}`] : []),
  ];
}

function verdictItem(comparison, rows, i, isOne) {
  const of = (verdict) => rows.filter(({cells}) => cells[i]?.verdict === verdict);
  const found = {worse: of('worse'), better: of('better'), changed: of('changed')};
  const isAnyMarked = Object.values(found).some((each) => each.length > 0);
  const {after, before, nothing_tested_because: reason} = comparison;
  const [headline, state] = reason ? [`${after.letter} against ${before.letter}`, 'untested'] : headlineOf(comparison, found, i);
  const most = isOne ? MOST_NAMED : MOST_NAMED_OF_MANY;
  const findings = Object.entries(found).flatMap(([verdict, each]) => namedItems(verdict, each, i, verdict === 'changed' && !isOne ? 0 : most));
  const remarks = remarksOf(comparison, isAnyMarked, state).map((text) => element('span', 'more', text));
  const item = element('li', '', element('strong', '', headline), ...findings, ...remarks);
  item.dataset.state = state;
  return item;
}

export function showVerdicts({comparisons}, rows) {
  byId('verdicts').classList.toggle('many', comparisons.length > 3);
  byId('verdicts').replaceChildren(...comparisons.map((comparison, i) => verdictItem(comparison, rows, i, comparisons.length === 1)));
}

// The charts count from where the comparison begins, what is told of a run from its start.
function interruptionText({interruptionLines, begin}) {
  const since = Math.round(begin * 10) / 10;
  return interruptionLines.join(', ') + (since > 0 ? `; compared from ${elapsed(since)} on` : '');
}

// A generator that was itself the bottleneck makes all figures of its run doubtful, and so do times without figures.
const warningsOf = (run) => [
  ...(run.curves.saturation !== null ? [run.curves.saturation] : []),
  ...(run.interruptionLines.length > 0 ? [interruptionText(run)] : []),
];

export function showWarnings({runs}) {
  const warnings = runs.flatMap((run) => warningsOf(run).map((text) => element('p', 'warning', `${run.letter} ${run.title}: ${text}`)));
  byId('warnings').replaceChildren(...warnings);
}

function peakOfSide({runs}) {
  const peaks = runs.map(peakOf).filter(isThere);
  return peaks.length > 0 ? peaks.reduce((sum, peak) => sum + peak, 0) / peaks.length : null;
}

const figuresOfName = ({figures}) => figures;

// What the runs are about: the work that was done most often on the first side that did any of it, and its row on each
// side. A side without failures may lack their name.
export function mainWork({sides}, names) {
  const operations = sides.map((side) => operationsOf(side.names));
  const main = operations.map(mainOperation).find((each) => each !== null) ?? null;
  if (!main) return null;
  const work = operationsOf(names).find(({name}) => name === main.name);
  const areFailuresTold = operations.some(tellsFailures);
  const rows = operations.map((each) => {
    const operation = each.find(({name}) => name === work.name);
    return operation ? operationRow(operation, figuresOfName, areFailuresTold) : null;
  });
  return {work, noun: nounOf(work), areFailuresTold, rows};
}

const successRate = (row) => (row && !row.areOfFailures ? row.figures.rate : null);

// How often the main work succeeded and how large the load is, on both sides of each comparison.
export function followWork({sides, comparisons}, main) {
  comparisons.forEach((comparison, i) => {
    const both = [0, i + 1];
    comparison.followed = {work: both.map((side) => successRate(main?.rows[side])), load: both.map((side) => peakOfSide(sides[side]))};
  });
}

// What changes by so much is told also where it is not marked.
const LARGE_CHANGE = 0.1;
const LARGE_CHANGE_OF_SHARE = 0.01;

const isLarge = (first, second, {isShare}) => second !== first && Math.abs(second - first) >= (isShare ? LARGE_CHANGE_OF_SHARE : LARGE_CHANGE * Math.abs(first));

// The main figures that differ much, where no name of their kind is marked.
export function noteUncertain(compared, main, rows) {
  const told = tilesOf(compared, main).filter(({kind}) => kind === 'successes' || kind === 'shares');
  compared.comparisons.forEach((comparison, i) => {
    const isMarked = ({names}) => rows.some(({cells}) => cells[i]?.verdict && names(cells[i]));
    const changes = told.filter((tile) => !isMarked(tile)).map((tile) => ({...tile, first: tile.values[0], second: tile.values[i + 1]}));
    comparison.uncertain = changes.filter((tile) => Number.isFinite(tile.first) && Number.isFinite(tile.second) && isLarge(tile.first, tile.second, tile))
      .map((tile) => `${tile.label.replace(', %', '')} ${changeOfTile(tile.first, tile.second, tile)}`);
  });
}

// A side without the name counted nothing.
function tileOfCounter(counter, sides) {
  return {
    label: `${counterLabel(counter)}/s`,
    values: sides.map(({nameOf}) => (nameOf.has(counter.name) ? nameOf.get(counter.name).figures.rate : 0)),
    text: number,
    kind: kindOf({...counter, tested: 'rate'}),
    names: ({name}) => name === counter.name,
  };
}

// A tile is {label, values, text, kind, names, isShare}: a value for each side. `names` tells those names of a
// comparison that are of its kind.
function tilesOf({sides, counters}, main) {
  const loads = {label: sides.some(({runs}) => runs.length > 1) ? 'peak load, mean' : 'peak load', values: sides.map(peakOfSide), text: number, kind: 'other', names: () => false};
  const isTold = ({values}) => values.some(isThere);
  if (!main) return [...counters.map((name) => tileOfCounter(name, sides)), loads].filter(isTold);
  const {work, noun, rows, areFailuresTold} = main;
  const unit = rows.find((row) => row !== null).unit;
  // Where a side never succeeded, the times of its failures are not those of the work.
  const haveSuccesses = rows.some((row) => row && !row.areOfFailures);
  const timesOf = (row) => (row && !(haveSuccesses && row.areOfFailures) ? row.figures : null);
  const of = haveSuccesses ? '' : ' of failures';
  const time = (key) => ({label: `${key}${of}${unit && `, ${unit}`}`, values: rows.map((row) => timesOf(row)?.[key]), text: number, kind: 'times', names: ({name}) => name === work.name});
  return [
    {label: `${noun}/s`, values: rows.map((row) => row?.rate), text: number, kind: 'successes', names: ({kind}) => kind === 'successes' || kind === 'failures'},
    ...['mean', 'p50', 'p95', 'p99'].map(time),
    ...(areFailuresTold ? [{label: 'error share, %', values: rows.map((row) => row?.share), text: (share) => number(isThere(share) ? 100 * share : null), kind: 'shares', names: ({kind}) => kind === 'failures', isShare: true}] : []),
    loads,
  ].filter(isTold);
}

// A difference of shares is told in percentage points, since a share of a share says little.
function changeOfTile(first, second, {isShare}) {
  if (!Number.isFinite(first) || !Number.isFinite(second)) return '';
  if (isShare) return `${signed(Number((100 * (second - first)).toFixed(2)))} pp`;
  return changeText({difference: second - first, relative_difference: first === 0 ? null : (second - first) / Math.abs(first)});
}

// Only what is large enough to matter has a colour, and only where a name of its kind is marked so too: shares are not
// tested themselves.
function stateOfTile([first, second], {kind, names}, comparison, marked) {
  if (!isThere(first) || !isThere(second) || Math.abs(second - first) < comparison.least_difference * Math.abs(first)) return '';
  const state = judged(kind, [first, second], comparison.followed);
  return marked.some((cell) => names(cell) && cell.verdict === state) ? state : '';
}

function tileOf(tile, {sides, comparisons}, rows) {
  const lines = sides.map((side, i) => {
    const line = element('div', 'line', swatchOf(side), element('b', '', tile.text(tile.values[i] ?? null)));
    if (i === 0) return line;
    const change = element('em', '', changeOfTile(tile.values[0], tile.values[i], tile));
    const marked = rows.map(({cells}) => cells[i - 1]).filter((cell) => cell?.verdict);
    change.dataset.state = stateOfTile([tile.values[0], tile.values[i]], tile, comparisons[i - 1], marked);
    line.append(change);
    return line;
  });
  return element('div', 'tile', element('span', '', tile.label), ...lines);
}

export function showTiles(compared, main, rows) {
  const nothing = main || compared.counters.length > 0 ? [] : [element('p', 'remark', 'Nothing was timed or counted.')];
  byId('tiles').replaceChildren(...nothing, ...tilesOf(compared, main).map((tile) => tileOf(tile, compared, rows)));
}

function fact(term, text) {
  return text === '' ? [] : [element('dt', '', term), element('dd', '', text)];
}

export function showFacts({runs}) {
  byId('facts').replaceChildren(...runs.flatMap((run) => {
    const {run: facts, notes, grid} = run.curves;
    return [
      ...fact(`Run ${run.letter}`, run.path),
      ...fact('Started', `${clock(facts.startTime)} here, ${new Date(facts.startTime * 1000).toISOString()}, on ${facts.host}`),
      ...fact('Command line', facts.commandLine),
      ...fact('Slices', `${run.completeness}, of ${number(facts.sliceLength)} s${grid.width > 1 ? `; a point for ${grid.width} of them` : ''}`),
      ...fact('Compared from', `${number(run.begin)} s of the run on`),
      ...notes.flatMap((note) => fact('Note', `${clock(note.time)}: ${note.text}`)),
      ...fact('Id', facts.id),
    ];
  }));
}
