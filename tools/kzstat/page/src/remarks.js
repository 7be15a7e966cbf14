// What is to know of moments of the run, in words: times without figures, and notes.

import {elapsed, timeOfRun} from './format.js';

const MOST_SHOWN = 5;  // of each kind

const tenths = (seconds) => Math.round(seconds * 10) / 10;

function momentText({axis, run}, seconds) {
  return axis === 'clock' ? timeOfRun(Math.round(seconds), run.run.startTime) : elapsed(tenths(seconds));
}

export const spanText = (view, {from, to}) => `${momentText(view, from)} – ${momentText(view, to)}`;

export const kindText = ({kind, generator}) => (kind === 'missing' ? 'no slices' : `${generator || 'the generator'} stood still`);

function interruptionText(view, interruption) {
  const [from, to] = [interruption.from, interruption.to].map((seconds) => momentText(view, seconds));
  return `${kindText(interruption)} from ${from} to ${to}`;
}

const noteText = (view, {time, text}) => `${momentText(view, time - view.run.run.startTime)} ${text}`;

const isSeen = ({zoom}, moment) => zoom === null || (moment >= zoom[0] && moment < zoom[1]);
const overlaps = ({zoom}, {from, to}) => zoom === null || (from < zoom[1] && to > zoom[0]);

function item(text, kind) {
  const element = document.createElement('li');
  element.textContent = text;
  element.dataset.kind = kind;
  return element;
}

const longest = (interruptions) => [...interruptions].sort((a, b) => b.to - b.from - (a.to - a.from)).slice(0, MOST_SHOWN);

// Merging notes where slices begin to be missing.
function isNoted({run}, {kind, from}, notes) {
  const isOfIt = ({time, text}) => text.startsWith('gap: ') && Math.abs(time - run.run.startTime - from) < run.run.sliceLength / 2;
  return kind === 'missing' && run.sources.length > 0 && notes.some(isOfIt);
}

// Those of what is looked at, in the order of time, and how many more there are.
function remarksOf(view) {
  const {run} = view;
  const moment = ({time}) => time - run.run.startTime;
  const notes = run.notes.filter((note) => isSeen(view, moment(note)));
  const interruptions = run.interruptions.filter((each) => overlaps(view, each) && !isNoted(view, each, notes));
  const remarks = [
    ...longest(interruptions).map((each) => ({at: each.from, kind: 'gap', text: interruptionText(view, each)})),
    ...notes.slice(0, MOST_SHOWN).map((note) => ({at: moment(note), kind: 'note', text: noteText(view, note)})),
  ].sort((a, b) => a.at - b.at);
  return {remarks, more: interruptions.length + notes.length - remarks.length};
}

export function showRemarks(list, view) {
  const {remarks, more} = remarksOf(view);
  list.hidden = remarks.length === 0;
  list.replaceChildren(
    ...remarks.map(({text, kind}) => item(text, kind)),
    ...(more > 0 ? [item(`and ${more} more, which the charts mark`, 'more')] : []),
  );
}
