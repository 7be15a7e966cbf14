// What is said of the run as a whole.

import {clock, duration, elapsed, number} from './format.js';
import {peakLoad} from './run.js';

function tile(label, value) {
  const element = document.createElement('div');
  element.className = 'tile';
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

function slicesLabel({lostSlices, hasEnded}) {
  return 'slices' + (lostSlices > 0 ? ` (${lostSlices} lost)` : '') + (hasEnded ? '' : ', not ended');
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

export function showSummary(page) {
  const {run} = page;
  const peak = peakLoad(page);
  const begin = page.grid.first * run.sliceLength;
  document.title = `${run.generator} – ${clock(run.startTime)}`;
  document.getElementById('generator').textContent = run.generator;
  document.getElementById('subtitle').textContent = `${clock(run.startTime)} on ${run.host}` +
    (begin > 0 ? ` · from ${elapsed(begin)} to ${elapsed(page.elapsed)} of the run` : '');
  document.getElementById('tiles').replaceChildren(
    tile('time covered', duration(page.slices * run.sliceLength)),
    tile(slicesLabel(page), number(page.slices)),
    tile('names', number(page.names.length)),
    ...(peak === null ? [] : [tile('peak load', number(peak))]));
  showFacts(document.getElementById('facts'), page);
}

const STATES = {
  live: 'live',
  away: 'no connection – trying again',
  ended: 'ended',
  open: 'no end recorded',
};

export function showState(state) {
  const element = document.getElementById('state');
  element.dataset.state = state;
  element.textContent = STATES[state];
}
